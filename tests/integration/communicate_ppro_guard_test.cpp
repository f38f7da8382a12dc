// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Type 10 over real policy files. The look-up finds an entry beside the hash, the count sees the first node
// alone; what is sent follows from both.
#include "tests/integration/communicate_notification_fixture.h"
#include "tresk_extend.h"

namespace tresk::test {

namespace {

const std::string kWanted = hash_of('a');
const std::string kOther = hash_of('b');

class PproGuardTest : public NotificationTest {
  protected:
    static int notify(int mode = 0, const char* data_source = "")
    {
        return tresk_ppro_communicate_with_kernel_zdk(10, kWanted.c_str(), 9, mode, data_source);
    }

    void expect_wanted_sent() { expect_sent(10, hash_payload(9, kWanted)); }
};

TEST_F(PproGuardTest, HashOfNoEntryIsSent)
{
    EXPECT_EQ(notify(), 0);
    expect_wanted_sent();
}

TEST_F(PproGuardTest, MissingPolicyIsCreatedAndCountsAsEmpty)
{
    ::unlink("/etc/tresk/ppro/ppro.xml");
    EXPECT_EQ(notify(), 0);
    expect_wanted_sent();
}

TEST_F(PproGuardTest, OnlyTheHashItselfIsKeptQuiet)
{
    write_policy(entry(kWanted));
    EXPECT_EQ(notify(), 0);
    expect_nothing_sent();
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(PproGuardTest, OnlyAnotherEntryIsKeptQuiet)
{
    write_policy(entry(kOther));
    EXPECT_EQ(notify(), 0);
    expect_nothing_sent();
}

TEST_F(PproGuardTest, HashFirstAndAnotherEntryBehindItIsSent)
{
    write_policy(entry(kWanted) + entry(kOther));
    EXPECT_EQ(notify(), 0);
    expect_wanted_sent();
}

TEST_F(PproGuardTest, AnotherEntryFirstIsKeptQuiet)
{
    write_policy(entry(kOther) + entry(kWanted));
    EXPECT_EQ(notify(), 0);
    expect_nothing_sent();
}

TEST_F(PproGuardTest, SharedHashIsKeptQuiet)
{
    write_policy(entry(kWanted) + entry(kWanted));
    EXPECT_EQ(notify(), 0);
    expect_nothing_sent();
}

TEST_F(PproGuardTest, EntryOfAnotherSourceIsNoneForTheLookUp)
{
    write_policy(entry(kWanted) + entry(kOther, R"(data_source_name="tool")"));
    EXPECT_EQ(notify(0, ""), 0);
    EXPECT_EQ(notify(0, nullptr), 0);
    expect_nothing_sent();
    EXPECT_EQ(notify(0, "tool"), 0);
    expect_wanted_sent();
}

TEST_F(PproGuardTest, EntryOfTheOtherModeIsNoneForTheLookUp)
{
    write_policy(entry(kWanted) + entry(kOther, R"(sm_status="1")"));
    EXPECT_EQ(notify(0), 0);
    expect_nothing_sent();
    EXPECT_EQ(notify(1), 0);
    expect_wanted_sent();
}

TEST_F(PproGuardTest, PlainFormLooksUpOrdinaryEntriesWithoutASource)
{
    write_policy(entry(kWanted) + entry(kOther, R"(sm_status="1")"));
    EXPECT_EQ(tresk_ppro_communicate_with_kernel(10, kWanted.c_str(), 9), 0);
    expect_nothing_sent();
    write_policy(entry(kWanted) + entry(kOther));
    EXPECT_EQ(tresk_ppro_communicate_with_kernel(10, kWanted.c_str(), 9), 0);
    expect_wanted_sent();
}

TEST_F(PproGuardTest, SmFormLooksUpEntriesOfTheSmSideWithoutASource)
{
    write_policy(entry(kWanted) + entry(kOther));
    EXPECT_EQ(tresk_ppro_communicate_with_kernel_sm(10, kWanted.c_str(), 9), 0);
    expect_nothing_sent();
    write_policy(entry(kWanted) + entry(kOther, R"(sm_status="1")"));
    EXPECT_EQ(tresk_ppro_communicate_with_kernel_sm(10, kWanted.c_str(), 9), 0);
    expect_wanted_sent();
}

TEST_F(PproGuardTest, FailedCountIsLoggedWithTheHash)
{
    write_file("/etc/tresk/ppro/ppro.xml", "<other/>");
    EXPECT_EQ(notify(), -1);
    expect_nothing_sent();
    ASSERT_FALSE(framework().logs.empty());
    const LogLine& line = framework().logs.back();
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.subject, "tresk_ppro_communicate_with_kernel_zdk");
    EXPECT_EQ(line.source, "tresk_communicate");
    EXPECT_EQ(line.format, "ppro get same node count by hash failed!, hash=%s\n");
    EXPECT_EQ(line.text, "ppro get same node count by hash failed!, hash=" + kWanted + "\n");
}

TEST_F(PproGuardTest, TypesThatAreTenInTheirLowBitsAloneAreNotGuarded)
{
    write_policy(entry(kWanted));
    EXPECT_EQ(tresk_ppro_communicate_with_kernel_zdk(0x1000A, kWanted.c_str(), 9, 0, ""), 0);
    expect_wanted_sent();
}

} // namespace

} // namespace tresk::test
