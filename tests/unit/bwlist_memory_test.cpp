// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The look-ups with their first, second, third... request for memory refused: each gives its failure value or
// the true answer, never another verdict, and leaks nothing.
#include "tests/unit/bwlist_files.h"
#include "tests/unit/ppro_failing_memory.h"

#include <libxml/xmlerror.h>

namespace tresk::test {

namespace {

/// libxml2's decompressing file reader leaves its two buffers behind where zlib's state finds no memory.
constexpr long kLeftByOneReading = 2;

struct Lookup {
    const char* name;
    int (*call)();
    int answer;
    int failure;
    long readings; ///< of the file
};

std::ostream& operator<<(std::ostream& out, const Lookup& lookup)
{
    return out << lookup.name;
}

constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

const Lookup kLookups[] = {
    {"Unite", [] { return _bwlist_unite_select_by_rpm_name("white", "a package of the white list"); }, 1, 0,
     1},
    {"Independence",
     [] { return _bwlist_independence_select_by_rpm_name("white", "a package of the white list", 1, "s"); },
     1, 0, 1},
    {"SelectUnite",
     [] { return tresk_bwlist_select_by_rpm_name_zdk("white", "a package of the white list", 3, "s"); }, 1, 0,
     1},
    {"VerdictWhite",
     [] { return tresk_bwlist_select_by_rpm_name_zdk("bwlist", "a package of the white list", 3, "s"); }, 2,
     -1, 3},
    {"VerdictBoth",
     [] { return tresk_bwlist_select_by_rpm_name_zdk("bwlist", "a package of both lists", 3, "s"); }, 3, -1,
     3},
};

class BwlistWithoutMemory : public BwlistFilesTest, public ::testing::WithParamInterface<Lookup> {
  protected:
    void SetUp() override
    {
        BwlistFilesTest::SetUp();
        write_file(kPolicyFile,
                   "<!DOCTYPE tresk_root [<!ENTITY e \"package\">]><tresk_root>" +
                       list_of("white", entry("a &e; of the white list") + entry("a &e; of both lists")) +
                       list_of("black", entry("a &e; of both lists")) + "</tresk_root>");
    }

    /// Calls with ever later requests refused until none is; answers how many calls met a refusal.
    static long refuse_each(bool from_there_on)
    {
        GetParam().call(); // what libraries keep for ever is there from now on
        long left = 0;
        for (long nth = 1;; ++nth) {
            FailingMemory memory(nth, from_there_on);
            const int answer = GetParam().call();
            framework().reset(); // these two let go of what they were told
            xmlResetLastError();
            memory.stop();
            left += memory.left();
            EXPECT_LE(left, kLeftByOneReading * GetParam().readings) << "leak at request " << nth;
            if (!memory.refused()) {
                EXPECT_EQ(answer, GetParam().answer);
                return nth - 1;
            }
            EXPECT_TRUE(answer == GetParam().answer || answer == GetParam().failure)
                << answer << " at request " << nth;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Lookups, BwlistWithoutMemory, ::testing::ValuesIn(kLookups), by_name);

TEST_P(BwlistWithoutMemory, AnswersTrulyOrFailsAtEachRefusal)
{
    EXPECT_GT(refuse_each(false), 0);
}

TEST_P(BwlistWithoutMemory, AnswersTrulyOrFailsWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(true), 0);
}

} // namespace

} // namespace tresk::test
