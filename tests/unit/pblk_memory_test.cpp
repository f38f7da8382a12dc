// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every function of the family with its first, second, third... request for memory refused: it gives its
// failure value and leaves the outputs alone, or does its whole work all the same; and it leaks nothing.
#include "common/handles.h"
#include "tests/unit/pblk_files.h"
#include "tests/unit/ppro_failing_memory.h"

#include <libxml/xmlerror.h>

#include <cerrno>
#include <cstring>

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

const Function kFunctions[] = {
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

class PblkWithoutMemory : public PblkFilesTest, public ::testing::WithParamInterface<Function> {
  protected:
    void SetUp() override
    {
        PblkFilesTest::SetUp();
        write_file(kPolicyFile, "<!DOCTYPE pblk_root [<!ENTITY e \"text\">]><pblk_root>" +
                                    node("/a", "ha", kQualifiers) + node("/b", "hb", kQualifiers) +
                                    node("/c&e;", "a&e;c", kQualifiers) + "</pblk_root>");
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

INSTANTIATE_TEST_SUITE_P(Functions, PblkWithoutMemory, ::testing::ValuesIn(kFunctions), by_name);

TEST_P(PblkWithoutMemory, FailsOrDoesItsWorkAtEachRefusal)
{
    EXPECT_GT(refuse_each(false), 0);
}

TEST_P(PblkWithoutMemory, FailsOrDoesItsWorkWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(true), 0);
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
