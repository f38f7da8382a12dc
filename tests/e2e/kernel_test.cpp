// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "notify": what the kernel's side is told, and what is told when it is not.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace tresk::test {

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kHash = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
const std::string kWideHashHeader = "HASH" + std::string(62, ' ');

class NotifyTest : public TreskctlTest {
  protected:
    void SetUp() override
    {
        TreskctlTest::SetUp();
        write_policy("<ppro_root/>");
    }

    static bool kernel_was_told() { return std::filesystem::exists(state_file("kernel.log")); }
};

TEST_F(NotifyTest, HashReachesTheKernel)
{
    EXPECT_EQ(treskctl({"notify", "hash", kHash, "--type", "7", "--value", "4294967295"}),
              succeeded("TYPE  VALUE       " + kWideHashHeader + "SUBJECT\n7     4294967295  " + kHash +
                        "  " + kHash + "\n"));
    EXPECT_THAT(read_state("kernel.log"), StartsWith("type=7 "));
    EXPECT_THAT(read_state("kernel.log"), HasSubstr(" value=4294967295 hash=" + kHash + " "));
}

TEST_F(NotifyTest, PproTakesAPathAndSendsItsHash)
{
    EXPECT_EQ(treskctl({"notify", "ppro", kProgram, "--type", "9", "--value", "1"}),
              succeeded("TYPE  VALUE  " + kWideHashHeader + "SUBJECT\n9     1      " + kProgramHash +
                        "  /usr/bin/cat\n"));
    EXPECT_THAT(read_state("kernel.log"), HasSubstr(" value=1 hash=" + kProgramHash + " "));
}

TEST_F(NotifyTest, AnEntryOfTheSmSideIsLeftAloneAndThatIsAFailure)
{
    treskctl({"ppro", "add", kProgram, "--type", "1", "--sm"});
    EXPECT_EQ(treskctl({"notify", "ppro", kProgram, "--type", "9", "--value", "1"}),
              failed("treskctl: notify ppro: not sent: the entry belongs to the sm side (see --sm)\n"
                     "treskctl: library: no permission to change sm data.\n"));
    EXPECT_FALSE(kernel_was_told());
}

TEST_F(NotifyTest, TheSmSideMayNotifyAboutItsOwnEntries)
{
    treskctl({"ppro", "add", kProgram, "--type", "1", "--sm"});
    EXPECT_EQ(treskctl({"notify", "ppro", kProgram, "--type", "9", "--value", "1", "--sm"}).exit_status, 0);
    EXPECT_TRUE(kernel_was_told());
}

TEST_F(NotifyTest, AKernelThatDoesNotAnswerIsAFailure)
{
    write_state("kernel-answer", "silent\n");
    EXPECT_EQ(treskctl({"notify", "hash", kHash, "--type", "7", "--value", "1"}),
              failed("treskctl: notify hash: the kernel module did not answer; the framework's log has the "
                     "reason\n"));
}

TEST_F(NotifyTest, AKernelThatIsTooOldIsAFailure)
{
    write_state("version", "4.1\n");
    EXPECT_EQ(treskctl({"notify", "ppro", kProgram, "--type", "9", "--value", "1"}),
              failed("treskctl: notify ppro: the kernel's framework version is below 4.2\n"));
    EXPECT_FALSE(kernel_was_told());
}

TEST_F(NotifyTest, NetctlSendsTheHashThatHoldsTheUser)
{
    const std::string hash = "b3cde5dcc0820e9400b485d514a7fcba02cfe0a70b25457bb0728375c35117d0";
    write_file("/etc/tresk/netctl/netctl.xml", "<tresk_root user_dist=\"1\"/>");
    EXPECT_EQ(
        treskctl({"notify", "netctl", kProgram, "--uid", "1000", "--type", "3", "--value", "2"}),
        succeeded("TYPE  VALUE  " + kWideHashHeader + "SUBJECT\n3     2      " + hash + "  /usr/bin/cat\n"));
    EXPECT_THAT(read_state("kernel.log"), HasSubstr(" value=2 hash=" + hash + " "));
}

TEST_F(NotifyTest, NetctlTakesAHashWithoutAPolicy)
{
    EXPECT_EQ(treskctl({"notify", "netctl", kHash, "--type", "3", "--value", "2"}).exit_status, 0);
    EXPECT_THAT(read_state("kernel.log"), HasSubstr(" value=2 hash=" + kHash + " "));
}

TEST_F(NotifyTest, NetctlTellsTheKernelNothingWhileTheHashIsNotKnown)
{
    write_file("/etc/tresk/netctl/netctl.xml", "<other_root/>");
    EXPECT_EQ(treskctl({"notify", "netctl", kProgram, "--type", "3", "--value", "2"}),
              failed("treskctl: notify netctl: /etc/tresk/netctl/netctl.xml: the file is no network control "
                     "policy\n"));
    EXPECT_FALSE(kernel_was_told());
}

TEST_F(NotifyTest, PblkTakesAPathAndSendsItsHashWithoutAValue)
{
    EXPECT_EQ(treskctl({"notify", "pblk", kProgram, "--type", "19"}),
              succeeded("TYPE  " + kWideHashHeader + "SUBJECT\n19    " + kProgramHash + "  /usr/bin/cat\n"));
    EXPECT_THAT(read_state("kernel.log"), HasSubstr(kProgramHash));
    EXPECT_EQ(treskctl({"notify", "pblk", kHash, "--type", "19", "--json"}).output, R"({
  "version": 1,
  "command": "notify pblk",
  "results": [
    {
      "type": 19,
      "hash": ")" + kHash + R"(",
      "subject": ")" + kHash + R"("
    }
  ]
}
)");
}

TEST_F(NotifyTest, PblkAsksForAnEntryOfTheSource)
{
    write_file("/etc/tresk/pblk/pblk.xml", "<pblk_root><pblk_node path=\"/opt/a\" data_source_type=\"5\" "
                                           "data_source_name=\"x\"><hash>" +
                                               kHash + "</hash></pblk_node></pblk_root>");
    treskctl({"notify", "pblk", kHash, "--type", "20"});
    EXPECT_FALSE(kernel_was_told());
    treskctl({"notify", "pblk", kHash, "--type", "20", "--source-type", "5", "--source", "x"});
    EXPECT_TRUE(kernel_was_told());
}

TEST_F(NotifyTest, AKernelThatIsTooOldIsAFailureForEveryPolicy)
{
    write_state("version", "4.1\n");
    EXPECT_EQ(treskctl({"notify", "netctl", kHash, "--type", "3", "--value", "2"}),
              failed("treskctl: notify netctl: the kernel's framework version is below 4.2\n"));
    EXPECT_EQ(treskctl({"notify", "pblk", kHash, "--type", "19"}),
              failed("treskctl: notify pblk: the kernel's framework version is below 4.2\n"));
    EXPECT_FALSE(kernel_was_told());
}

} // namespace

} // namespace tresk::test
