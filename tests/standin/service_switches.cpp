// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

namespace tresk::test {

namespace {

class ServiceSwitches : public ServiceScene {
  protected:
    ServiceSwitches() { start_service(); }

    Outcome module(const std::string& method, const std::string& arguments = "()")
    {
        return call("module", method, arguments);
    }
};

} // namespace

TEST_F(ServiceSwitches, StatusIsKeptInAFile)
{
    EXPECT_EQ(call("xattr", "tresk_xattr_set_status", "(0,)"), replied("(0,)"));
    EXPECT_EQ(state_file("status"), "0\n");
    EXPECT_EQ(call("xattr", "tresk_xattr_set_status", "(1,)"), replied("(0,)"));
    EXPECT_EQ(state_file("status"), "1\n");
}

TEST_F(ServiceSwitches, StatusOutOfRangeChangesNothing)
{
    EXPECT_EQ(call("xattr", "tresk_xattr_set_status", "(2,)"),
              refused(kInvalidArgument, "the status is out of range (0 to 1): 2"));
    EXPECT_EQ(call("xattr", "tresk_xattr_set_status", "(-1,)"),
              refused(kInvalidArgument, "the status is out of range (0 to 1): -1"));
    EXPECT_FALSE(std::filesystem::exists(state / "status"));
}

TEST_F(ServiceSwitches, FunctionStatusesAreKeptOnePerLine)
{
    call("xattr", "tresk_xattr_set_func_status", "(5, 1)");
    call("xattr", "tresk_xattr_set_func_status", "(2, 0)");
    call("xattr", "tresk_xattr_set_func_status", "(5, 2)");
    EXPECT_EQ(state_file("func_status"), "2 0\n5 2\n");
}

TEST_F(ServiceSwitches, FunctionOutOfRangeIsRefused)
{
    EXPECT_EQ(call("xattr", "tresk_xattr_set_func_status", "(11, 1)"),
              refused(kInvalidArgument, "the function is out of range (0 to 10): 11"));
    EXPECT_EQ(call("xattr", "tresk_xattr_set_func_status", "(10, 3)"),
              refused(kInvalidArgument, "the status is out of range (0 to 2): 3"));
    EXPECT_EQ(call("xattr", "tresk_xattr_set_func_status", "(10, 1)"), replied("(0,)"));
}

TEST_F(ServiceSwitches, ConfigurationEntriesAreSetAndRemoved)
{
    EXPECT_EQ(call("conf", "tresk_conf_add"), replied("(0,)"));
    EXPECT_EQ(state_file("conf"), "");
    call("conf", "tresk_conf_set", "('a name', -4)");
    EXPECT_EQ(state_file("conf"), "a name -4\n");
    call("conf", "tresk_conf_add");
    EXPECT_EQ(state_file("conf"), "a name -4\n");
    EXPECT_EQ(call("conf", "tresk_conf_remove"), replied("(0,)"));
    EXPECT_FALSE(std::filesystem::exists(state / "conf"));
}

TEST_F(ServiceSwitches, ConfigurationEntryNeedsANameOfOneLine)
{
    EXPECT_EQ(call("conf", "tresk_conf_set", "('', 1)").error, kInvalidArgument);
    EXPECT_EQ(call("conf", "tresk_conf_set", "('a\\nb', 1)").error, kInvalidArgument);
    EXPECT_EQ(call("conf", "tresk_conf_set", "('#a', 1)").error, kInvalidArgument);
}

TEST_F(ServiceSwitches, UnreadableConfigurationIsReportedAndKept)
{
    write_file(state / "conf", "nonsense\n");
    EXPECT_EQ(call("conf", "tresk_conf_set", "('a', 1)").error, "MERON.TRESK.CONF.ERR");
    EXPECT_EQ(state_file("conf"), "nonsense\n");
}

TEST_F(ServiceSwitches, CommentsAndEmptyLinesInAFileAreNoEntries)
{
    write_file(state / "modules_current", "# by hand\n\n2 0\n");
    EXPECT_EQ(module("getModuleRealStatus", "(2,)"), replied("(0,)"));
    EXPECT_EQ(module("getModuleRealStatus", "(1,)"), replied("(1,)"));
}

TEST_F(ServiceSwitches, SetModulesChangesNowAndAfterReboot)
{
    module("setModuleStatus", "(2, 1, 0, 2, 1)");
    EXPECT_EQ(module("getModuleStatus", "(0,)"), replied("(2,)"));
    EXPECT_EQ(module("getModuleRealStatus", "(0,)"), replied("(2,)"));
    EXPECT_EQ(module("getModuleStatus", "(2,)"), replied("(0,)"));
    EXPECT_EQ(module("getModuleRealStatus", "(3,)"), replied("(2,)"));
}

TEST_F(ServiceSwitches, SetModulesForRebootLeavesTheStateOfNow)
{
    module("setModuleStatusReboot", "(0, 0, 0, 0, 0, 1)");
    EXPECT_EQ(module("getModuleStatus", "(4,)"), replied("(0,)"));
    EXPECT_EQ(module("getModuleRealStatus", "(4,)"), replied("(1,)"));
}

TEST_F(ServiceSwitches, SetModulesWithoutRebootFlagTakesEffectNow)
{
    module("setModuleStatusReboot", "(0, 0, 0, 0, 0, 0)");
    EXPECT_EQ(module("getModuleRealStatus", "(4,)"), replied("(0,)"));
}

TEST_F(ServiceSwitches, ModuleValuesOutOfRangeAreRefused)
{
    EXPECT_EQ(module("getModuleStatus", "(5,)"),
              refused(kInvalidArgument, "the module is out of range (0 to 4): 5"));
    EXPECT_EQ(module("getModuleRealStatus", "(-1,)").error, kInvalidArgument);
    EXPECT_EQ(module("setModuleStatus", "(0, 0, 0, 0, 3)").error, kInvalidArgument);
    EXPECT_EQ(module("setModuleStatusReboot", "(0, 0, 0, 0, 0, 2)").error, kInvalidArgument);
    EXPECT_EQ(module("checkSetModuleStatusReboot", "(0, 9)").error, kInvalidArgument);
    EXPECT_EQ(module("processctrlPolkitForSetModuleStatus", "(9, 0)").error, kInvalidArgument);
    EXPECT_FALSE(std::filesystem::exists(state / "modules_current"));
    EXPECT_FALSE(std::filesystem::exists(state / "modules_after_reboot"));
}

TEST_F(ServiceSwitches, ModuleNeedsNoRebootForTheStateItHas)
{
    EXPECT_EQ(module("checkSetModuleStatusReboot", "(2, 1)"), replied("(0,)"));
    EXPECT_EQ(module("checkSetModuleStatusReboot", "(2, 0)"), replied("(1,)"));
}

TEST_F(ServiceSwitches, DefenderIsTheSecurityStatusAndModuleThree)
{
    module("setSecurityForVexDefender", "(2, 0)");
    EXPECT_EQ(module("getSecurityStatusForVexDefender"), replied("(2,)"));
    EXPECT_EQ(module("getCurSecurityStatusForVexDefender"), replied("(2,)"));
    EXPECT_EQ(module("getModuleStatus", "(3,)"), replied("(0,)"));
    EXPECT_EQ(module("getModuleRealStatus", "(3,)"), replied("(0,)"));
    EXPECT_EQ(module("getModuleRealStatus", "(2,)"), replied("(1,)"));
}

TEST_F(ServiceSwitches, DefenderForRebootLeavesTheStatusOfNow)
{
    module("setSecurityForVexDefenderReboot", "(0, 2, 1)");
    EXPECT_EQ(module("getSecurityStatusForVexDefender"), replied("(0,)"));
    EXPECT_EQ(module("getModuleStatus", "(3,)"), replied("(2,)"));
    EXPECT_EQ(module("getCurSecurityStatusForVexDefender"), replied("(1,)"));
    EXPECT_EQ(module("getModuleRealStatus", "(3,)"), replied("(1,)"));
    EXPECT_EQ(module("checkSecuritySwitchReboot", "(1,)"), replied("(0,)"));
    EXPECT_EQ(module("checkSecuritySwitchReboot", "(0,)"), replied("(1,)"));
}

TEST_F(ServiceSwitches, DefenderNowTakesOverNothingThatAwaitsTheReboot)
{
    module("setModuleStatusReboot", "(0, 0, 0, 0, 0, 1)");
    module("setSecurityForVexDefender", "(1, 2)");
    EXPECT_EQ(module("getModuleRealStatus", "(3,)"), replied("(2,)"));
    EXPECT_EQ(module("getModuleRealStatus", "(0,)"), replied("(1,)"));
    EXPECT_EQ(module("getModuleStatus", "(0,)"), replied("(0,)"));
}

TEST_F(ServiceSwitches, SelinuxPolicyIsKeptInAFile)
{
    EXPECT_EQ(module("setSelinuxPolicy", "('targeted',)"), replied("(0,)"));
    EXPECT_EQ(state_file("selinux_policy"), "targeted\n");
    EXPECT_EQ(module("setSelinuxPolicy", "('',)").error, kInvalidArgument);
}

TEST_F(ServiceSwitches, NetflowPermissionIsWhatTheFileSays)
{
    write_file(state / "netflow_permission", "3\n");
    EXPECT_EQ(call("netflow", "tresk_netflow_perm_check"), replied("(3,)"));
}

TEST_F(ServiceSwitches, StateOutlivesTheService)
{
    module("setModuleStatus", "(2, 2, 2, 2, 2)");
    service.terminate();
    start_service();
    EXPECT_EQ(module("getModuleRealStatus", "(1,)"), replied("(2,)"));
}

} // namespace tresk::test
