// SPDX-License-Identifier: LGPL-2.1-or-later
//
// That the thread sanitizer reports races in this setting, and what its suppressions leave alone.
#include "tests/support/child_process.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tresk::test {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

/// The sanitizer's status of a program in which it found a race; race_options.cpp says so.
constexpr int kRaceStatus = 66;

class RaceControl : public ::testing::Test {
  protected:
    void run(const std::vector<std::string>& arguments)
    {
        Command command{{TRESK_RACE_CONTROL}, {}, 3, folder_ / "report"};
        command.words.insert(command.words.end(), arguments.begin(), arguments.end());
        ChildProcess child(command);
        ending_ = child.wait(std::chrono::seconds(120));
        report_ = read_file(folder_ / "report").value_or("");
    }

    TempDir folder_;
    std::optional<Ending> ending_;
    std::string report_;
};

TEST_F(RaceControl, HasItsOwnRaceReported)
{
    run({"own"});
    EXPECT_EQ(ending_, Ending{.exit_status = kRaceStatus});
    EXPECT_THAT(report_, AllOf(HasSubstr("data race"), HasSubstr("race_in_own_code")));
}

TEST_F(RaceControl, HasARaceWithAFrameOfTheLibraryReported)
{
    run({"library"});
    EXPECT_EQ(ending_, Ending{.exit_status = kRaceStatus});
    EXPECT_THAT(report_, AllOf(HasSubstr("data race"), HasSubstr("netctl::user_distinction")));
}

TEST_F(RaceControl, HasNothingReportedWithoutARace)
{
    run({});
    EXPECT_EQ(ending_, Ending{.exit_status = 0});
    EXPECT_EQ(report_, "");
}

} // namespace

} // namespace tresk::test
