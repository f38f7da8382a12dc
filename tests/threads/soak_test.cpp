// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The soak in short, and that it notices what it is there for.
#include "tests/support/child_process.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"
#include "tests/threads/growth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tresk::test {

namespace {

using ::testing::HasSubstr;

constexpr std::chrono::seconds kDeadline{300};

#ifdef TRESK_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

/// The soak's status; what it says goes to standard output.
std::optional<Ending> soak(const std::vector<std::string>& arguments)
{
    Command command{{TRESK_SOAK}, {}, 3, {}};
    command.words.insert(command.words.end(), arguments.begin(), arguments.end());
    return ChildProcess(command).wait(kDeadline);
}

TEST(Soak, FindsNothingThatGrowsInAFewThousandCalls)
{
    EXPECT_EQ(soak({"--calls", "6000"}), Ending{.exit_status = 0});
}

TEST(Soak, NoticesADescriptorLostInOneOfAThousandCalls)
{
    EXPECT_EQ(soak({"--calls", "3000", "--leak", "descriptor", "1000"}), Ending{.exit_status = 1});
}

TEST(Soak, NoticesAKilobyteLostInOneOfFourCalls)
{
    if (kSanitized) {
        GTEST_SKIP() << "the allocator is a sanitizer's";
    }
    EXPECT_EQ(soak({"--calls", "3000", "--leak", "memory", "4"}), Ending{.exit_status = 1});
}

TEST(Soak, RefusesWhatItDoesNotKnow)
{
    EXPECT_EQ(soak({"--call", "1"}), Ending{.exit_status = 2});
    EXPECT_EQ(soak({"--calls", "none"}), Ending{.exit_status = 2});
}

std::vector<Sample> samples(double (*value)(int at))
{
    std::vector<Sample> all;
    for (int at = 0; at <= 100; ++at) {
        all.push_back({static_cast<double>(at), value(at)});
    }
    return all;
}

TEST(Growth, IsTheRiseOfTheLineThroughAllSamples)
{
    EXPECT_DOUBLE_EQ(growth_over(samples([](int at) { return 5.0 + 2.0 * at; })), 200);
    EXPECT_DOUBLE_EQ(growth_over(samples([](int) { return 7.0; })), 0);
    EXPECT_DOUBLE_EQ(growth_over({}), 0);
    EXPECT_DOUBLE_EQ(growth_over({{1, 2}}), 0);
}

TEST(Growth, IsNotMadeByOneSampleThatStandsOut)
{
    EXPECT_LT(growth_over(samples([](int at) { return at == 100 ? 1000.0 : 0.0; })), 60);
    EXPECT_NEAR(growth_over(samples([](int at) { return at % 2 == 0 ? 1000.0 : 0.0; })), 0, 1);
}

} // namespace

} // namespace tresk::test
