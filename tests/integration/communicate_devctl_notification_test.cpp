// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/communicate_notification_fixture.h"
#include "tresk_extend.h"

#include <climits>

namespace tresk::test {

namespace {

class DevctlNotificationTest : public NotificationTest {
  protected:
    static int notify(const std::string& bytes)
    {
        return tresk_devctl_communicate_with_kernel(40, bytes.data(),
                                                    static_cast<std::uint32_t>(bytes.size()));
    }
};

TEST_F(DevctlNotificationTest, SendsTheBytesAsTheyAre)
{
    const std::string bytes("\0a\xFF\0\n%s\0", 8);
    EXPECT_EQ(notify(bytes), 0);
    expect_sent(40, padded(bytes));
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(DevctlNotificationTest, SendsNoMoreThanItIsTold)
{
    EXPECT_EQ(tresk_devctl_communicate_with_kernel(40, "abcdef", 3), 0);
    expect_sent(40, padded("abc"));
}

TEST_F(DevctlNotificationTest, SendsAnEmptyPayload)
{
    EXPECT_EQ(notify(""), 0);
    expect_sent(40, padded(""));
}

TEST_F(DevctlNotificationTest, SendsAFullPayload)
{
    EXPECT_EQ(notify(std::string(1000, '\xFE')), 0);
    expect_sent(40, std::string(1000, '\xFE'));
}

TEST_F(DevctlNotificationTest, RefusesMoreThanAPayload)
{
    const std::string bytes(2000, 'x');
    for (const std::uint32_t length :
         {1001U, 1024U, 2000U, 65536U, 0x7FFFFFFFU, 0x80000000U, 0x80000001U, UINT32_MAX - 999, UINT32_MAX}) {
        EXPECT_EQ(tresk_devctl_communicate_with_kernel(40, bytes.data(), length), -1) << length;
    }
    expect_nothing_sent();
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(DevctlNotificationTest, RefusesNullSilently)
{
    for (const std::uint32_t length : {0U, 1U, 1000U, 1001U}) {
        EXPECT_EQ(tresk_devctl_communicate_with_kernel(40, nullptr, length), -1);
    }
    expect_nothing_sent();
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(DevctlNotificationTest, GuardsNoType)
{
    for (const std::uint32_t type : {8U, 10U, 20U, 0U}) {
        EXPECT_EQ(tresk_devctl_communicate_with_kernel(type, "d", 1), 0);
        EXPECT_EQ(peer_.received().back().message.header.nlmsg_type, type);
    }
    EXPECT_EQ(peer_.received().size(), 4U);
}

TEST_F(DevctlNotificationTest, TypeIsSentByItsLowSixteenBits)
{
    EXPECT_EQ(tresk_devctl_communicate_with_kernel(0xFFFF0028U, "d", 1), 0);
    expect_sent(40, padded("d"));
}

TEST_F(DevctlNotificationTest, HasNoVersionGate)
{
    set_version("1.0");
    EXPECT_EQ(notify("d"), 0);
    expect_sent(40, padded("d"));
    EXPECT_TRUE(asked_kinds_.empty());
}

TEST_F(DevctlNotificationTest, RefusalOfTheKernelIsSuccessWithALogLine)
{
    standin::Answer refusal;
    refusal.text = "failed";
    set_answer(refusal);
    EXPECT_EQ(notify("d"), 0);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: Got response: failed\n");
}

TEST_F(DevctlNotificationTest, FailedExchangeFailsTheCall)
{
    ::unsetenv("TRESK_STANDIN_KERNEL_PORT");
    EXPECT_EQ(notify("d"), -1);
}

} // namespace

} // namespace tresk::test
