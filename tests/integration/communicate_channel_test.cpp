// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/kernel_channel.h"
#include "tests/integration/communicate_fixture.h"
#include "tresk_extend.h"

#include <csignal>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <thread>

namespace tresk::test {

namespace {

std::string bytes_of(const standin::Received& received)
{
    return {reinterpret_cast<const char*>(&received.message), sizeof(received.message)};
}

/// A message as it must arrive, written down byte for byte.
std::string expected_message(std::uint16_t type, std::uint32_t thread, const std::string& payload)
{
    struct {
        std::uint32_t length = 1016;
        std::uint16_t type = 0;
        std::uint16_t flags = 0;
        std::uint32_t sequence = 0;
        std::uint32_t port = 0;
    } header;

    header.type = type;
    header.port = thread;
    static_assert(sizeof(header) == 16);
    return std::string(reinterpret_cast<const char*>(&header), sizeof(header)) + padded(payload);
}

class ChannelMessageTest : public PeerTest {};

TEST_F(ChannelMessageTest, IsThousandAndSixteenBytesWithTheThreadIdTwice)
{
    EXPECT_EQ(tresk_communicate_with_kernel(10, "payload", 7), 0);
    const standin::Received received = only_message();
    EXPECT_EQ(received.length, 1016U);
    EXPECT_EQ(received.port, own_thread_id());
    EXPECT_EQ(bytes_of(received), expected_message(10, own_thread_id(), "payload"));
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(ChannelMessageTest, WithoutContentIsZerosBehindAFullHeader)
{
    EXPECT_EQ(tresk_communicate_with_kernel(3, "ignored", 0), 0);
    EXPECT_EQ(bytes_of(only_message()), expected_message(3, own_thread_id(), ""));
}

TEST_F(ChannelMessageTest, ThousandBytesAreSentWhole)
{
    const std::string data(1000, 'd');
    EXPECT_EQ(tresk_communicate_with_kernel(3, data.data(), 1000), 0);
    EXPECT_EQ(bytes_of(only_message()), expected_message(3, own_thread_id(), data));
}

TEST_F(ChannelMessageTest, TypeIsCutToSixteenBits)
{
    EXPECT_EQ(tresk_communicate_with_kernel(0x1000A, "", 0), 0);
    EXPECT_EQ(tresk_communicate_with_kernel(-2, "", 0), 0);
    const auto received = peer_.received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].message.header.nlmsg_type, 10);
    EXPECT_EQ(received[1].message.header.nlmsg_type, 0xFFFE);
}

TEST_F(ChannelMessageTest, AsksForTheThreadIdThroughTheExportedFunctionTwice)
{
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), 0);
    EXPECT_EQ(system_calls().thread_id_calls, 2);
}

TEST_F(ChannelMessageTest, GoesOverARawSocketWithOneSecondTimeouts)
{
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), 0);
    const std::vector<SocketCall> sockets = {{AF_NETLINK, SOCK_RAW, 27}};
    EXPECT_EQ(system_calls().sockets, sockets);
    const std::vector<TimeoutCall> timeouts = {{SO_SNDTIMEO, 1, 0}, {SO_RCVTIMEO, 1, 0}};
    EXPECT_EQ(system_calls().timeouts, timeouts);
    ASSERT_EQ(system_calls().receives.size(), 1U);
    EXPECT_EQ(system_calls().receives.front().address_room, 12U);
}

TEST_F(ChannelMessageTest, ThousandExchangesLeaveNoDescriptorOpen)
{
    const auto open_descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    EXPECT_EQ(tresk_communicate_with_kernel(0, "", 0), 0);
    const auto before = open_descriptors();
    for (int i = 1; i < 1000; ++i) {
        ASSERT_EQ(tresk_communicate_with_kernel(i, "", 0), 0);
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(peer_.received().size(), 1000U);
}

class ChannelLimitTest : public ChannelTest {};

TEST_F(ChannelLimitTest, NullDataFailsBeforeAnythingElse)
{
    EXPECT_EQ(tresk_communicate_with_kernel(1, nullptr, 5), -1);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: data was wrong\n");
    EXPECT_TRUE(system_calls().pipelines.empty());
    EXPECT_TRUE(system_calls().sockets.empty());
}

TEST_F(ChannelLimitTest, NullDataWithALengthOutOfBoundsIsNoFatalError)
{
    EXPECT_EQ(tresk_communicate_with_kernel(1, nullptr, 1001), -1);
}

using ChannelLimitDeathTest = ChannelLimitTest;

TEST_F(ChannelLimitDeathTest, LengthsOutOfBoundsEndTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string data(1001, 'd');
    EXPECT_EXIT(tresk_communicate_with_kernel(1, data.data(), 1001), testing::KilledBySignal(SIGABRT),
                "tresk_communicate_with_kernel: 1001 bytes do not fit");
    EXPECT_EXIT(tresk_communicate_with_kernel(1, data.data(), -1), testing::KilledBySignal(SIGABRT),
                "tresk_communicate_with_kernel: -1 bytes do not fit");
}

TEST(GetTidTest, IsTheKernelsIdOfTheCallingThread)
{
    EXPECT_EQ(get_tid(), ::getpid());
    std::thread([] {
        EXPECT_EQ(get_tid(), static_cast<std::int64_t>(own_thread_id()));
        EXPECT_NE(get_tid(), ::getpid());
    }).join();
}

} // namespace

} // namespace tresk::test
