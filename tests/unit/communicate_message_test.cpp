// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/kernel_message.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <string>
#include <string_view>

namespace tresk::test {

namespace {

std::string bytes(const KernelMessage& message)
{
    return {reinterpret_cast<const char*>(&message), sizeof(message)};
}

KernelMessage message_with(int type, std::uint32_t sender, std::string_view data)
{
    KernelMessage message{};
    fill_message(message, type, sender, data.data(), static_cast<int>(data.size()));
    return message;
}

KernelMessage answer_with(std::string_view payload)
{
    KernelMessage message{};
    payload.copy(message.payload.data(), message.payload.size());
    return message;
}

std::string text_of(std::string_view payload, std::size_t received)
{
    return reply_text(answer_with(payload), received).data();
}

TEST(KernelMessageTest, HeaderStandsInItsSixteenBytes)
{
    nlmsghdr expected{};
    expected.nlmsg_len = 1016;
    expected.nlmsg_type = 10;
    expected.nlmsg_pid = 4711;
    const KernelMessage message = message_with(10, 4711, "abc");
    EXPECT_EQ(std::memcmp(&message, &expected, 16), 0);
    EXPECT_EQ(bytes(message).substr(16, 4), std::string("abc\0", 4));
}

TEST(KernelMessageTest, PayloadBehindTheDataIsZero)
{
    const std::string payload = bytes(message_with(1, 2, "data")).substr(16);
    EXPECT_EQ(payload.size(), 1000U);
    EXPECT_EQ(payload.find_first_not_of('\0', 4), std::string::npos);
}

TEST(KernelMessageTest, ThousandBytesFillThePayload)
{
    const std::string data(1000, 'd');
    EXPECT_EQ(bytes(message_with(1, 2, data)).substr(16), data);
}

TEST(KernelMessageTest, DataMayHoldNulBytes)
{
    EXPECT_EQ(bytes(message_with(1, 2, {"a\0b", 3})).substr(16, 4), std::string("a\0b\0", 4));
}

TEST(KernelMessageTest, TypeKeepsItsLowSixteenBits)
{
    EXPECT_EQ(message_with(0x7001000A, 0, "").header.nlmsg_type, 10);
    EXPECT_EQ(message_with(-1, 0, "").header.nlmsg_type, 0xFFFF);
}

TEST(KernelMessageDeathTest, MoreThanThePayloadHoldsEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string data(1001, 'd');
    EXPECT_EXIT(message_with(1, 2, data), testing::KilledBySignal(SIGABRT),
                "tresk_communicate_with_kernel: 1001 bytes do not fit the payload of 1000");
}

TEST(KernelMessageDeathTest, NegativeLengthEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    KernelMessage message{};
    EXPECT_EXIT(fill_message(message, 1, 2, "", -1), testing::KilledBySignal(SIGABRT),
                "tresk_communicate_with_kernel: -1 bytes do not fit the payload of 1000");
}

TEST(ReplyTextTest, EndsAtTheFirstNul)
{
    EXPECT_EQ(text_of({"succeeded\0more", 14}, 1016), "succeeded");
}

TEST(ReplyTextTest, EndsWithThePayload)
{
    EXPECT_EQ(text_of(std::string(1000, 'x'), 1016), std::string(1000, 'x'));
}

TEST(ReplyTextTest, NothingReceivedIsNoText)
{
    EXPECT_EQ(text_of("stale", 0), "");
}

TEST(ReplyTextTest, LimitCountsTheReceivedBytesFromThePayloadOn)
{
    EXPECT_EQ(text_of("succeeded", 4), "succ");
    EXPECT_EQ(text_of("succeeded", 9), "succeeded");
    EXPECT_EQ(text_of(std::string(1000, 'x'), 999), std::string(999, 'x'));
}

} // namespace

} // namespace tresk::test
