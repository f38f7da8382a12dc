// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/communicate_notification_fixture.h"
#include "tresk_extend.h"

namespace tresk::test {

namespace {

class NetctlNotificationTest : public NotificationTest {};

TEST_F(NetctlNotificationTest, SendsValueAndHash)
{
    EXPECT_EQ(tresk_netctl_communicate_with_kernel(30, hash_of('a').c_str(), 0x01020304), 0);
    expect_sent(30, hash_payload(0x01020304, hash_of('a')));
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(NetctlNotificationTest, SixtyFifthCharacterReachesTheKernelInByte68)
{
    const std::string hash = hash_of('a') + "bc";
    EXPECT_EQ(tresk_netctl_communicate_with_kernel(30, hash.c_str(), 1), 0);
    expect_sent(30, hash_payload(1, hash_of('a') + "b"));
}

TEST_F(NetctlNotificationTest, NullHashIsRefusedBeforeTheVersionIsAsked)
{
    set_version("1.0");
    EXPECT_EQ(tresk_netctl_communicate_with_kernel(30, nullptr, 1), -1);
    expect_nothing_sent();
    EXPECT_TRUE(asked_kinds_.empty());
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(NetctlNotificationTest, OldKernelIsToldNothing)
{
    for (const char* version : {"4.10", "4.1", "4.19", "0", ""}) {
        framework().reset();
        set_version(version);
        EXPECT_EQ(tresk_netctl_communicate_with_kernel(30, "h", 1), -2);
        ASSERT_EQ(framework().logs.size(), 1U);
        const LogLine& line = framework().logs.front();
        EXPECT_EQ(line.level, 3);
        EXPECT_EQ(line.subject, "tresk_netctl_communicate_with_kernel");
        EXPECT_EQ(line.source, "tresk_communicate");
        EXPECT_EQ(line.format,
                  "current kernel version not support netctl function, please update kernel version\n");
        EXPECT_TRUE(framework().errors.empty());
    }
    EXPECT_EQ(asked_kinds_, std::vector<int>(5, 2));
    expect_nothing_sent();
}

TEST_F(NetctlNotificationTest, SupportedVersionPasses)
{
    set_version("4.2");
    EXPECT_EQ(tresk_netctl_communicate_with_kernel(30, "h", 1), 0);
    EXPECT_EQ(asked_kinds_, std::vector<int>{2});
    expect_sent(30, hash_payload(1, "h"));
}

TEST_F(NetctlNotificationTest, TypesThatOtherFamiliesGuardAreSent)
{
    for (const std::uint32_t type : {8U, 10U, 20U}) {
        EXPECT_EQ(tresk_netctl_communicate_with_kernel(type, "h", 1), 0);
    }
    EXPECT_EQ(peer_.received().size(), 3U);
}

TEST_F(NetctlNotificationTest, RefusalOfTheKernelIsSuccessWithALogLine)
{
    standin::Answer refusal;
    refusal.text = "failed";
    set_answer(refusal);
    EXPECT_EQ(tresk_netctl_communicate_with_kernel(30, "h", 1), 0);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: Got response: failed\n");
}

TEST_F(NetctlNotificationTest, FailedExchangeFailsTheCall)
{
    ::unsetenv("TRESK_STANDIN_KERNEL_PORT");
    EXPECT_EQ(tresk_netctl_communicate_with_kernel(30, "h", 1), -1);
}

} // namespace

} // namespace tresk::test
