// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The look-ups with their first, second, third... request for memory refused: each gives its failure value or
// the true answer, never another verdict, and leaks nothing.
#include "tests/support/failing_memory.h"
#include "tests/unit/bwlist_files.h"

namespace tresk::test {

namespace {

constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

/// The answers of a look-up that found memory, and of one that did not.
Outcome of_answer(int answer, int right, int failure)
{
    return {answer == failure, answer == right, nullptr};
}

constexpr char kWhite[] = "a package of the white list";
/// The verdict of both lists reads the file three times.
constexpr long kLeftByVerdict = 3 * kLeftByParser;

const WatchedCall kLookups[] = {
    {"UniteElsewhere", [] { return of_answer(_bwlist_unite_select_by_rpm_name("white", "none"), 0, 0); }},
    {"IndependenceElsewhere",
     [] { return of_answer(_bwlist_independence_select_by_rpm_name("white", "none", 1, "s"), 0, 0); }},
    {"Unite", [] { return of_answer(_bwlist_unite_select_by_rpm_name("white", kWhite), 1, 0); }},
    {"Independence",
     [] { return of_answer(_bwlist_independence_select_by_rpm_name("white", kWhite, 1, "s"), 1, 0); }},
    {"SelectUnite",
     [] { return of_answer(tresk_bwlist_select_by_rpm_name_zdk("white", kWhite, 3, "s"), 1, 0); }},
    {"VerdictWhite",
     [] { return of_answer(tresk_bwlist_select_by_rpm_name_zdk("bwlist", kWhite, 3, "s"), 2, -1); },
     kLeftByVerdict},
    {"VerdictBoth",
     [] {
         return of_answer(tresk_bwlist_select_by_rpm_name_zdk("bwlist", "a package of both lists", 3, "s"), 3,
                          -1);
     },
     kLeftByVerdict},
};

class BwlistWithoutMemory : public BwlistFilesTest, public ::testing::WithParamInterface<WatchedCall> {
  protected:
    void SetUp() override
    {
        BwlistFilesTest::SetUp();
        write_file(kPolicyFile,
                   "<!DOCTYPE tresk_root [<!ENTITY e \"package\">]><tresk_root>" +
                       list_of("white", entry("a &e; of the white list") + entry("a &e; of both lists")) +
                       list_of("black", entry("a &e; of both lists")) + "</tresk_root>");
    }
};

INSTANTIATE_TEST_SUITE_P(Lookups, BwlistWithoutMemory, ::testing::ValuesIn(kLookups), by_name);

TEST_P(BwlistWithoutMemory, AnswersTrulyOrFailsAtEachRefusal)
{
    EXPECT_GT(refuse_each(GetParam(), false), 0);
}

TEST_P(BwlistWithoutMemory, AnswersTrulyOrFailsWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(GetParam(), true), 0);
}

} // namespace

} // namespace tresk::test
