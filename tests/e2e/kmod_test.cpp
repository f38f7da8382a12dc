// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "kmod": protected kernel modules, by name and by file.
#include "tests/e2e/treskctl_test.h"

#include <gmock/gmock.h>

namespace tresk::test {

namespace {

const std::string kFile = TRESK_MODULE_FILES "/file-name.ko";
const std::string kNoFile = "/proc/self/status";

class KmodTest : public TreskctlTest {};

TEST_F(KmodTest, ProtectTakesNames)
{
    EXPECT_EQ(treskctl({"kmod", "protect", "usb_storage", "snd"}),
              succeeded("RESULT     MODULE\nprotected  usb_storage\nprotected  snd\n"));
    EXPECT_EQ(read_state("scene/kmodctl"), "usb_storage\nsnd\n");
    EXPECT_EQ(treskctl({"kmod", "protect", "snd"}).exit_status, 0);
}

TEST_F(KmodTest, UnprotectTakesThemOff)
{
    treskctl({"kmod", "protect", "usb_storage", "snd"});
    EXPECT_EQ(treskctl({"kmod", "unprotect", "snd", "absent"}),
              succeeded("RESULT       MODULE\nunprotected  snd\nunprotected  absent\n"));
    EXPECT_EQ(read_state("scene/kmodctl"), "usb_storage\n");
}

TEST_F(KmodTest, FilesStandForTheNamesInThem)
{
    EXPECT_EQ(treskctl({"kmod", "protect", "--file", kFile}),
              succeeded("RESULT     MODULE\nprotected  " + kFile + "\n"));
    EXPECT_EQ(read_state("scene/kmodctl"), "real_name\n");
    EXPECT_EQ(treskctl({"kmod", "unprotect", "--file", kFile}).exit_status, 0);
    EXPECT_EQ(read_state("scene/kmodctl"), "");
}

TEST_F(KmodTest, NameReadsAFile)
{
    EXPECT_EQ(treskctl({"kmod", "name", kFile}), succeeded("MODULE     FILE\nreal_name  " + kFile + "\n"));
}

TEST_F(KmodTest, AFileThatIsNoModuleIsAFailureWithTheLibrarysLines)
{
    for (const char* command : {"protect", "unprotect"}) {
        const Outcome outcome = treskctl({"kmod", command, "--file", kNoFile});
        EXPECT_EQ(outcome.exit_status, 1);
        EXPECT_THAT(outcome.error,
                    ::testing::StartsWith("treskctl: kmod " + std::string(command) + ": " + kNoFile +
                                          ": no kernel module's name could be read from the file\n"));
        EXPECT_THAT(outcome.error, ::testing::EndsWith("treskctl: library: get kmod name failed\n"));
    }
    const Outcome outcome = treskctl({"kmod", "name", kNoFile, kFile, "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.output)["modules"].size(), 1U);
    EXPECT_EQ(parsed(outcome.error)["errors"][0]["cause"], "input");
}

TEST_F(KmodTest, ASceneFailureHasItsCodeForANameAlone)
{
    write_state("scene-faults",
                "tresk_scene_kmodctl_add_by_name -6\ntresk_scene_kmodctl_remove_by_name -7\n");
    EXPECT_EQ(treskctl({"kmod", "protect", "snd"}),
              failed("treskctl: kmod protect: snd: the framework's scene library failed with code -6\n"));
    EXPECT_EQ(treskctl({"kmod", "unprotect", "snd"}),
              failed("treskctl: kmod unprotect: snd: the framework's scene library failed with code -7\n"));
    EXPECT_EQ(treskctl({"kmod", "protect", "--file", kFile}),
              failed("treskctl: kmod protect: " + kFile + ": the framework's scene library failed\n"));
}

TEST_F(KmodTest, OwnerTellsTheSmSidesModules)
{
    write_state("kmod_sm", "secret\n");
    EXPECT_EQ(treskctl({"kmod", "owner", "secret", "snd"}),
              succeeded("OWNER     MODULE\nsm        secret\nordinary  snd\n"));
}

TEST_F(KmodTest, AnOwnerThatIsNotKnownIsAFailure)
{
    refuse("tresk_xattr_protect_check_kmod_in_sm", "MERON.TRESK.DATABASE.ERR");
    EXPECT_EQ(treskctl({"kmod", "owner", "snd"}),
              failed("treskctl: kmod owner: snd: the service refused; the framework's log has the reason\n"));
    EXPECT_EQ(treskctl({"kmod", "owner", "\xff"}),
              failed("treskctl: kmod owner: \\xff: an argument was refused: the service takes only UTF-8 "
                     "(TRESK_ERROR_INVALID_ARGUMENT, -1007)\n"));
}

} // namespace

} // namespace tresk::test
