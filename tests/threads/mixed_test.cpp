// SPDX-License-Identifier: LGPL-2.1-or-later
//
// All functions from sixteen threads at once, in an order that the seed decides. TRESK_THREADS_ROUNDS and
// TRESK_THREADS_SEED make it longer and another one. Under the thread sanitizer a race of the library ends
// the program with its status.
#include "tests/support/capture.h"
#include "tests/threads/at_once.h"
#include "tests/threads/calls.h"
#include "tests/threads/process_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <set>

namespace tresk::test {

namespace {

constexpr int kThreads = 16;
constexpr int kUsualRounds = 2;
constexpr std::chrono::seconds kRoundDeadline{120};

/// What went wrong, told by many threads.
class Findings {
  public:
    void add(const Call& call, const std::string& answer)
    {
        const std::lock_guard lock(mutex_);
        found_.insert(std::string(call.symbol) + ": " + answer);
    }

    [[nodiscard]] const std::set<std::string>& all() const { return found_; }

  private:
    std::mutex mutex_;
    std::set<std::string> found_;
};

class MixedCalls : public ::testing::Test {
  protected:
    void SetUp() override
    {
        const pid_t child = start_child(std::chrono::seconds(60), [] { return prepare_policies() ? 0 : 1; });
        ASSERT_EQ(ending_of_child(child), "");
    }

    /// One round of all calls on one thread.
    void call_all(Random& random, int number, int round, Doing& doing)
    {
        std::vector<const Call*> order;
        for (const Call& call : all_calls()) {
            // A shell costs more than all the rest: one thread of a round's four starts it.
            if (call.cost != Cost::shell || number % 4 == round % 4) {
                order.push_back(&call);
            }
        }
        std::shuffle(order.begin(), order.end(), random);
        for (const Call* call : order) {
            doing = call->symbol;
            const std::string answer = call->make(random);
            if (!call->may_answer(answer)) {
                wrong_.add(*call, answer);
            }
            exchanges_ += call->cost == Cost::kernel ? 1 : 0;
            late_ += answer == "late" ? 1 : 0;
        }
    }

    Findings wrong_;
    std::atomic<int> exchanges_ = 0;
    std::atomic<int> late_ = 0;
};

TEST_F(MixedCalls, FromSixteenThreadsAnswerWhatTheyMayAndLeaveNothingOpen)
{
    const int rounds = number_from_environment("TRESK_THREADS_ROUNDS", kUsualRounds);
    const int seed = number_from_environment("TRESK_THREADS_SEED", 1);
    SCOPED_TRACE("TRESK_THREADS_SEED=" + std::to_string(seed));
    ProcessState before;
    ProcessState after;
    // Some calls say on standard output what the scene answered.
    captured_stdout([&] {
        Random warming(static_cast<unsigned>(seed));
        Doing doing = nullptr;
        call_all(warming, 0, 0, doing);
        before = state_at_rest();
        run_at_once(kThreads, rounds * kRoundDeadline, [&](int number, Doing& mine) {
            Random random(static_cast<unsigned>(seed + 1 + number));
            for (int round = 0; round < rounds; ++round) {
                call_all(random, number, round, mine);
            }
        });
        after = state_at_rest(before);
    });
    EXPECT_EQ(wrong_.all(), std::set<std::string>());
    EXPECT_LE(late_, exchanges_ / 10) << "exchanges that took their whole second";
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
}

} // namespace

} // namespace tresk::test
