// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every function of the family with its first, second, third... request for memory refused: it gives its
// failure value and leaves the outputs alone, or does its whole work all the same; and it leaks nothing.
#include "common/handles.h"
#include "tests/support/failing_memory.h"
#include "tests/unit/pblk_files.h"

#include <cerrno>
#include <cstring>

namespace tresk::test {

namespace {

constexpr char kLongName[] = "a long source, past any small text";

Outcome of_array(pblk_node_info* records, int count)
{
    const bool complete = records != nullptr && count == 3 && std::strcmp(records[0].path, "/a") == 0 &&
                          std::strcmp(records[1].path, "/b") == 0 &&
                          std::strcmp(records[2].path, "/ctext") == 0;
    return {records == nullptr && count == kUnwritten, complete, records};
}

Outcome of_record(pblk_node_info* record, const char* path)
{
    return {record == nullptr, record != nullptr && std::strcmp(record->path, path) == 0, record};
}

Outcome read_all()
{
    int count = kUnwritten;
    pblk_node_info* records = tresk_pblk_read_all_data(&count);
    return of_array(records, count);
}

Outcome read_all_zdk()
{
    int count = kUnwritten;
    pblk_node_info* records = tresk_pblk_read_all_data_zdk(1, kLongName, &count);
    return of_array(records, count);
}

Outcome count_nodes()
{
    int count = 1;
    const int code = tresk_pblk_get_same_node_by_hash("hb", &count);
    return {code == -1 && count == 1, code == 0 && count == 2, nullptr};
}

Outcome get_hash()
{
    char* hash = tresk_pblk_get_path_hash("abc");
    return {hash == nullptr, hash != nullptr && std::strncmp(hash, "ba7816bf", 8) == 0, hash};
}

const WatchedCall kFunctions[] = {
    {"ReadAll", read_all},
    {"ReadAllZdk", read_all_zdk},
    {"ReadNodeWithPath",
     [] { return of_record(tresk_pblk_read_node_with_path_zdk("/ctext", 1, kLongName), "/ctext"); }},
    {"ReadNodeWithHash",
     [] { return of_record(tresk_pblk_read_node_with_hash_zdk("atextc", 1, kLongName), "/ctext"); }},
    {"CountNodes", count_nodes},
    {"GetHash", get_hash, 0},
};

constexpr char kQualifiers[] =
    "data_source_type=\"1\" data_source_name=\"a long source, past any small text\"";

class PblkWithoutMemory : public PblkFilesTest, public ::testing::WithParamInterface<WatchedCall> {
  protected:
    void SetUp() override
    {
        PblkFilesTest::SetUp();
        write_file(kPolicyFile, "<!DOCTYPE pblk_root [<!ENTITY e \"text\">]><pblk_root>" +
                                    node("/a", "ha", kQualifiers) + node("/b", "hb", kQualifiers) +
                                    node("/c&e;", "a&e;c", kQualifiers) + "</pblk_root>");
    }
};

INSTANTIATE_TEST_SUITE_P(Functions, PblkWithoutMemory, ::testing::ValuesIn(kFunctions), by_name);

TEST_P(PblkWithoutMemory, FailsOrDoesItsWorkAtEachRefusal)
{
    EXPECT_GT(refuse_each(GetParam(), false), 0);
}

TEST_P(PblkWithoutMemory, FailsOrDoesItsWorkWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(GetParam(), true), 0);
}

TEST_F(PblkFilesTest, PathHashSaysThatMemoryRanOut)
{
    FailingMemory memory(1, false);
    const Malloced<char> hash(tresk_pblk_get_path_hash("abc"));
    const int cause = errno;
    memory.stop();
    EXPECT_EQ(hash, nullptr);
    EXPECT_EQ(cause, ENOMEM);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].level, 3);
    EXPECT_EQ(framework().logs[0].subject, "malloc");
    EXPECT_EQ(framework().logs[0].source, "tresk_pblk");
    EXPECT_EQ(framework().logs[0].format, "%s: failed to malloc XML hash!\n");
    EXPECT_EQ(framework().logs[0].text, "tresk_pblk_get_path_hash: failed to malloc XML hash!\n");
}

} // namespace

} // namespace tresk::test
