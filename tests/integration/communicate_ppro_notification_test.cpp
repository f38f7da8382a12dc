// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The gates before a process protection notification and their order: null, ownership, version.
#include "tests/integration/communicate_notification_fixture.h"
#include "tests/support/capture.h"
#include "tresk_extend.h"

namespace tresk::test {

namespace {

constexpr char kNoPermission[] = "no permission to change sm data.\n";
constexpr char kSmOwned[] = R"(sm_status="1")";

class PproNotificationTest : public NotificationTest {
  protected:
    /// Notifies about @hash with type 5 and value 9; gives what went to standard output.
    std::string notify(const char* hash, int mode)
    {
        return captured_stdout(
            [&] { result_ = tresk_ppro_communicate_with_kernel_zdk(5, hash, 9, mode, ""); });
    }

    int result_ = -7777;
};

TEST_F(PproNotificationTest, OrdinaryEntryIsSent)
{
    write_policy(entry(hash_of('a')));
    EXPECT_EQ(notify(hash_of('a').c_str(), 0), "");
    EXPECT_EQ(result_, 0);
    expect_sent(5, hash_payload(9, hash_of('a')));
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(PproNotificationTest, UnknownHashIsSent)
{
    notify(hash_of('a').c_str(), 0);
    EXPECT_EQ(result_, 0);
    expect_sent(5, hash_payload(9, hash_of('a')));
}

TEST_F(PproNotificationTest, NullHashIsRefusedBeforeEverythingElse)
{
    set_version("1.0");
    EXPECT_EQ(notify(nullptr, 0), "");
    EXPECT_EQ(result_, -1);
    expect_nothing_sent();
    EXPECT_TRUE(framework().logs.empty());
    EXPECT_TRUE(asked_kinds_.empty());
}

TEST_F(PproNotificationTest, SmEntryIsLeftAloneByAnOrdinaryCaller)
{
    write_policy(entry(hash_of('a'), kSmOwned));
    EXPECT_EQ(notify(hash_of('a').c_str(), 0), kNoPermission);
    EXPECT_EQ(result_, 0);
    expect_nothing_sent();
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(PproNotificationTest, SmEntryIsLeftAloneByEveryModeButOne)
{
    write_policy(entry(hash_of('a'), kSmOwned));
    for (const int mode : {-1, 2, 257}) {
        EXPECT_EQ(notify(hash_of('a').c_str(), mode), kNoPermission);
        EXPECT_EQ(result_, 0);
    }
    expect_nothing_sent();
}

TEST_F(PproNotificationTest, SmEntryIsSentForTheSmSide)
{
    write_policy(entry(hash_of('a'), kSmOwned));
    EXPECT_EQ(notify(hash_of('a').c_str(), 1), "");
    EXPECT_EQ(result_, 0);
    expect_sent(5, hash_payload(9, hash_of('a')));
}

TEST_F(PproNotificationTest, OwnershipComesBeforeTheVersion)
{
    write_policy(entry(hash_of('a'), kSmOwned));
    set_version("4.1");
    EXPECT_EQ(notify(hash_of('a').c_str(), 0), kNoPermission);
    EXPECT_EQ(result_, 0);
    EXPECT_TRUE(asked_kinds_.empty());
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(PproNotificationTest, OldKernelIsToldNothing)
{
    set_version("4.10");
    EXPECT_EQ(notify(hash_of('a').c_str(), 0), "");
    EXPECT_EQ(result_, -2);
    EXPECT_EQ(asked_kinds_, std::vector<int>{6});
    expect_nothing_sent();
    ASSERT_EQ(framework().logs.size(), 1U);
    const LogLine& line = framework().logs.front();
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.subject, "tresk_ppro_communicate_with_kernel_zdk");
    EXPECT_EQ(line.source, "tresk_communicate");
    EXPECT_EQ(line.format,
              "current kernel version not support ppro function, please update kernel version\n");
}

TEST_F(PproNotificationTest, OldKernelIsToldNothingOfTheGuardedTypeEither)
{
    set_version("4.1");
    EXPECT_EQ(tresk_ppro_communicate_with_kernel_zdk(10, hash_of('a').c_str(), 9, 0, ""), -2);
    expect_nothing_sent();
}

TEST_F(PproNotificationTest, SupportedVersionPasses)
{
    set_version("4.2");
    notify(hash_of('a').c_str(), 0);
    EXPECT_EQ(result_, 0);
    expect_sent(5, hash_payload(9, hash_of('a')));
}

TEST_F(PproNotificationTest, UnreadablePolicyDoesNotStopAnUnguardedType)
{
    write_file("/etc/tresk/ppro/ppro.xml", "<other/>");
    notify(hash_of('a').c_str(), 0);
    EXPECT_EQ(result_, 0);
    expect_sent(5, hash_payload(9, hash_of('a')));
}

TEST_F(PproNotificationTest, FailedExchangeFailsTheCall)
{
    ::unsetenv("TRESK_STANDIN_KERNEL_PORT");
    notify(hash_of('a').c_str(), 0);
    EXPECT_EQ(result_, -1);
}

TEST_F(PproNotificationTest, PlainFormIsAnOrdinaryCaller)
{
    write_policy(entry(hash_of('a'), kSmOwned) + entry(hash_of('b')));
    EXPECT_EQ(
        captured_stdout([] { EXPECT_EQ(tresk_ppro_communicate_with_kernel(5, hash_of('a').c_str(), 9), 0); }),
        kNoPermission);
    EXPECT_EQ(tresk_ppro_communicate_with_kernel(5, hash_of('b').c_str(), 9), 0);
    expect_sent(5, hash_payload(9, hash_of('b')));
}

TEST_F(PproNotificationTest, SmFormIsTheSmSide)
{
    write_policy(entry(hash_of('a'), kSmOwned));
    EXPECT_EQ(captured_stdout(
                  [] { EXPECT_EQ(tresk_ppro_communicate_with_kernel_sm(5, hash_of('a').c_str(), 9), 0); }),
              "");
    expect_sent(5, hash_payload(9, hash_of('a')));
}

} // namespace

} // namespace tresk::test
