// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/kernel_channel.h"
#include "tests/integration/communicate_fixture.h"

#include <algorithm>
#include <barrier>
#include <cstring>
#include <set>
#include <thread>

namespace tresk::test {

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 20;
constexpr std::size_t kExchanges = std::size_t{kThreads} * kRounds;

/// Eight threads' exchanges with a peer that names the asking port in each answer.
class ChannelThreadsTest : public ChannelTest {
  protected:
    void SetUp() override
    {
        ChannelTest::SetUp();
        set_kernel_port(peer_.port());
    }

    void exchange_at_once(int rounds)
    {
        std::barrier start(kThreads);
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int type = 0; type < kThreads; ++type) {
            threads.emplace_back([&start, rounds, type] {
                start.arrive_and_wait();
                for (int round = 0; round < rounds; ++round) {
                    EXPECT_EQ(tresk_communicate_with_kernel(type, "", 0), 0);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    standin::PeerThread peer_{[](const standin::Received& received) {
        standin::Answer answer;
        answer.text = "for " + std::to_string(received.port);
        return answer;
    }};
};

TEST_F(ChannelThreadsTest, EachThreadGetsItsOwnAnswer)
{
    exchange_at_once(kRounds);
    const auto& receives = system_calls().receives;
    ASSERT_EQ(receives.size(), kExchanges);
    std::set<pid_t> threads;
    for (const ReceiveCall& call : receives) {
        EXPECT_STREQ(call.bytes.c_str() + sizeof(nlmsghdr), ("for " + std::to_string(call.thread)).c_str());
        threads.insert(call.thread);
    }
    EXPECT_EQ(threads.size(), std::size_t{kThreads});
}

TEST_F(ChannelThreadsTest, EachThreadSpeaksFromItsOwnPort)
{
    exchange_at_once(1);
    std::set<std::uint32_t> ports;
    for (const standin::Received& received : peer_.received()) {
        EXPECT_EQ(received.message.header.nlmsg_pid, received.port);
        ports.insert(received.port);
    }
    EXPECT_EQ(ports.size(), std::size_t{kThreads});
}

TEST_F(ChannelThreadsTest, FirstExchangesAtOnceShareOneDetection)
{
    exchange_at_once(kRounds);
    ASSERT_EQ(system_calls().sockets.size(), kExchanges);
    for (const SocketCall& call : system_calls().sockets) {
        EXPECT_EQ(call.protocol, 27);
    }
    EXPECT_EQ(system_calls().pipelines.size(), 1U);
}

} // namespace

} // namespace tresk::test
