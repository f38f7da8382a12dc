// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The first calls of a process when sixteen threads make them at once: whatever the library, or a library
// below it, sets up at its first use is set up there. Each meeting takes a process of its own that has called
// nothing before. TRESK_THREADS_MEETINGS has more of them.
#include "tests/support/capture.h"
#include "tests/threads/at_once.h"
#include "tests/threads/calls.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <optional>

namespace tresk::test {

namespace {

constexpr int kThreads = 16;
constexpr int kUsualMeetings = 6;
constexpr std::chrono::seconds kDeadline{120};

/// A family, or all of them mixed.
using Choice = std::optional<Family>;

std::vector<Choice> choices()
{
    std::vector<Choice> all(std::begin(kFamilies), std::end(kFamilies));
    all.emplace_back();
    return all;
}

std::vector<const Call*> calls_of_choice(const Choice& choice)
{
    if (choice) {
        return calls_of(*choice);
    }
    std::vector<const Call*> calls;
    for (const Call& call : all_calls()) {
        calls.push_back(&call);
    }
    return calls;
}

/// The status of a process whose threads each make one of the calls: 0 when every answer is possible.
int meet(const std::vector<const Call*>& calls, int meeting)
{
    std::atomic<int> wrong = 0;
    run_at_once(kThreads, kDeadline, [&](int number, Doing& doing) {
        Random random(static_cast<unsigned>(1 + meeting * kThreads + number));
        const Call& call = *calls[random() % calls.size()];
        doing = call.symbol;
        const std::string answer = call.make(random);
        if (!call.may_answer(answer)) {
            ++wrong;
            (void)std::fprintf(stderr, "%s: %s\n", call.symbol, answer.c_str());
        }
    });
    return wrong == 0 ? 0 : 1;
}

class FirstCalls : public ::testing::TestWithParam<Choice> {};

TEST_P(FirstCalls, MayMeet)
{
    ASSERT_EQ(ending_of_child(start_child(kDeadline, [] { return prepare_policies() ? 0 : 1; })), "");
    const std::vector<const Call*> calls = calls_of_choice(GetParam());
    const int meetings = number_from_environment("TRESK_THREADS_MEETINGS", kUsualMeetings);
    ASSERT_GT(meetings, 0);
    for (int meeting = 0; meeting < meetings; ++meeting) {
        std::string ending;
        captured_stdout(
            [&] { ending = ending_of_child(start_child(kDeadline, [&] { return meet(calls, meeting); })); });
        EXPECT_EQ(ending, "") << "meeting " << meeting;
    }
}

std::string name_of_choice(const ::testing::TestParamInfo<Choice>& info)
{
    return info.param ? name_of(*info.param) : "AllFamilies";
}

INSTANTIATE_TEST_SUITE_P(Of, FirstCalls, ::testing::ValuesIn(choices()), name_of_choice);

} // namespace

} // namespace tresk::test
