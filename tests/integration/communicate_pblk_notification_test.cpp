// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The gates before a process blocking notification, and its bare content.
#include "tests/integration/communicate_notification_fixture.h"
#include "tests/support/capture.h"
#include "tresk_extend.h"

#include <filesystem>

namespace tresk::test {

namespace {

constexpr char kPolicy[] = "/etc/tresk/pblk/pblk.xml";

class PblkNotificationTest : public NotificationTest {
  protected:
    void SetUp() override
    {
        NotificationTest::SetUp();
        std::filesystem::remove(kPolicy);
    }
};

TEST_F(PblkNotificationTest, SendsTheBareHash)
{
    EXPECT_EQ(tresk_pblk_communicate_with_kernel_zdk(5, hash_of('a').c_str(), 1, ""), 0);
    expect_sent(5, padded(hash_of('a')));
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(PblkNotificationTest, SendsAtMost65Characters)
{
    const std::string hash = hash_of('a') + "bc";
    EXPECT_EQ(tresk_pblk_communicate_with_kernel_zdk(5, hash.c_str(), 1, ""), 0);
    expect_sent(5, padded(hash_of('a') + "b"));
}

TEST_F(PblkNotificationTest, SendsAShortAndAnEmptyText)
{
    EXPECT_EQ(tresk_pblk_communicate_with_kernel_zdk(5, "", 1, ""), 0);
    expect_sent(5, padded(""));
    EXPECT_EQ(tresk_pblk_communicate_with_kernel_zdk(5, "abc", 1, ""), 0);
    ASSERT_EQ(peer_.received().size(), 2U);
    EXPECT_EQ(payload_of(peer_.received().back()), padded("abc"));
}

TEST_F(PblkNotificationTest, PlainFormSendsTheSame)
{
    EXPECT_EQ(tresk_pblk_communicate_with_kernel(5, hash_of('a').c_str()), 0);
    expect_sent(5, padded(hash_of('a')));
}

TEST_F(PblkNotificationTest, LooksAtNoPolicyForAnUnguardedType)
{
    EXPECT_EQ(tresk_pblk_communicate_with_kernel_zdk(10, "h", 1, nullptr), 0);
    expect_sent(10, padded("h"));
    EXPECT_FALSE(std::filesystem::exists(kPolicy));
}

TEST_F(PblkNotificationTest, HasNoOwnershipGate)
{
    write_policy(entry(hash_of('a'), R"(sm_status="1")"));
    EXPECT_EQ(captured_stdout([] {
                  EXPECT_EQ(tresk_pblk_communicate_with_kernel_zdk(5, hash_of('a').c_str(), 0, ""), 0);
              }),
              "");
    expect_sent(5, padded(hash_of('a')));
}

TEST_F(PblkNotificationTest, NullHashIsRefusedBeforeTheVersionIsAsked)
{
    set_version("1.0");
    EXPECT_EQ(tresk_pblk_communicate_with_kernel_zdk(20, nullptr, 1, ""), -1);
    EXPECT_EQ(tresk_pblk_communicate_with_kernel(5, nullptr), -1);
    expect_nothing_sent();
    EXPECT_TRUE(asked_kinds_.empty());
    EXPECT_TRUE(framework().logs.empty());
    EXPECT_FALSE(std::filesystem::exists(kPolicy));
}

TEST_F(PblkNotificationTest, OldKernelIsToldNothing)
{
    for (const std::uint32_t type : {5U, 20U}) {
        framework().reset();
        asked_kinds_.clear();
        set_version("4.10");
        EXPECT_EQ(tresk_pblk_communicate_with_kernel(type, "h"), -2);
        EXPECT_EQ(asked_kinds_, std::vector<int>{8});
        ASSERT_EQ(framework().logs.size(), 1U);
        const LogLine& line = framework().logs.front();
        EXPECT_EQ(line.level, 3);
        EXPECT_EQ(line.subject, "tresk_pblk_communicate_with_kernel_zdk");
        EXPECT_EQ(line.source, "tresk_communicate");
        EXPECT_EQ(line.format,
                  "current kernel version not support pblk function, please update kernel version\n");
        EXPECT_TRUE(framework().errors.empty());
    }
    expect_nothing_sent();
    EXPECT_FALSE(std::filesystem::exists(kPolicy)) << "the version comes before the guard";
}

TEST_F(PblkNotificationTest, SupportedVersionPasses)
{
    set_version("5.0");
    EXPECT_EQ(tresk_pblk_communicate_with_kernel(5, "h"), 0);
    EXPECT_EQ(asked_kinds_, std::vector<int>{8});
    expect_sent(5, padded("h"));
}

TEST_F(PblkNotificationTest, RefusalOfTheKernelIsSuccessWithALogLine)
{
    standin::Answer refusal;
    refusal.text = "failed";
    set_answer(refusal);
    EXPECT_EQ(tresk_pblk_communicate_with_kernel(5, "h"), 0);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: Got response: failed\n");
}

TEST_F(PblkNotificationTest, FailedExchangeFailsTheCall)
{
    ::unsetenv("TRESK_STANDIN_KERNEL_PORT");
    EXPECT_EQ(tresk_pblk_communicate_with_kernel(5, "h"), -1);
}

} // namespace

} // namespace tresk::test
