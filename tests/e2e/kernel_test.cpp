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

TEST_F(NotifyTest, KmodSendsTheModulesName)
{
    EXPECT_EQ(treskctl({"notify", "kmod", "usb_storage", "--type", "9"}),
              succeeded("TYPE  MODULE\n9     usb_storage\n"));
    EXPECT_THAT(read_state("kernel.log"), StartsWith("type=9 "));
    EXPECT_THAT(read_state("kernel.log"), HasSubstr(" text=usb_storage "));
    EXPECT_TRUE(service_was_asked("tresk_xattr_protect_check_kmod_in_sm ('usb_storage',)"));
}

TEST_F(NotifyTest, AModuleOfTheSmSideIsLeftAloneAndThatIsAFailure)
{
    write_state("kmod_sm", "usb_storage\n");
    EXPECT_EQ(treskctl({"notify", "kmod", "usb_storage", "--type", "9"}),
              failed("treskctl: notify kmod: not sent: the entry belongs to the sm side (see --sm)\n"
                     "treskctl: library: no permission to change sm data.\n"));
    EXPECT_FALSE(kernel_was_told());
    EXPECT_EQ(treskctl({"notify", "kmod", "usb_storage", "--type", "9", "--sm"}).exit_status, 0);
    EXPECT_TRUE(kernel_was_told());
}

TEST_F(NotifyTest, AKmodMessageOfTypeEightIsNeverSentAndThatIsAFailure)
{
    const Outcome outcome = treskctl({"notify", "kmod", "usb_storage", "--type", "8", "--sm", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    const auto error = parsed(outcome.error)["errors"][0];
    EXPECT_EQ(error["cause"], "refused");
    EXPECT_EQ(error["code"], -1000);
    EXPECT_FALSE(kernel_was_told());
}

TEST_F(NotifyTest, AModulesNameThatFitsNoMessageIsWrongUsage)
{
    const std::string longest(1000, 'm');
    EXPECT_EQ(treskctl({"notify", "kmod", longest, "--type", "9"}).exit_status, 0);
    EXPECT_THAT(read_state("kernel.log"), HasSubstr(" text=" + longest + " "));
    const Outcome outcome = treskctl({"notify", "kmod", longest + "m", "--type", "9"});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: MODULE: longer than 1000 bytes\n"));
}

TEST_F(NotifyTest, DeviceSendsItsBytes)
{
    EXPECT_EQ(treskctl({"notify", "device", "--type", "12", "--data", "00Ff10"}),
              succeeded("TYPE  BYTES\n12    3\n"));
    EXPECT_THAT(read_state("kernel.log"), StartsWith("type=12 "));
    EXPECT_THAT(read_state("kernel.log"), HasSubstr(" payload=00ff10\n"));
}

TEST_F(NotifyTest, DeviceTakesItsBytesFromAFile)
{
    const std::string bytes(1000, '\x07');
    EXPECT_EQ(treskctl_with_input(bytes, {"notify", "device", "--type", "12", "--data-file", "-"}),
              succeeded("TYPE  BYTES\n12    1000\n"));
    EXPECT_THAT(read_state("kernel.log"), HasSubstr(" payload=0707"));
    const Outcome outcome =
        treskctl_with_input(bytes + "\x07", {"notify", "device", "--type", "12", "--data-file", "-"});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: a message has at most 1000 bytes, not 1001\n"));
    EXPECT_EQ(treskctl({"notify", "device", "--type", "12", "--data-file", "/no/such"}),
              failed("treskctl: notify device: /no/such: cannot be read: No such file or directory\n"));
}

} // namespace

} // namespace tresk::test
