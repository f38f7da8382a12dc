// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/sandbox_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <sstream>

namespace {

using namespace tresk::test;

/// Tells the processes of the sandbox, in one line, and waits: the command, a child of it, one that left it,
/// and what runs in the background.
constexpr const char* TELL_ALL =
    "sleep 1000 & child=$!; stray=$(setsid sh -c 'sleep 1000 >/dev/null 2>&1 & echo $!'); "
    "echo $$ $child $stray $TRESK_STANDIN_BUS_PID $TRESK_STANDIN_KERNEL_PID $TRESK_STANDIN_SERVICE_PID "
    "$PPID; "
    "[ \"$1\" = leave ] || wait";

std::vector<pid_t> numbers_in(const std::string& line)
{
    std::istringstream words{line};
    std::vector<pid_t> numbers;
    for (pid_t number = 0; words >> number;) {
        numbers.push_back(number);
    }
    return numbers;
}

constexpr std::size_t PROCESSES = 7;

/// A sandbox with all processes that there are, waiting.
class SandboxEnd : public ::testing::Test {
  protected:
    SandboxEnd() : sandbox_{sandbox_command({"--", "sh", "-c", TELL_ALL, "sh"})} {}

    void SetUp() override
    {
        processes_ = numbers_in(sandbox_.first_line());
        ASSERT_EQ(processes_.size(), PROCESSES);
        for (const pid_t process : processes_) {
            ASSERT_TRUE(is_running(process));
        }
    }

    [[nodiscard]] bool all_end() const
    {
        return eventually([&] { return std::ranges::none_of(processes_, is_running); });
    }

    Started sandbox_;
    std::vector<pid_t> processes_;
};

TEST_F(SandboxEnd, LeavesNothingWhenItIsKilled)
{
    ::kill(sandbox_.process(), SIGKILL);
    EXPECT_TRUE(all_end());
    EXPECT_EQ(sandbox_.wait().status, -SIGKILL);
}

TEST_F(SandboxEnd, LeavesNothingWhenItsInnerProcessIsKilled)
{
    ::kill(processes_.back(), SIGKILL);
    const Result result = sandbox_.wait();
    EXPECT_EQ(result.status, 125);
    EXPECT_EQ(result.errors, "tresk-sandbox: the sandbox was ended by signal 9\n");
    EXPECT_TRUE(all_end());
}

TEST_F(SandboxEnd, LeavesNothingWhenTheCommandIsKilled)
{
    ::kill(processes_.front(), SIGKILL);
    EXPECT_EQ(sandbox_.wait().status, 137);
    EXPECT_TRUE(all_end());
}

TEST_F(SandboxEnd, PassesASignalOnToTheCommand)
{
    ::kill(sandbox_.process(), SIGTERM);
    EXPECT_EQ(sandbox_.wait().status, 143);
    EXPECT_TRUE(all_end());
}

TEST(SandboxEndOfCommand, LeavesNothingRunning)
{
    const Result result = run_sandbox({"--", "sh", "-c", TELL_ALL, "sh", "leave"});
    EXPECT_EQ(result.status, 0) << result;
    const std::vector<pid_t> processes = numbers_in(result.output);
    ASSERT_EQ(processes.size(), PROCESSES);
    EXPECT_TRUE(std::ranges::none_of(processes, is_running));
}

TEST(SandboxEndOfCommand, LetsTheCommandHandleASignal)
{
    Started sandbox{sandbox_command(
        {"--no-bus", "--", "sh", "-c", "trap 'exit 9' TERM; echo ready; while :; do sleep 0.01; done"})};
    ASSERT_EQ(sandbox.first_line(), "ready");
    ::kill(sandbox.process(), SIGTERM);
    EXPECT_EQ(sandbox.wait().status, 9);
}

} // namespace
