// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/kernel/answers.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace tresk::standin;
using std::chrono::milliseconds;

struct Wished {
    Answer answer;
    std::vector<std::string> unknown;
};

Wished wish(const std::string& wishes, std::uint16_t type = 10)
{
    Wished result;
    result.answer = wished_answer(wishes, type, result.unknown);
    return result;
}

TEST(KernelAnswers, SucceedsWithoutAWish)
{
    const Answer answer = wish("").answer;
    EXPECT_EQ(answer.text, "succeeded");
    EXPECT_FALSE(answer.silent);
    EXPECT_EQ(answer.delay, milliseconds{0});
    EXPECT_FALSE(answer.size);
}

TEST(KernelAnswers, AddsWishesUp)
{
    const Answer answer = wish("# a comment\n\ntext not so\ndelay 30\nshort 20\n").answer;
    EXPECT_EQ(answer.text, "not so");
    EXPECT_EQ(answer.delay, milliseconds{30});
    EXPECT_EQ(answer.size, 20U);
}

TEST(KernelAnswers, TakesTheLaterOfTwoWishes)
{
    EXPECT_EQ(wish("text one\ntext two\n").answer.text, "two");
}

TEST(KernelAnswers, LimitsAWishToItsType)
{
    const std::string wishes = "text all\ntype 20: text blocked\ntype 10: silent\n";
    EXPECT_EQ(wish(wishes, 20).answer.text, "blocked");
    EXPECT_FALSE(wish(wishes, 20).answer.silent);
    EXPECT_TRUE(wish(wishes, 10).answer.silent);
    EXPECT_EQ(wish(wishes, 7).answer.text, "all");
}

TEST(KernelAnswers, KnowsEmptyAndLongAnswers)
{
    EXPECT_EQ(wish("empty\n").answer.size, 0U);
    EXPECT_EQ(wish("long\n").answer.size, 1116U);
    EXPECT_EQ(wish("long 2000\n").answer.size, 2000U);
}

TEST(KernelAnswers, TellsWhatItDoesNotKnow)
{
    const std::vector<std::string> lines{"sulk",    "delay x", "short",         "silent now",
                                         "type 10", "type x:", "type 10: sulk", "long 99999999"};
    std::string wishes;
    for (const std::string& line : lines) {
        wishes += line + "\n";
    }
    EXPECT_EQ(wish(wishes).unknown, lines);
    EXPECT_TRUE(wish("text a\nsilent\nempty\nlong\nshort 1\ndelay 1\n").unknown.empty());
}

TEST(KernelAnswers, FillsAMessageBehindItsText)
{
    const std::string datagram = encode({.text = "no"});
    ASSERT_EQ(datagram.size(), MESSAGE_SIZE);
    nlmsghdr header = {};
    std::memcpy(&header, datagram.data(), sizeof(header));
    EXPECT_EQ(header.nlmsg_len, MESSAGE_SIZE);
    EXPECT_EQ(datagram.substr(16), "no" + std::string(998, '\0'));
}

TEST(KernelAnswers, CutsAShortAnswer)
{
    EXPECT_EQ(encode({.size = 18}), encode({}).substr(0, 18));
    EXPECT_EQ(encode({.size = 0}), "");
}

TEST(KernelAnswers, LeavesNoNulInALongAnswer)
{
    EXPECT_EQ(encode({.size = 1100}).substr(16), std::string(1084, 'x'));
}

TEST(KernelAnswers, KeepsAFullPayloadFullOfText)
{
    EXPECT_EQ(encode({.text = std::string(1200, 'y')}).substr(16), std::string(1000, 'y'));
}

TEST(KernelAnswers, DescribesAMessageInOneLine)
{
    Received received{.length = 1016, .port = 71};
    received.message.header = {
        .nlmsg_len = 1016, .nlmsg_type = 10, .nlmsg_flags = 1, .nlmsg_seq = 2, .nlmsg_pid = 70};
    std::string_view{"\1\0\0\0ab \\", 8}.copy(received.message.payload.data(), 8);
    EXPECT_EQ(describe(received), "type=10 flags=1 seq=2 pid=70 port=71 length=1016 received=1016 value=1 "
                                  "hash=ab\\x20\\x5c text=\\x01 payload=010000006162205c");
}

} // namespace
