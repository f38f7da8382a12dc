// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/dispatcher.h"
#include "standin/service/faults.h"
#include "tests/standin/service_scene.h"

#include <array>
#include <regex>

namespace tresk::test {

namespace {

using service::BadFault;
using service::Fault;
using service::fault_for;

constexpr std::array kErrorNames{
    "MERON.TRESK.OK",
    "MERON.TRESK.AUTH.FAILED",
    "MERON.TRESK.CANCEL.AUTH",
    "MERON.TRESK.DISABLED",
    "MERON.TRESK.DATABASE.ERR",
    "MERON.TRESK.LABEL.GET.ERR",
    "MERON.TRESK.LABEL.SET.ERR",
    "MERON.TRESK.INVALID.ARG",
    "MERON.TRESK.EXTRACT.LIST.ERR",
    "MERON.TRESK.FILE.ATTR.ERR",
    "MERON.TRESK.CONF.ERR",
    "MERON.TRESK.NETCTL.ERR",
    "MERON.TRESK.DEVCTL.ERR",
    "MERON.TRESK.DEVCTL.ADD.EXIST",
    "MERON.TRESK.DEVCTL.UPDATE.REPEATE",
};

class ServiceFaults : public ServiceScene {
  protected:
    ServiceFaults() { start_service(); }

    Outcome permission() { return call("netflow", "tresk_netflow_perm_check"); }
};

} // namespace

TEST(FaultLines, OfAnotherMethodDoNothing)
{
    EXPECT_EQ(fault_for("other die\n# comment\n\n", "m").kind, Fault::Kind::kNone);
    EXPECT_EQ(fault_for("", "m").kind, Fault::Kind::kNone);
}

TEST(FaultLines, FirstMatchHoldsAndDelaysAddUp)
{
    const Fault fault = fault_for("m delay 20\n* silent\nm delay 3\nm die", "m");
    EXPECT_EQ(fault.kind, Fault::Kind::kSilence);
    EXPECT_EQ(fault.delay_ms, 23U);
}

TEST(FaultLines, WithoutKnownMeaningAreRefusedForEveryMethod)
{
    for (const char* line :
         {"m", "m explode", "m error", "m error nodot", "m delay", "m delay x", "m delay -1", "m delay 5s",
          "m reply", "m reply 5", "m reply (", "m silent now", "m die now"}) {
        EXPECT_THROW(fault_for(line, "other"), BadFault) << line;
    }
}

TEST_F(ServiceFaults, EveryErrorNameOfTheFrameworkIsSent)
{
    for (const char* name : kErrorNames) {
        set_faults("tresk_netflow_perm_check error " + std::string(name) + " /a: b, c\n");
        EXPECT_EQ(permission(), refused(name, "/a: b, c"));
    }
}

TEST_F(ServiceFaults, ErrorWithoutMessageHasNoBody)
{
    set_faults("* error MERON.TRESK.DISABLED\n");
    EXPECT_EQ(permission(), refused("MERON.TRESK.DISABLED", std::nullopt));
}

TEST_F(ServiceFaults, ReplyIsSentWhateverTheMethodsType)
{
    for (const char* reply : {"()", "('text',)", "(5,)", "(5, 'more')", "(['a', 'b'],)"}) {
        set_faults("tresk_netflow_perm_check reply " + std::string(reply) + "\n");
        EXPECT_EQ(permission(), replied(reply));
    }
}

TEST_F(ServiceFaults, FaultTakesThePlaceOfTheWork)
{
    set_faults("* error MERON.TRESK.AUTH.FAILED no\n");
    call("ppro", "tresk_ppro_add_zdk", "('/a', 1, 0, '')");
    EXPECT_FALSE(std::filesystem::exists(policy));
}

TEST_F(ServiceFaults, FileIsReadAtEveryCall)
{
    set_faults("* reply (7,)\n");
    EXPECT_EQ(permission(), replied("(7,)"));
    std::filesystem::remove(state / "service-faults");
    EXPECT_EQ(permission(), replied("(0,)"));
}

TEST_F(ServiceFaults, BadFileFailsEveryCallAndNamesItsLine)
{
    set_faults("getModuleStatus explode\n");
    EXPECT_EQ(permission(), refused("org.freedesktop.DBus.Error.Failed",
                                    "service-faults: not a kind of fault: \"getModuleStatus explode\""));
}

TEST_F(ServiceFaults, DelayedCallIsAnsweredLaterAndBlocksNoOther)
{
    set_faults("tresk_conf_add delay 1000\n");
    PendingCall delayed = begin("conf", "tresk_conf_add");
    EXPECT_EQ(permission(), replied("(0,)"));
    EXPECT_FALSE(delayed.answered());
    EXPECT_FALSE(std::filesystem::exists(state / "conf"));
    EXPECT_EQ(delayed.outcome(), replied("(0,)"));
    EXPECT_TRUE(std::filesystem::exists(state / "conf"));
}

TEST_F(ServiceFaults, SilentCallIsNeverAnswered)
{
    set_faults("tresk_conf_add silent\n");
    PendingCall silent = begin("conf", "tresk_conf_add");
    EXPECT_EQ(permission(), replied("(0,)"));
    EXPECT_FALSE(silent.answered());
    EXPECT_NE(state_file("service.log").find(" tresk_conf_add () -> silent\n"), std::string::npos);
    service.terminate();
    EXPECT_EQ(silent.outcome().error, "org.freedesktop.DBus.Error.NoReply");
}

TEST_F(ServiceFaults, DeathEndsTheServiceWithoutAnAnswer)
{
    set_faults("tresk_conf_add die\n");
    EXPECT_EQ(call("conf", "tresk_conf_add").error, "org.freedesktop.DBus.Error.NoReply");
    EXPECT_EQ(service.wait(), Ending{.exit_status = service::kDiedOnDemand});
    EXPECT_NE(state_file("service.log").find(" tresk_conf_add () -> died\n"), std::string::npos);
}

TEST_F(ServiceFaults, AuditLogHasOneLinePerCall)
{
    call("ppro", "tresk_ppro_add_zdk", "('/a\\nb', 1, 0, '')");
    call("xattr", "tresk_xattr_set_status", "(2,)");
    set_faults("* error MERON.TRESK.DISABLED\n");
    permission();
    const std::string sender = std::string(" ") + g_dbus_connection_get_unique_name(client.get()) + " ";
    const std::string log = std::regex_replace(
        state_file("service.log"),
        std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z"), "TIME");
    EXPECT_EQ(log, "TIME" + sender + "tresk_ppro_add_zdk ('/a\\nb', 1, 0, '') -> (0,)\n" + "TIME" + sender +
                       "tresk_xattr_set_status (2,) -> error MERON.TRESK.INVALID.ARG " +
                       "('the status is out of range (0 to 1): 2',)\n" + "TIME" + sender +
                       "tresk_netflow_perm_check () -> error MERON.TRESK.DISABLED\n");
}

} // namespace tresk::test
