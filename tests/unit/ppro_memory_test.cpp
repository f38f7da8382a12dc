// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every function of the family with its first, second, third... request for memory refused: it gives its
// failure value and leaves the outputs alone, or does its whole work all the same; and it leaks nothing.
#include "common/handles.h"
#include "tests/support/failing_memory.h"
#include "tests/unit/ppro_files.h"

namespace tresk::test {

namespace {

Outcome of_array(ppro_node_info* records, int count)
{
    const bool complete = records != nullptr && (count == 3 || count == 4) &&
                          std::strcmp(records[0].path, "/a") == 0 &&
                          std::strcmp(records[1].path, "/b") == 0 && records[1].type == 2 &&
                          std::strcmp(records[2].hash, "atextc") == 0;
    return {records == nullptr && count == kUnwritten, complete, records};
}

Outcome of_record(ppro_node_info* record, const char* path)
{
    return {record == nullptr, record != nullptr && std::strcmp(record->path, path) == 0, record};
}

Outcome of_code(int code, int success, int failure)
{
    return {code == failure, code == success, nullptr};
}

Outcome read_all()
{
    int count = kUnwritten;
    ppro_node_info* records = tresk_ppro_read_all_data_sm(&count);
    return of_array(records, count);
}

Outcome read_all_zdk()
{
    int count = kUnwritten;
    ppro_node_info* records = tresk_ppro_read_all_data_zdk(&count, 0, "a long source, past any small text");
    return of_array(records, count);
}

Outcome count_nodes()
{
    int count = 5;
    const int code = tresk_ppro_get_same_node_by_hash("hb", &count);
    return {code == -1 && count == 5, code == 0 && count == 6, nullptr};
}

Outcome get_action()
{
    char untouched = 0;
    char* action = &untouched;
    const int code = tresk_ppro_get_action(&action);
    if (code != 0) {
        return {code == -1 && action == &untouched, false, nullptr};
    }
    return {false, std::strcmp(action, "log") == 0, action};
}

Outcome get_hash()
{
    char* hash = tresk_ppro_get_path_hash("abc");
    return {hash == nullptr, hash != nullptr && std::strncmp(hash, "ba7816bf", 8) == 0, hash};
}

Outcome check_blacklist()
{
    char path[] = "/usr/bin/a";
    return of_code(ppro_path_in_blacklist(path), 1, -1);
}

const WatchedCall kFunctions[] = {
    {"ReadAll", read_all},
    {"ReadAllZdk", read_all_zdk},
    {"ReadNodeWithPath", [] { return of_record(tresk_ppro_read_node_with_path_sm("/b"), "/b"); }},
    {"ReadNodeWithPathZdk",
     [] {
         return of_record(tresk_ppro_read_node_with_path_zdk("/b", 0, "a long source, past any small text"),
                          "/b");
     }},
    {"ReadNodeWithHash",
     [] {
         return of_record(tresk_ppro_read_node_with_hash_zdk("ha", 0, "a long source, past any small text"),
                          "/b");
     }},
    {"CheckInSm", [] { return of_code(tresk_ppro_check_in_sm("hs"), 0, -1); }},
    {"CountNodes", count_nodes},
    {"GetAction", get_action, 0},
    {"GetHash", get_hash, 0},
    {"CheckBlacklist", check_blacklist, 0},
};

constexpr char kQualifier[] = "data_source_name=\"a long source, past any small text\"";

class PproWithoutMemory : public PproFilesTest, public ::testing::WithParamInterface<WatchedCall> {
  protected:
    void SetUp() override
    {
        PproFilesTest::SetUp();
        write_policy("<!DOCTYPE ppro_root [<!ENTITY e \"text\">]>", "a&e;c");
        write_file(kConfigurationFile, "action=kill\naction=log\n");
        write_file(kBlacklistFile, "/first\n/usr/bin/a\n");
    }

    static void write_policy(const std::string& type, const std::string& third_hash)
    {
        write_file(kPolicyFile, type + "<ppro_root>" + node("/a", "ha", "1", kQualifier) +
                                    node("/b", "hb", "2", kQualifier) +
                                    node("/c", third_hash, "3", kQualifier) +
                                    node("/s", "hs", "4", "sm_status=\"1\"") + "</ppro_root>");
    }
};

INSTANTIATE_TEST_SUITE_P(Functions, PproWithoutMemory, ::testing::ValuesIn(kFunctions), by_name);

TEST_P(PproWithoutMemory, FailsOrDoesItsWorkAtEachRefusal)
{
    EXPECT_GT(refuse_each(GetParam(), false), 0);
}

TEST_P(PproWithoutMemory, FailsOrDoesItsWorkWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(GetParam(), true), 0);
}

/// Which is read without a tree.
TEST_P(PproWithoutMemory, FailsOrDoesItsWorkInAnOrdinaryPolicy)
{
    write_policy("", "atextc");
    EXPECT_GT(refuse_each(GetParam(), false), 0);
    EXPECT_GT(refuse_each(GetParam(), true), 0);
}

TEST_F(PproFilesTest, PathHashSaysThatMemoryRanOut)
{
    FailingMemory memory(1, false);
    const Malloced<char> hash(tresk_ppro_get_path_hash("abc"));
    const int cause = errno;
    memory.stop();
    EXPECT_EQ(hash, nullptr);
    EXPECT_EQ(cause, ENOMEM);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].level, 3);
    EXPECT_EQ(framework().logs[0].subject, "malloc");
    EXPECT_EQ(framework().logs[0].source, "tresk_ppro");
    EXPECT_EQ(framework().logs[0].format, "%s: failed to malloc XML hash!\n");
    EXPECT_EQ(framework().logs[0].text, "tresk_ppro_get_path_hash: failed to malloc XML hash!\n");
}

} // namespace

} // namespace tresk::test
