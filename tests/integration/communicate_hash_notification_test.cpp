// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/communicate_notification_fixture.h"
#include "tresk_extend.h"

namespace tresk::test {

namespace {

class HashNotificationTest : public NotificationTest {};

TEST_F(HashNotificationTest, SendsValueAndHash)
{
    EXPECT_EQ(tresk_hash_communicate_with_kernel(30, hash_of('a').c_str(), 0x01020304), 0);
    expect_sent(30, hash_payload(0x01020304, hash_of('a')));
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(HashNotificationTest, SixtyFifthCharacterReachesTheKernelInByte68)
{
    const std::string hash = hash_of('a') + "bc";
    EXPECT_EQ(tresk_hash_communicate_with_kernel(30, hash.c_str(), 1), 0);
    expect_sent(30, hash_payload(1, hash_of('a') + "b"));
}

TEST_F(HashNotificationTest, EmptyHashIsSent)
{
    EXPECT_EQ(tresk_hash_communicate_with_kernel(30, "", 5), 0);
    expect_sent(30, hash_payload(5, ""));
}

TEST_F(HashNotificationTest, TypeIsSentByItsLowSixteenBits)
{
    EXPECT_EQ(tresk_hash_communicate_with_kernel(0xFFFF001EU, "h", 0), 0);
    expect_sent(30, hash_payload(0, "h"));
}

TEST_F(HashNotificationTest, NullHashIsRefusedSilently)
{
    EXPECT_EQ(tresk_hash_communicate_with_kernel(30, nullptr, 1), -1);
    expect_nothing_sent();
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(HashNotificationTest, HasNoVersionGate)
{
    set_version("1.0");
    EXPECT_EQ(tresk_hash_communicate_with_kernel(30, "h", 1), 0);
    expect_sent(30, hash_payload(1, "h"));
    EXPECT_TRUE(asked_kinds_.empty());
}

TEST_F(HashNotificationTest, RefusalOfTheKernelIsSuccessWithALogLine)
{
    standin::Answer refusal;
    refusal.text = "failed";
    set_answer(refusal);
    EXPECT_EQ(tresk_hash_communicate_with_kernel(30, "h", 1), 0);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: Got response: failed\n");
}

TEST_F(HashNotificationTest, FailedExchangeFailsTheCall)
{
    ::unsetenv("TRESK_STANDIN_KERNEL_PORT");
    EXPECT_EQ(tresk_hash_communicate_with_kernel(30, "h", 1), -1);
}

} // namespace

} // namespace tresk::test
