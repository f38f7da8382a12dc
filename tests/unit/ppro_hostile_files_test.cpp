// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Policy files that are damaged, huge or made to harm.
#include "tests/unit/ppro_files.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

namespace tresk::test {

namespace {

Listing all()
{
    return list([](int* count) { return tresk_ppro_read_all_data(count); });
}

std::vector<Record> records_of(const std::string& document)
{
    write_file(kPolicyFile, document);
    return all().records;
}

using Records = std::vector<Record>;

class PproHostileFile : public PproFilesTest {};

TEST_F(PproHostileFile, GivesWhatStandsBeforeItsTruncation)
{
    const std::string whole = policy(node("/a", "ha", "1") + node("/b", "hb", "2"));
    EXPECT_EQ(records_of(whole.substr(0, whole.find("<type>2"))), (Records{{"/a", "ha", 1}}));
    EXPECT_EQ(records_of(whole.substr(0, whole.find("</ppro_node>"))), (Records{{"/a", "ha", 1}}));
}

TEST_F(PproHostileFile, IsReadToTheEndAtEveryTruncation)
{
    const std::string whole = policy(node("/a", "ha", "1") + node("/b", "hb", "2"));
    std::size_t before = 0;
    for (std::size_t length = 1; length <= whole.size(); ++length) {
        const std::size_t records = records_of(whole.substr(0, length)).size();
        EXPECT_GE(records, before) << length;
        before = records;
    }
    EXPECT_EQ(before, 2U);
}

TEST_F(PproHostileFile, IsRecoveredFromUnclosedNodes)
{
    EXPECT_EQ(records_of("<ppro_root>" + node("/a", "ha", "1") + "<ppro_node path=\"/b\">" +
                         node("/c", "hc", "3") + "</ppro_root>"),
              (Records{{"/a", "ha", 1}}));
}

TEST_F(PproHostileFile, IsRecoveredFromBareAmpersands)
{
    EXPECT_EQ(records_of(policy("<ppro_node path=\"/a\"><hash>h & g</hash><type>1</type></ppro_node>")),
              (Records{{"/a", "h  g", 1}}));
}

TEST_F(PproHostileFile, FailsAsGarbageAndStaysAsItIs)
{
    for (const std::string& garbage : {std::string("garbage"), std::string("\0\0\0\0", 4), std::string("<"),
                                       std::string("\n"), std::string("{}"), std::string("\xFF\xFE\xFD")}) {
        write_file(kPolicyFile, garbage);
        const Listing listing = all();
        EXPECT_TRUE(listing.null) << garbage;
        EXPECT_EQ(listing.count, kUnwritten) << garbage;
        EXPECT_EQ(read_file(kPolicyFile), garbage);
    }
}

TEST_F(PproHostileFile, GivesTheFirstOfADuplicateAttribute)
{
    const Records records =
        records_of(policy(R"(<ppro_node path="/a" path="/b"><hash>h</hash><type>1</type></ppro_node>)"));
    EXPECT_EQ(records, (Records{{"/a", "h", 1}}));
}

TEST_F(PproHostileFile, GivesAllOf100000Nodes)
{
    std::string nodes;
    for (int i = 0; i < 100'000; ++i) {
        nodes += node("/p" + std::to_string(i), "h", std::to_string(i));
    }
    write_policy(nodes);
    int count = 0;
    const Malloced<ppro_node_info> records(tresk_ppro_read_all_data(&count));
    ASSERT_EQ(count, 100'000);
    EXPECT_STREQ(records.get()[99'999].path, "/p99999");
    EXPECT_EQ(records.get()[99'999].type, 99'999);
    EXPECT_EQ(one(tresk_ppro_read_node_with_path("/p99999")), (Record{"/p99999", "h", 99'999}));
}

std::string with_type(const std::string& declarations, const std::string& nodes)
{
    return "<!DOCTYPE ppro_root [" + declarations + "]><ppro_root>" + nodes + "</ppro_root>";
}

TEST_F(PproHostileFile, GivesTheTextOfItsEntities)
{
    EXPECT_EQ(records_of(with_type("<!ENTITY e \"text\">", node("/&e;", "a&e;b", "1"))),
              (Records{{"/text", "atextb", 1}}));
}

TEST_F(PproHostileFile, HidesWhatExpandsWithoutEnd)
{
    std::string declarations = "<!ENTITY e0 \"0123456789\">";
    for (int i = 1; i < 12; ++i) {
        const std::string inner = "&e" + std::to_string(i - 1) + ";";
        declarations += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int times = 0; times < 10; ++times) {
            declarations += inner;
        }
        declarations += "\">";
    }
    const Records records =
        records_of(with_type(declarations, node("/a", "&e11;", "1") + node("/b", "h", "2")));
    EXPECT_LE(records.size(), 1U);
    for (const Record& record : records) {
        EXPECT_EQ(record, (Record{"/b", "h", 2}));
    }
}

TEST_F(PproHostileFile, DoesNotLoopOverEntitiesThatHoldThemselves)
{
    const Records records = records_of(
        with_type(R"(<!ENTITY a "&b;"><!ENTITY b "&a;">)", node("/a", "&a;", "1") + node("/b", "h", "2")));
    EXPECT_LE(records.size(), 2U);
}

TEST_F(PproHostileFile, DoesNotReadOtherFilesIntoItsTexts)
{
    write_file("/etc/tresk/ppro/secret", "secret");
    const Records records = records_of(
        with_type("<!ENTITY x SYSTEM \"file:///etc/tresk/ppro/secret\">", node("/a", "[&x;]", "1")));
    EXPECT_EQ(records, (Records{{"/a", "[]", 1}}));
}

TEST_F(PproHostileFile, TakesNoPathFromItsDocumentType)
{
    EXPECT_EQ(records_of(with_type("<!ATTLIST ppro_node path CDATA \"/a\">",
                                   "<ppro_node><hash>h</hash><type>1</type></ppro_node>")),
              Records{});
}

TEST_F(PproHostileFile, TakesAnOwnerFromItsDocumentType)
{
    EXPECT_EQ(records_of(with_type("<!ATTLIST ppro_node sm_status CDATA \"1\">", node("/a", "h", "1"))),
              Records{});
}

TEST_F(PproHostileFile, MayHaveTextsOfAnyLength)
{
    const std::string hash(5'000'000, 'f');
    EXPECT_EQ(records_of(policy(node("/a", hash, "1"))), (Records{{"/a", std::string(64, 'f'), 1}}));
}

TEST_F(PproHostileFile, MayNestNodesDeeply)
{
    std::string nested;
    for (int i = 0; i < 200; ++i) {
        nested += "<ppro_node path=\"/n\">";
    }
    for (int i = 0; i < 200; ++i) {
        nested += "</ppro_node>";
    }
    EXPECT_EQ(records_of(policy(nested + node("/a", "h", "1"))), (Records{{"/a", "h", 1}}));
}

/// Gives up every privilege of this process, so that a file's mode counts for root as well.
bool become_unprivileged()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return ::syscall(SYS_capset, &header, none) == 0;
}

/// Whether @body holds in an unprivileged process of its own.
bool holds_unprivileged(bool (*body)())
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(become_unprivileged() && body() ? 0 : 1);
    }
    int status = -1;
    return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

TEST_F(PproHostileFile, FailsForThoseWhoMayNotReadItAndStaysAsItIs)
{
    using std::filesystem::perms;
    write_policy(node("/a", "h", "1"));
    std::filesystem::permissions(kPolicyFile, perms::none);
    EXPECT_TRUE(holds_unprivileged([] {
        const bool unreadable = !read_file(kPolicyFile);
        const Listing listing = all();
        return unreadable && listing.null && listing.count == kUnwritten;
    }));
    std::filesystem::permissions(kPolicyFile, perms::owner_read);
    EXPECT_EQ(read_file(kPolicyFile), policy(node("/a", "h", "1")));
}

TEST_F(PproHostileFile, IsNotReplacedByThoseWhoMayOnlyWriteIt)
{
    using std::filesystem::perms;
    write_policy(node("/a", "h", "1"));
    std::filesystem::permissions(kPolicyFile, perms::owner_write);
    EXPECT_TRUE(holds_unprivileged([] { return all().null; }));
    std::filesystem::permissions(kPolicyFile, perms::owner_read);
    EXPECT_EQ(read_file(kPolicyFile), policy(node("/a", "h", "1")));
}

TEST_F(PproHostileFile, IsNotReplacedWhereItIsADirectory)
{
    std::filesystem::create_directory(kPolicyFile);
    EXPECT_EQ(all().count, kUnwritten);
    EXPECT_TRUE(std::filesystem::is_directory(kPolicyFile));
}

TEST_F(PproHostileFile, IsOneOrTheOtherVersionWhileItIsReplaced)
{
    const std::string versions[] = {policy(node("/a", "ha", "1")),
                                    policy(node("/b", "hb", "2") + node("/c", "hc", "3"))};
    write_policy(node("/a", "ha", "1"));
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (std::size_t i = 0; !done; ++i) {
            write_file("/etc/tresk/ppro/new.xml", versions[i % 2]);
            std::filesystem::rename("/etc/tresk/ppro/new.xml", kPolicyFile);
        }
    });
    for (int i = 0; i < 500; ++i) {
        const Records records = all().records;
        EXPECT_TRUE(records == (Records{{"/a", "ha", 1}}) ||
                    records == (Records{{"/b", "hb", 2}, {"/c", "hc", 3}}));
    }
    done = true;
    writer.join();
}

TEST_F(PproHostileFile, IsReadByManyThreadsAtOnce)
{
    write_policy(node("/a", "h", "1") + node("/b", "h", "2"));
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&right] {
            for (int round = 0; round < 50; ++round) {
                right += all().count == 2 && one(tresk_ppro_read_node_with_path("/b")).has_value() ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, 8 * 50);
}

std::ptrdiff_t open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(PproHostileFile, KeepsNoDescriptorOpen)
{
    const std::ptrdiff_t before = open_descriptors();
    write_file(kBlacklistFile, "/a\n");
    write_file(kConfigurationFile, "action=kill\n");
    char path[] = "/a";
    for (int i = 0; i < 20; ++i) {
        std::filesystem::remove(kPolicyFile);
        all();
        records_of("<ppro_root>");
        records_of("<other/>");
        ppro_path_in_blacklist(path);
        char* action = nullptr;
        tresk_ppro_get_action(&action);
        ::free(action);
    }
    EXPECT_EQ(open_descriptors(), before);
}

} // namespace

} // namespace tresk::test
