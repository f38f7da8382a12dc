// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every function of the family with its first, second, third... request for memory refused: it gives its
// failure value and leaves the outputs alone, or does its whole work all the same; and it leaks nothing.
#include "common/handles.h"
#include "tests/unit/ppro_failing_memory.h"
#include "tests/unit/ppro_files.h"

#include <libxml/xmlerror.h>

namespace tresk::test {

namespace {

/// What came of one call: whether it failed with its outputs untouched, did all of its work, or neither; and
/// the block that it gave to its caller.
struct Outcome {
    bool failed = false;
    bool complete = false;
    void* given = nullptr;
};

/// libxml2's decompressing file reader leaves its two buffers behind where zlib's state finds no memory.
constexpr long kLeftByParser = 2;

struct Function {
    const char* name;
    Outcome (*call)();
    long may_leave = kLeftByParser; ///< blocks, over all refusals
};

std::ostream& operator<<(std::ostream& out, const Function& function)
{
    return out << function.name;
}

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

const Function kFunctions[] = {
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

class PproWithoutMemory : public PproFilesTest, public ::testing::WithParamInterface<Function> {
  protected:
    void SetUp() override
    {
        PproFilesTest::SetUp();
        write_file(kPolicyFile, "<!DOCTYPE ppro_root [<!ENTITY e \"text\">]><ppro_root>" +
                                    node("/a", "ha", "1", kQualifier) + node("/b", "hb", "2", kQualifier) +
                                    node("/c", "a&e;c", "3", kQualifier) +
                                    node("/s", "hs", "4", "sm_status=\"1\"") + "</ppro_root>");
        write_file(kConfigurationFile, "action=kill\naction=log\n");
        write_file(kBlacklistFile, "/first\n/usr/bin/a\n");
    }

    /// Calls with ever later requests refused until none is; answers how many calls met a refusal.
    static long refuse_each(bool from_there_on)
    {
        ::free(GetParam().call().given); // what libraries keep for ever is there from now on
        long left = 0;
        for (long nth = 1;; ++nth) {
            FailingMemory memory(nth, from_there_on);
            const Outcome outcome = GetParam().call();
            framework().reset(); // these two let go of what they were told
            xmlResetLastError();
            memory.stop();
            ::free(outcome.given);
            left += memory.left() - (outcome.given == nullptr ? 0 : 1);
            EXPECT_LE(left, GetParam().may_leave) << "leak at request " << nth;
            if (!memory.refused()) {
                EXPECT_TRUE(outcome.complete);
                return nth - 1;
            }
            EXPECT_TRUE(outcome.failed || outcome.complete) << "neither at request " << nth;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Functions, PproWithoutMemory, ::testing::ValuesIn(kFunctions), by_name);

TEST_P(PproWithoutMemory, FailsOrDoesItsWorkAtEachRefusal)
{
    EXPECT_GT(refuse_each(false), 0);
}

TEST_P(PproWithoutMemory, FailsOrDoesItsWorkWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(true), 0);
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
