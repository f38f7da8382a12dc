// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Many at once: every exchange gets its own answer.
#include "tests/kernel/channel_fixture.h"
#include "tresk_extend.h"

#include <sys/wait.h>
#include <unistd.h>

#include <barrier>
#include <map>
#include <thread>

namespace tresk::test {

namespace {

constexpr int kThreads = 16;
constexpr int kCalls = 20;
constexpr std::size_t kExchanges = std::size_t{kThreads} * kCalls;

int notify(int value)
{
    return tresk_hash_communicate_with_kernel(7, kHash.c_str(), static_cast<std::uint32_t>(value));
}

/// The kernel answers each message with its sender's port.
class ThreadsTest : public ChannelTest {
  protected:
    void SetUp() override
    {
        ChannelTest::SetUp();
        load("answer=\"for \" name_port=1");
    }
};

TEST_F(ThreadsTest, EachOfSixteenThreadsGetsItsOwnAnswers)
{
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&start] {
            start.arrive_and_wait();
            for (int call = 0; call < kCalls; ++call) {
                EXPECT_EQ(notify(call), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    const auto lines = log_lines();
    ASSERT_EQ(lines.size(), kExchanges);
    std::map<std::uint32_t, int> answers;
    for (const LogLine& line : lines) {
        EXPECT_EQ(line.text,
                  "tresk_communicate_with_kernel: Got response: for " + std::to_string(line.thread) + "\n");
        ++answers[line.thread];
    }
    EXPECT_EQ(answers.size(), std::size_t{kThreads});
}

TEST_F(ThreadsTest, KernelGetsEachThreadsMessagesInTheirOrder)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([] {
            for (int call = 0; call < kCalls; ++call) {
                EXPECT_EQ(notify(call), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    const auto all = records();
    ASSERT_EQ(all.size(), kExchanges);
    std::map<std::uint32_t, int> calls;
    for (const KernelRecord& record : all) {
        const std::string value = {static_cast<char>(calls[record.port]++), '\0', '\0', '\0'};
        EXPECT_EQ(record.bytes, message_bytes(7, record.port, value + kHash));
    }
    EXPECT_EQ(calls.size(), std::size_t{kThreads});
}

/// Makes the calls in a process of its own; its exit status is the number of failed ones.
pid_t start_process()
{
    const pid_t child = ::fork();
    if (child == 0) {
        int failures = 0;
        for (int call = 0; call < kCalls; ++call) {
            failures += notify(call) == 0 ? 0 : 1;
        }
        ::_exit(failures);
    }
    return child;
}

TEST_F(ThreadsTest, ProcessesDoNotGetInEachOthersWay)
{
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i) {
        children.push_back(start_process());
        ASSERT_GT(children.back(), 0);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(records().size(), std::size_t{4} * kCalls);
}

} // namespace

} // namespace tresk::test
