// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the channel makes of answers. The texts behind "Got response: " are its whole judgement.
#include "communicate/kernel_channel.h"
#include "tests/integration/communicate_fixture.h"

#include <array>
#include <chrono>
#include <string_view>

namespace tresk::test {

namespace {

using std::chrono::milliseconds;

struct Reply {
    const char* name;
    std::string_view sent;
    std::string_view text;           ///< as the channel reads it
    std::optional<std::size_t> size; ///< the datagram's, where it is not a message's
};

void PrintTo(const Reply& reply, std::ostream* out)
{
    *out << reply.name;
}

standin::Answer text_answer(std::string text, std::optional<std::size_t> size = std::nullopt)
{
    standin::Answer answer;
    answer.text = std::move(text);
    answer.size = size;
    return answer;
}

class ChannelReplyTest : public PeerTest, public testing::WithParamInterface<Reply> {
  protected:
    void SetUp() override
    {
        PeerTest::SetUp();
        set_answer(text_answer(std::string(GetParam().sent), GetParam().size));
    }
};

TEST_P(ChannelReplyTest, IsLoggedAndSuccessAllTheSame)
{
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), 0);
    EXPECT_EQ(only_log(),
              "tresk_communicate_with_kernel: Got response: " + std::string(GetParam().text) + "\n");
    EXPECT_EQ(framework().logs.front().format, "%s: Got response: %s\n");
}

const std::string kFullOfX(1000, 'x');
const std::string kFullOfY(1000, 'y');

const std::array kReplies = {
    Reply{"Failed", "failed", "failed", {}},
    Reply{"Empty", "", "", {}},
    Reply{"SucceededAndMore", "succeeded!", "succeeded!", {}},
    Reply{"OtherCase", "Succeeded", "Succeeded", {}},
    Reply{"Beginning", "succeede", "succeede", {}},
    Reply{"Conversions", "100%s%n", "100%s%n", {}},
    Reply{"FullPayloadWithoutNul", kFullOfY, kFullOfY, {}},
    Reply{"LongerThanAMessage", "", kFullOfX, 1500}, // full of "x" behind its header
    Reply{"PartOfAHeader", "failed", "", 10},
    Reply{"HeaderAlone", "failed", "", 16},
    Reply{"FourBytesOfText", "failed", "fail", 20},
};

INSTANTIATE_TEST_SUITE_P(, ChannelReplyTest, testing::ValuesIn(kReplies),
                         [](const auto& row) { return std::string(row.param.name); });

class ChannelAnswerTest : public PeerTest {};

TEST_F(ChannelAnswerTest, SucceededIsNotLogged)
{
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), 0);
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(ChannelAnswerTest, SucceededInAShortAnswerIsNotLogged)
{
    set_answer(text_answer("succeeded", 25));
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), 0);
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(ChannelAnswerTest, NothingBehindTheNulCounts)
{
    set_answer(text_answer(std::string("succeeded\0but", 13)));
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), 0);
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(ChannelAnswerTest, QuestionNeverShowsThroughAShortAnswer)
{
    set_answer(text_answer("", 16));
    EXPECT_EQ(tresk_communicate_with_kernel(1, "succeeded", 9), 0);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: Got response: \n");
}

TEST_F(ChannelAnswerTest, LateAnswerWithinASecondCounts)
{
    standin::Answer late = text_answer("late");
    late.delay = milliseconds(300);
    set_answer(late);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(300));
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: Got response: late\n");
}

TEST_F(ChannelAnswerTest, EmptyDatagramIsAnEmptyText)
{
    // Kernels from 5.16 on carry none, so the system call says so in its place.
    system_calls().receive_result = 0;
    EXPECT_EQ(tresk_communicate_with_kernel(1, "succeeded", 9), 0);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: Got response: \n");
}

} // namespace

} // namespace tresk::test
