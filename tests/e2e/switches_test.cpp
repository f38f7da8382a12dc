// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "func", "conf", "module" and "security".
#include "tests/e2e/treskctl_test.h"

namespace tresk::test {

namespace {

using nlohmann::json;

class SwitchesTest : public TreskctlTest {};

TEST_F(SwitchesTest, FuncListNamesAllFunctions)
{
    EXPECT_EQ(treskctl({"func", "list"}), succeeded("INDEX  FUNCTION\n"
                                                    "0      exectl\n"
                                                    "1      netctl\n"
                                                    "2      fpro\n"
                                                    "3      kmodpro\n"
                                                    "4      3adm\n"
                                                    "5      ppro\n"
                                                    "6      devctl\n"
                                                    "8      tpm\n"
                                                    "9      sm\n"
                                                    "10     pblk\n"));
}

TEST_F(SwitchesTest, FuncSetTakesANameOrANumber)
{
    EXPECT_EQ(treskctl({"func", "set", "pblk", "off"}),
              succeeded("FUNCTION  INDEX  STATE\npblk      10     off\n"));
    EXPECT_TRUE(service_was_asked("tresk_xattr_set_func_status (10, 0)"));
    EXPECT_EQ(treskctl({"func", "set", "4", "on"}),
              succeeded("FUNCTION  INDEX  STATE\n3adm      4      on\n"));
    EXPECT_TRUE(service_was_asked("tresk_xattr_set_func_status (4, 1)"));
}

TEST_F(SwitchesTest, ConfSetSendsNameAndValue)
{
    EXPECT_EQ(treskctl({"conf", "set", "log_level", "-3"}), succeeded("NAME       VALUE\nlog_level  -3\n"));
    EXPECT_TRUE(service_was_asked("tresk_conf_set ('log_level', -3)"));
}

TEST_F(SwitchesTest, ConfAddAndRemoveHaveNoArguments)
{
    EXPECT_EQ(treskctl({"conf", "add"}), succeeded("ENTRIES\nadded\n"));
    EXPECT_TRUE(service_was_asked("tresk_conf_add ()"));
    EXPECT_EQ(treskctl({"conf", "remove"}), succeeded("ENTRIES\nremoved\n"));
    EXPECT_TRUE(service_was_asked("tresk_conf_remove ()"));
}

TEST_F(SwitchesTest, AnAnswerThatIsNoStatusCodeIsToldAsItIs)
{
    write_state("service-faults", "tresk_conf_add reply (7,)\n");
    EXPECT_EQ(treskctl({"conf", "add"}), failed("treskctl: conf add: the service answered 7\n"));
    const Outcome outcome = treskctl({"conf", "add", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.output), json::parse(R"({"version": 1, "command": "conf add", "results": []})"));
    EXPECT_EQ(parsed(outcome.error), json::parse(R"({"version": 1, "command": "conf add", "library": [],
        "errors": [{"cause": "answer", "subject": null, "code": 7, "name": null,
                    "message": "the service answered 7"}]})"));
}

TEST_F(SwitchesTest, ConfSetRefusesANameThatCannotBeSent)
{
    EXPECT_EQ(treskctl({"conf", "set", "a\xff", "1"}),
              failed("treskctl: conf set: an argument was refused (TRESK_ERROR_INVALID_ARGUMENT, -1007)\n"));
}

TEST_F(SwitchesTest, ModuleShowTellsConfiguredAndRealState)
{
    write_state("modules_after_reboot", "1 2\n");
    write_state("modules_current", "1 0\n");
    EXPECT_EQ(treskctl({"module", "show", "1", "3"}), succeeded("MODULE  CONFIGURED  REAL\n"
                                                                "1       2           0\n"
                                                                "3       1           1\n"));
}

TEST_F(SwitchesTest, ModuleShowGoesOnAfterAnUnknownModule)
{
    EXPECT_EQ(treskctl({"module", "show", "77", "1"}),
              (Outcome{1, "MODULE  CONFIGURED  REAL\n1       1           1\n",
                       "treskctl: module show: module 77: an argument was refused "
                       "(TRESK_ERROR_INVALID_ARGUMENT, -1007)\n"}));
}

TEST_F(SwitchesTest, ModuleChangesSendTheirNumbersInOrder)
{
    EXPECT_EQ(treskctl({"module", "set", "0", "1", "2", "1", "0"}), succeeded("CHANGE\nmodules\n"));
    EXPECT_TRUE(service_was_asked("setModuleStatus (0, 1, 2, 1, 0)"));
    EXPECT_EQ(treskctl({"module", "set-reboot", "2", "1", "0", "1", "2", "1"}),
              succeeded("CHANGE\nmodules at reboot\n"));
    EXPECT_TRUE(service_was_asked("setModuleStatusReboot (2, 1, 0, 1, 2, 1)"));
    EXPECT_EQ(treskctl({"module", "authorise", "3", "1"}),
              succeeded("CHANGE      FIRST  SECOND\nauthorised  3      1\n"));
    EXPECT_TRUE(service_was_asked("processctrlPolkitForSetModuleStatus (3, 1)"));
    EXPECT_EQ(treskctl({"module", "selinux", "strict"}), succeeded("CHANGE   POLICY\nselinux  strict\n"));
    EXPECT_TRUE(service_was_asked("setSelinuxPolicy ('strict',)"));
}

TEST_F(SwitchesTest, ModuleCheckRebootTellsTheServicesAnswer)
{
    EXPECT_EQ(treskctl({"module", "check-reboot", "3", "2"}),
              succeeded("FIRST  SECOND  ANSWER\n3      2       1\n"));
    EXPECT_EQ(treskctl({"module", "check-reboot", "3", "1"}),
              succeeded("FIRST  SECOND  ANSWER\n3      1       0\n"));
}

TEST_F(SwitchesTest, SecurityShowTellsAllThree)
{
    write_state("security_current", "2\n");
    write_state("security_after_reboot", "0\n");
    EXPECT_EQ(treskctl({"security", "show"}),
              succeeded("CURRENT  CONFIGURED  MODULE STATE\n2        0           1\n"));
}

TEST_F(SwitchesTest, SecurityShowKeepsWhatCouldBeRead)
{
    refuse("getSecurityStatusForVexDefender", "MERON.TRESK.DATABASE.ERR");
    EXPECT_EQ(
        treskctl({"security", "show"}),
        (Outcome{1, "CURRENT  CONFIGURED  MODULE STATE\n1        -           -\n",
                 "treskctl: security show: the configured status could not be read; the framework's log "
                 "has the reason\n"}));
}

TEST_F(SwitchesTest, SecurityChangesSendTheirNumbersInOrder)
{
    EXPECT_EQ(treskctl({"security", "set", "2", "0"}), succeeded("CHANGE    CONFIRMED\nsecurity  no\n"));
    EXPECT_TRUE(service_was_asked("setSecurityForVexDefender (2, 0)"));
    EXPECT_EQ(treskctl({"security", "set-reboot", "1", "2", "1"}),
              succeeded("CHANGE    CONFIRMED\nsecurity  no\n"));
    EXPECT_TRUE(service_was_asked("setSecurityForVexDefenderReboot (1, 2, 1)"));
}

TEST_F(SwitchesTest, SecurityCheckRebootTellsTheServicesAnswer)
{
    EXPECT_EQ(treskctl({"security", "check-reboot", "0"}), succeeded("VALUE  ANSWER\n0      1\n"));
}

TEST_F(SwitchesTest, SecuritySetWithoutAServiceIsAFailureThoughTheLibraryReturnsZero)
{
    EXPECT_EQ(treskctl_without_bus({"security", "set", "1", "1"}),
              failed("treskctl: security set: the service could not be reached, or failed for an unknown "
                     "reason (TRESK_ERROR_SERVICE, -1011)\n"));
}

} // namespace

} // namespace tresk::test
