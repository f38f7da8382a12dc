// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Type 20 over real policy files. The look-up goes by the source, the count does not; what is sent follows
// from both.
#include "tests/integration/communicate_notification_fixture.h"
#include "tresk_extend.h"

namespace tresk::test {

namespace {

constexpr char kPolicy[] = "/etc/tresk/pblk/pblk.xml";
const std::string kWanted = hash_of('a');
const std::string kOther = hash_of('b');

class PblkGuardTest : public NotificationTest {
  protected:
    void SetUp() override
    {
        NotificationTest::SetUp();
        write_blocked("");
    }

    static void write_blocked(const std::string& nodes)
    {
        write_file(kPolicy, "<pblk_root>" + nodes + "</pblk_root>");
    }

    static std::string blocked(const std::string& hash, const std::string& attributes = "")
    {
        return "<pblk_node path=\"/usr/bin/a\" " + attributes + "><hash>" + hash + "</hash></pblk_node>";
    }

    static int notify(int type = 1, const char* name = "")
    {
        return tresk_pblk_communicate_with_kernel_zdk(20, kWanted.c_str(), type, name);
    }

    void expect_wanted_sent() { expect_sent(20, padded(kWanted)); }
};

TEST_F(PblkGuardTest, HashOfNoEntryIsSent)
{
    EXPECT_EQ(notify(), 0);
    expect_wanted_sent();
}

TEST_F(PblkGuardTest, HashOfOtherEntriesAloneIsSent)
{
    write_blocked(blocked(kOther) + blocked(kOther));
    EXPECT_EQ(notify(), 0);
    expect_wanted_sent();
}

TEST_F(PblkGuardTest, HashOfOneEntryIsSent)
{
    write_blocked(blocked(kOther) + blocked(kWanted));
    EXPECT_EQ(notify(), 0);
    expect_wanted_sent();
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(PblkGuardTest, SharedHashIsKeptQuiet)
{
    write_blocked(blocked(kWanted) + blocked(kWanted));
    EXPECT_EQ(notify(), 0);
    expect_nothing_sent();
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(PblkGuardTest, HashThatAnotherSourceAloneBlocksIsKeptQuiet)
{
    write_blocked(blocked(kWanted, R"(data_source_type="2")"));
    EXPECT_EQ(notify(1), 0);
    expect_nothing_sent();
    EXPECT_EQ(notify(2), 0);
    expect_wanted_sent();
}

TEST_F(PblkGuardTest, LookUpGoesByTheNameOfTheSource)
{
    write_blocked(blocked(kWanted, R"(data_source_name="tool")"));
    EXPECT_EQ(notify(1, ""), 0);
    EXPECT_EQ(notify(1, nullptr), 0);
    expect_nothing_sent();
    EXPECT_EQ(notify(1, "tool"), 0);
    expect_wanted_sent();
}

TEST_F(PblkGuardTest, HashSharedWithAnotherSourceIsKeptQuiet)
{
    write_blocked(blocked(kWanted, R"(data_source_type="1")") + blocked(kWanted, R"(data_source_type="2")"));
    EXPECT_EQ(notify(1), 0);
    EXPECT_EQ(notify(2), 0);
    EXPECT_EQ(notify(3), 0);
    expect_nothing_sent();
}

TEST_F(PblkGuardTest, PlainFormLooksUpTypeOneWithoutAName)
{
    write_blocked(blocked(kWanted, R"(data_source_type="2" data_source_name="")"));
    EXPECT_EQ(tresk_pblk_communicate_with_kernel(20, kWanted.c_str()), 0);
    write_blocked(blocked(kWanted, R"(data_source_type="1" data_source_name="tool")"));
    EXPECT_EQ(tresk_pblk_communicate_with_kernel(20, kWanted.c_str()), 0);
    expect_nothing_sent();
    write_blocked(blocked(kWanted, R"(data_source_type="1" data_source_name="")"));
    EXPECT_EQ(tresk_pblk_communicate_with_kernel(20, kWanted.c_str()), 0);
    expect_wanted_sent();
}

TEST_F(PblkGuardTest, MissingPolicyIsCreatedAndCountsAsEmpty)
{
    ::unlink(kPolicy);
    EXPECT_EQ(notify(), 0);
    expect_wanted_sent();
    EXPECT_EQ(read_file(kPolicy), "<?xml version=\"1.0\"?>\n<pblk_root/>\n");
}

TEST_F(PblkGuardTest, FailedCountIsLogged)
{
    write_file(kPolicy, "<other/>");
    EXPECT_EQ(notify(), -1);
    expect_nothing_sent();
    ASSERT_FALSE(framework().logs.empty());
    const LogLine& line = framework().logs.back();
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.subject, "tresk_pblk_communicate_with_kernel_zdk");
    EXPECT_EQ(line.source, "tresk_communicate");
    EXPECT_EQ(line.format, "pblk get same node count by path hash!\n");
    EXPECT_EQ(line.text, "pblk get same node count by path hash!\n");
    EXPECT_TRUE(framework().errors.empty());
}

TEST_F(PblkGuardTest, TypesThatAreTwentyInTheirLowBitsAloneAreNotGuarded)
{
    write_blocked(blocked(kWanted) + blocked(kWanted));
    EXPECT_EQ(tresk_pblk_communicate_with_kernel_zdk(0x10014, kWanted.c_str(), 1, ""), 0);
    expect_wanted_sent();
}

TEST_F(PblkGuardTest, TypeTenIsNotGuarded)
{
    write_blocked(blocked(kWanted) + blocked(kWanted));
    EXPECT_EQ(tresk_pblk_communicate_with_kernel_zdk(10, kWanted.c_str(), 1, ""), 0);
    expect_sent(10, padded(kWanted));
}

} // namespace

} // namespace tresk::test
