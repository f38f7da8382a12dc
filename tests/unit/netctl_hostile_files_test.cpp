// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Policy files that are damaged, huge, made to harm, or replaced while they are read.
#include "tests/support/effort.h"
#include "tests/unit/netctl_files.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace tresk::test {

namespace {

using Names = std::vector<std::string>;

class NetctlHostileFile : public NetctlReaderTest {
  protected:
    static std::string whole(std::string_view users) { return document(users, GetParam().identity); }

    static Names names_in(const std::string& text, const std::string& identity = kName)
    {
        write_file(GetParam().policy, text);
        return read({"", kUid, identity}).names();
    }

    static std::string with_type(const std::string& declarations, const std::string& users)
    {
        std::string text = whole(users);
        return text.insert(text.find("<tresk_root"), "<!DOCTYPE tresk_root [" + declarations + "]>");
    }

    /// Ends the process with 0 when @threads readers whose first calls meet all read one record.
    [[noreturn]] static void read_first_at_once(int threads)
    {
        std::atomic<int> started = 0;
        std::atomic<int> right = 0;
        std::vector<std::thread> readers;
        for (int i = 0; i < threads; ++i) {
            readers.emplace_back([&started, &right, threads] {
                ++started;
                while (started < threads) {
                }
                right += read().records.size() == 1 ? 1 : 0;
            });
        }
        for (std::thread& reader : readers) {
            reader.join();
        }
        std::exit(right == threads ? 0 : 1);
    }
};

INSTANTIATE_TEST_SUITE_P(Readers, NetctlHostileFile, ::testing::ValuesIn(readers()), by_name);

TEST_P(NetctlHostileFile, GivesNoMoreThanWhatStandsBeforeItsTruncation)
{
    // No program: the beginning of its path would be another file's.
    const std::string text =
        whole(user(node_with(kName, "<hash>h</hash><type>2</type><name>N</name><ico>I</ico>")));
    std::size_t before = 0;
    for (std::size_t length = 1; length <= text.size(); ++length) {
        const std::size_t records = names_in(text.substr(0, length)).size();
        EXPECT_GE(records, before) << length;
        before = records;
    }
    EXPECT_EQ(before, 1U);
}

TEST_P(NetctlHostileFile, IsRecoveredFromAnUnclosedUser)
{
    EXPECT_EQ(names_in("<tresk_root><tresk_user userID=\"1000\"><tresk_node " +
                       std::string(GetParam().identity) + "=\"" + kName +
                       "\"><type>1</type><hash>h</hash></tresk_node></tresk_root>"),
              Names{kName});
}

TEST_P(NetctlHostileFile, GivesTheTextOfItsEntities)
{
    EXPECT_EQ(names_in(with_type("<!ENTITY e \"usr\">", user(node("/&e;/bin/a")))), Names{kName});
}

TEST_P(NetctlHostileFile, GivesNoTextThatExpandsWithoutEnd)
{
    std::string declarations = "<!ENTITY e0 \"0123456789\">";
    for (int i = 1; i < 12; ++i) {
        std::string inner;
        for (int times = 0; times < 10; ++times) {
            inner += "&e" + std::to_string(i - 1) + ";";
        }
        declarations += "<!ENTITY e" + std::to_string(i) + " \"" + inner + "\">";
    }
    // The parser itself may give up there, which leaves an empty text.
    write_file(GetParam().policy,
               with_type(declarations, user(node_with(kName, "<hash>h</hash><type>&e11;</type>"))));
    for (const Values& record : read().records) {
        EXPECT_EQ(record,
                  GetParam().visible({kName, "0", "h", "unknown", "unknown", "unknown", "unknown", "0"}));
    }
}

TEST_P(NetctlHostileFile, HidesAPackageWhoseProgramsNameIsUnreadable)
{
    // All but the last of these use up what a document's entities may cost.
    const std::string entity(199'999, 'x');
    std::string nodes;
    for (int i = 0; i < 50; ++i) {
        nodes += node_with("/" + std::to_string(i), "<other>&e;</other><hash>h</hash><type>1</type>");
    }
    nodes += node_with(kName, "<hash>h</hash><type>1</type><path>&e;</path>");
    const Names names = names_in(with_type("<!ENTITY e \"" + entity + "\">", user(nodes)));
    const bool lists_packages = GetParam().of_packages() && !GetParam().single;
    EXPECT_EQ(std::count(names.begin(), names.end(), kName), lists_packages ? 0 : 1);
}

TEST_P(NetctlHostileFile, DoesNotReadOtherFilesIntoItsTexts)
{
    write_file("/etc/tresk/netctl/secret", "bin");
    EXPECT_EQ(names_in(with_type("<!ENTITY x SYSTEM \"file:///etc/tresk/netctl/secret\">",
                                 user(node_with(kName, "<hash>h</hash><type>2</type><ico>[&x;]</ico>")))),
              Names{kName});
    EXPECT_EQ(read().records.at(0),
              GetParam().visible({kName, "2", "h", "unknown", "unknown", "[]", "unknown", "0"}));
}

TEST_P(NetctlHostileFile, TakesNoNameFromItsDocumentType)
{
    const std::string attribute = GetParam().identity;
    EXPECT_EQ(names_in(with_type("<!ATTLIST tresk_node " + attribute + " CDATA \"/usr/bin/a\">",
                                 user("<tresk_node><type>1</type><hash>h</hash></tresk_node>"))),
              Names{});
}

TEST_P(NetctlHostileFile, TakesNoUserFromItsDocumentType)
{
    EXPECT_EQ(names_in(with_type("<!ATTLIST tresk_user userID CDATA \"1000\">",
                                 "<tresk_user>" + node(kName) + "</tresk_user>")),
              Names{});
}

TEST_P(NetctlHostileFile, MayHaveTextsOfAnyLength)
{
    const std::string text(5'000'000, 'f');
    EXPECT_EQ(names_in(whole(
                  user(node_with(kName, "<hash>" + text + "</hash><type>1</type><ico>" + text + "</ico>")))),
              Names{kName});
}

TEST_P(NetctlHostileFile, IsNotReplacedWhereItIsADirectory)
{
    std::filesystem::create_directory(GetParam().policy);
    expect_failure(read());
    EXPECT_TRUE(std::filesystem::is_directory(GetParam().policy));
}

TEST_P(NetctlHostileFile, IsOneOrTheOtherVersionWhileItIsReplaced)
{
    const std::string versions[] = {whole(user(node(kName, "1"))), whole(user(node(kName, "2")))};
    write_file(GetParam().policy, versions[0]);
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (std::size_t i = 0; !done; ++i) {
            write_file("/etc/tresk/netctl/new.xml", versions[i % 2]);
            std::filesystem::rename("/etc/tresk/netctl/new.xml", GetParam().policy);
        }
    });
    for (int i = 0; i < 100; ++i) {
        const Listing listing = read();
        EXPECT_TRUE(listing.records.size() == 1 &&
                    (listing.records[0].type == "1" || listing.records[0].type == "2"));
    }
    done = true;
    writer.join();
}

TEST_P(NetctlHostileFile, IsReadByManyThreadsWhileTheDistinctionChanges)
{
    write_users(user(node(kName)));
    write_file(kPrograms, GetParam().of_packages() ? empty_policy("1") : read_file(kPrograms).value());
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&right] {
            for (int round = 0; round < 20; ++round) {
                right += tresk_netctl_get_user_distinguish() >= 0 && read().records.size() == 1 ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, 8 * 20);
}

TEST_P(NetctlHostileFile, IsReadByManyThreadsWhoseFirstCallsMeet)
{
    write_users(user(node(kName)));
    for (int round = 0; round < rounds(20, 8); ++round) {
        const pid_t child = ::fork();
        if (child == 0) {
            read_first_at_once(8);
        }
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "round " << round;
    }
}

std::ptrdiff_t open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_P(NetctlHostileFile, KeepsNoDescriptorOpen)
{
    const std::ptrdiff_t before = open_descriptors();
    for (int i = 0; i < 20; ++i) {
        std::filesystem::remove(GetParam().policy);
        read();
        names_in("<tresk_root>");
        names_in("<other/>");
        names_in(whole(user(node(kName))));
        tresk_netctl_get_user_distinguish();
    }
    EXPECT_EQ(open_descriptors(), before);
}

class NetctlHugePolicy : public NetctlFilesTest {};

TEST_F(NetctlHugePolicy, GivesAllOf20000Nodes)
{
    std::string nodes;
    for (int i = 0; i < 20'000; ++i) {
        nodes += node("/p" + std::to_string(i), std::to_string(i));
    }
    write_policies(user(nodes));
    std::uint32_t count = 0;
    const Malloced<netctl_node_info> records(tresk_netctl_read_all_data_with_uid(kUid, &count));
    ASSERT_EQ(count, 20'000U);
    EXPECT_STREQ(records.get()[19'999].path, "/p19999");
    EXPECT_EQ(records.get()[19'999].type, 19'999);
    const Malloced<netctl_pkg_node_info> last(tresk_netctl_pkg_read_node_with_uid(kUid, "/p19999"));
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->type, 19'999);
}

} // namespace

} // namespace tresk::test
