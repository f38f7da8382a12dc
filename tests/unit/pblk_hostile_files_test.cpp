// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Policy files that are damaged, huge, made to harm, or replaced while they are read.
#include "tests/unit/pblk_files.h"

#include <atomic>
#include <filesystem>
#include <iterator>
#include <thread>

namespace tresk::test {

namespace {

Records records_of(const std::string& document)
{
    write_file(kPolicyFile, document);
    return list([](int* count) { return tresk_pblk_read_all_data(count); }).records;
}

std::string with_type(const std::string& declarations, const std::string& nodes)
{
    return "<!DOCTYPE pblk_root [" + declarations + "]><pblk_root>" + nodes + "</pblk_root>";
}

/// Entities of which "&e11;" expands to more than any memory holds.
std::string endless_entities()
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
    return declarations;
}

class PblkHostileFile : public PblkFilesTest {};

TEST_F(PblkHostileFile, GivesWhatStandsBeforeItsTruncation)
{
    const std::string whole = policy(node("/a", "ha") + node("/b", "hb"));
    EXPECT_EQ(records_of(whole.substr(0, whole.find("<hash>hb"))), (Records{{"/a", "ha"}}));
}

TEST_F(PblkHostileFile, IsReadToTheEndAtEveryTruncation)
{
    const std::string whole = policy(node("/a", "ha") + node("/b", "hb"));
    std::size_t before = 0;
    for (std::size_t length = 1; length <= whole.size(); ++length) {
        const std::size_t records = records_of(whole.substr(0, length)).size();
        EXPECT_GE(records, before) << length;
        before = records;
    }
    EXPECT_EQ(before, 2U);
}

TEST_F(PblkHostileFile, GivesAllOf100000Nodes)
{
    std::string nodes;
    for (int i = 0; i < 100'000; ++i) {
        nodes += node("/p" + std::to_string(i), "h" + std::to_string(i));
    }
    write_policy(nodes);
    int count = 0;
    const Malloced<pblk_node_info> records(tresk_pblk_read_all_data(&count));
    ASSERT_EQ(count, 100'000);
    EXPECT_STREQ(records.get()[99'999].path, "/p99999");
    EXPECT_EQ(one(tresk_pblk_read_node_with_hash_zdk("h99999", 1, "")), (Record{"/p99999", "h99999"}));
}

TEST_F(PblkHostileFile, GivesTheTextOfItsEntities)
{
    EXPECT_EQ(records_of(with_type("<!ENTITY e \"text\">", node("/&e;", "a&e;b"))),
              (Records{{"/text", "atextb"}}));
}

TEST_F(PblkHostileFile, GivesNothingOfWhatExpandsWithoutEnd)
{
    for (const Record& record :
         records_of(with_type(endless_entities(), node("/a", "&e11;") + node("/b", "h")))) {
        EXPECT_TRUE(record == (Record{"/a", ""}) || record == (Record{"/b", "h"})) << record;
    }
}

TEST_F(PblkHostileFile, TakesNoFirstPathFromItsDocumentType)
{
    write_file(kPolicyFile,
               with_type("<!ATTLIST pblk_node path CDATA \"/a\">", "<pblk_node><hash>h</hash></pblk_node>"));
    EXPECT_EQ(list([](int* count) { return tresk_pblk_read_all_data(count); }).count, 0);
    EXPECT_EQ(one(tresk_pblk_read_node_with_path("/a")), (Record{"/a", "h"}));
}

TEST_F(PblkHostileFile, DoesNotReadOtherFilesIntoItsTexts)
{
    write_file("/etc/tresk/pblk/secret", "secret");
    EXPECT_EQ(
        records_of(with_type("<!ENTITY x SYSTEM \"file:///etc/tresk/pblk/secret\">", node("/a", "[&x;]"))),
        (Records{{"/a", "[]"}}));
}

TEST_F(PblkHostileFile, IsNotReplacedWhereItIsADirectory)
{
    std::filesystem::create_directory(kPolicyFile);
    EXPECT_EQ(list([](int* count) { return tresk_pblk_read_all_data(count); }).count, kUnwritten);
    EXPECT_TRUE(std::filesystem::is_directory(kPolicyFile));
}

TEST_F(PblkHostileFile, IsOneOrTheOtherVersionWhileItIsReplaced)
{
    const std::string versions[] = {policy(node("/a", "ha")), policy(node("/b", "hb") + node("/c", "hc"))};
    write_file(kPolicyFile, versions[0]);
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (std::size_t i = 0; !done; ++i) {
            write_file("/etc/tresk/pblk/new.xml", versions[i % 2]);
            std::filesystem::rename("/etc/tresk/pblk/new.xml", kPolicyFile);
        }
    });
    for (int i = 0; i < 500; ++i) {
        const Records records = list([](int* count) { return tresk_pblk_read_all_data(count); }).records;
        EXPECT_TRUE(records == (Records{{"/a", "ha"}}) || records == (Records{{"/b", "hb"}, {"/c", "hc"}}));
    }
    done = true;
    writer.join();
}

TEST_F(PblkHostileFile, IsReadByManyThreadsAtOnce)
{
    write_policy(node("/a", "h") + node("/b", "h"));
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&right] {
            for (int round = 0; round < 50; ++round) {
                int count = 0;
                const bool counted = tresk_pblk_get_same_node_by_hash("h", &count) == 0 && count == 2;
                right += counted && one(tresk_pblk_read_node_with_path("/b")).has_value() ? 1 : 0;
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

TEST_F(PblkHostileFile, KeepsNoDescriptorOpen)
{
    const std::ptrdiff_t before = open_descriptors();
    for (int i = 0; i < 20; ++i) {
        for (const Reader& reader : readers()) {
            std::filesystem::remove(kPolicyFile);
            reader.read({});
            write_file(kPolicyFile, "<other/>");
            reader.read({});
            write_policy(node("/a", "h"));
            reader.read({});
        }
    }
    EXPECT_EQ(open_descriptors(), before);
}

} // namespace

} // namespace tresk::test
