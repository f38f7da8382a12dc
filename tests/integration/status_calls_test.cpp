// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/dbus_fixture.h"

#include <cerrno>
#include <functional>

namespace tresk::test {

namespace {

/// What a call returns when the service call failed: the failure's code, or a value of its own.
using Failure = std::optional<int>;
constexpr std::nullopt_t kCode = std::nullopt;

struct SwitchCall {
    const char* function;
    std::function<int()> call;
    ServiceCall sent;
    Failure failure;
};

std::ostream& operator<<(std::ostream& out, const SwitchCall& row)
{
    return out << row.function;
}

ServiceCall to_module(const char* member, const char* signature, const char* arguments)
{
    return {"/module", "com.meron.tresk.module", member, signature, arguments};
}

ServiceCall to_xattr(const char* member, const char* signature, const char* arguments)
{
    return {"/xattr", "com.meron.tresk.xattr", member, signature, arguments};
}

ServiceCall to_conf(const char* member, const char* signature, const char* arguments)
{
    return {"/conf", "com.meron.tresk.conf", member, signature, arguments};
}

const SwitchCall kCalls[] = {
    {"tresk_setstatus", [] { return tresk_setstatus(1); }, to_xattr("tresk_xattr_set_status", "i", "(1,)"),
     kCode},
    {"tresk_set_func_status", [] { return tresk_set_func_status(2, 1); },
     to_xattr("tresk_xattr_set_func_status", "ii", "(2, 1)"), kCode},
    {"tresk_conf_add", [] { return tresk_conf_add(); }, to_conf("tresk_conf_add", "", "()"), kCode},
    {"tresk_conf_remove", [] { return tresk_conf_remove(); }, to_conf("tresk_conf_remove", "", "()"), kCode},
    {"tresk_conf_set", [] { return tresk_conf_set("log \u00e4", -7); },
     to_conf("tresk_conf_set", "si", "('log \u00e4', -7)"), kCode},
    {"getModuleStatus_dbus", [] { return getModuleStatus_dbus(4); },
     to_module("getModuleStatus", "i", "(4,)"), kCode},
    {"setModuleStatus_dbus", [] { return setModuleStatus_dbus(1, -2, 3, -4, 5); },
     to_module("setModuleStatus", "iiiii", "(1, -2, 3, -4, 5)"), kCode},
    {"setModuleStatusReboot_dbus", [] { return setModuleStatusReboot_dbus(1, 2, 3, 4, 5, 6); },
     to_module("setModuleStatusReboot", "iiiiii", "(1, 2, 3, 4, 5, 6)"), kCode},
    {"getCurModuleStatus_dbus", [] { return getCurModuleStatus_dbus(INT32_MIN); },
     to_module("getModuleRealStatus", "i", "(-2147483648,)"), kCode},
    {"getCurSecurityStatusForVexDefender", [] { return getCurSecurityStatusForVexDefender(); },
     to_module("getCurSecurityStatusForVexDefender", "", "()"), 0},
    {"setSecurityForVexDefender", [] { return setSecurityForVexDefender(8, 9); },
     to_module("setSecurityForVexDefender", "ii", "(8, 9)"), 0},
    {"setSecurityForVexDefenderReboot", [] { return setSecurityForVexDefenderReboot(7, 8, 9); },
     to_module("setSecurityForVexDefenderReboot", "iii", "(7, 8, 9)"), 0},
    {"setSelinuxPolicy", [] { return setSelinuxPolicy("targeted"); },
     to_module("setSelinuxPolicy", "s", "('targeted',)"), kCode},
    {"checkSecuritySwitchReboot_dbus", [] { return checkSecuritySwitchReboot_dbus(INT32_MAX); },
     to_module("checkSecuritySwitchReboot", "i", "(2147483647,)"), kCode},
    {"checkSetModuleStatusReboot_dbus", [] { return checkSetModuleStatusReboot_dbus(5, 6); },
     to_module("checkSetModuleStatusReboot", "ii", "(5, 6)"), kCode},
    {"processctrlPolkitForSetModuleStatus_dbus",
     [] { return processctrlPolkitForSetModuleStatus_dbus(3, 2); },
     to_module("processctrlPolkitForSetModuleStatus", "ii", "(3, 2)"), kCode},
    {"tresk_netflow_perm_check",
     [] { return tresk_netflow_perm_check(); },
     {"/netflow", "com.meron.tresk.netflow", "tresk_netflow_perm_check", "", "()"},
     -1},
};

class EverySwitchCall : public ServiceTest, public ::testing::WithParamInterface<SwitchCall> {
  protected:
    static int call() { return GetParam().call(); }

    static const char* member() { return GetParam().sent.member.c_str(); }

    static int failure(int code) { return GetParam().failure.value_or(code); }
};

INSTANTIATE_TEST_SUITE_P(Row, EverySwitchCall, ::testing::ValuesIn(kCalls),
                         [](const auto& test) { return test.param.function; });

TEST_P(EverySwitchCall, SendsItsRowAndReturnsTheServicesAnswer)
{
    for (const int answer : {41, 0, -1005}) {
        service.answer(member(), "(int32 " + std::to_string(answer) + ",)");
        EXPECT_EQ(call(), answer);
    }
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>(3, GetParam().sent));
    EXPECT_EQ(framework().errors.size(), 0U);
}

TEST_P(EverySwitchCall, ReadsTheFirstMemberOfALongerReply)
{
    service.answer(member(), "(int32 6, 'more', int32 7)");
    EXPECT_EQ(call(), 6);
}

TEST_P(EverySwitchCall, ReturnsItsFailureValueForAServiceError)
{
    service.fail(member(), "MERON.TRESK.CANCEL.AUTH", "changed my mind");
    EXPECT_EQ(call(), failure(-1002));
    EXPECT_EQ(only_log().text, "MERON.TRESK.CANCEL.AUTH: changed my mind\n");
    EXPECT_EQ(only_error().code, -1002);
}

TEST_P(EverySwitchCall, ReturnsItsFailureValueWithCode0ForTheServicesOk)
{
    service.fail(member(), "MERON.TRESK.OK", "fine");
    EXPECT_EQ(call(), failure(0));
    EXPECT_EQ(framework().order, std::vector<std::string>());
}

TEST_P(EverySwitchCall, TakesAReplyWithoutAnInt32InFrontAsNone)
{
    for (const char* reply : {"()", "('41',)", "(int64 41,)", "(uint32 41,)", "(<int32 41>,)", "([41],)",
                              "((41,),)", "(true, int32 41)"}) {
        framework().reset();
        service.answer(member(), reply);
        EXPECT_EQ(call(), failure(-1011)) << reply;
        expect_interface_error_was_told();
    }
}

TEST_P(EverySwitchCall, ReturnsItsFailureValueWithoutABus)
{
    bus.stop();
    EXPECT_EQ(call(), failure(-1011));
    expect_interface_error_was_told();
}

class EverySwitchCallAlone : public BusTest, public ::testing::WithParamInterface<SwitchCall> {};

INSTANTIATE_TEST_SUITE_P(Row, EverySwitchCallAlone, ::testing::ValuesIn(kCalls),
                         [](const auto& test) { return test.param.function; });

TEST_P(EverySwitchCallAlone, ReturnsItsFailureValueWithoutTheService)
{
    EXPECT_EQ(GetParam().call(), GetParam().failure.value_or(-1011));
    EXPECT_EQ(only_error().code, -1011);
}

// --- texts that cannot travel ---

class TextOfASwitchCall : public ServiceTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Refused, TextOfASwitchCall,
                         ::testing::Values(nullptr, "\xff", "cut \xe2\x82", "surrogate \xed\xa0\x80",
                                           "overlong \xc0\x80"));

TEST_P(TextOfASwitchCall, IsRefusedByConfSet)
{
    errno = 0;
    EXPECT_EQ(tresk_conf_set(GetParam(), 1), -1007);
    EXPECT_EQ(errno, EINVAL);
    expect_bad_argument_was_told("tresk_conf_set", "status_dbus");
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>());
}

TEST_P(TextOfASwitchCall, IsRefusedBySetSelinuxPolicy)
{
    errno = 0;
    EXPECT_EQ(setSelinuxPolicy(GetParam()), -1007);
    EXPECT_EQ(errno, EINVAL);
    expect_bad_argument_was_told("setSelinuxPolicy", "status_dbus");
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>());
}

using SwitchCalls = ServiceTest;

TEST_F(SwitchCalls, SendAnEmptyText)
{
    EXPECT_EQ(setSelinuxPolicy(""), 0);
    EXPECT_EQ(service.calls().at(0).arguments, "('',)");
}

// --- what the status setters log ---

void expect_status_log(int level, const std::string& format, const std::string& text)
{
    const LogLine log = only_log();
    EXPECT_FALSE(log.old_call);
    EXPECT_EQ(log.level, level);
    EXPECT_EQ(log.subject, std::nullopt);
    EXPECT_EQ(log.source, "status_dbus");
    EXPECT_EQ(log.format, format);
    EXPECT_EQ(log.text, text);
    EXPECT_EQ(framework().order, std::vector<std::string>{"log"});
}

struct StatusLog {
    const char* label;
    int answer;
    int status;
    int level;
};

std::ostream& operator<<(std::ostream& out, const StatusLog& row)
{
    return out << row.label;
}

constexpr StatusLog kStatusLogs[] = {
    {"SwitchedOn", 0, 1, 1},  {"SwitchedOnWithAnotherNumber", 0, -5, 1},
    {"SwitchedOff", 0, 0, 2}, {"RefusedOn", -1003, 1, 3},
    {"RefusedOff", 7, 0, 3},
};

class StatusSetter : public ServiceTest, public ::testing::WithParamInterface<StatusLog> {};

INSTANTIATE_TEST_SUITE_P(Logs, StatusSetter, ::testing::ValuesIn(kStatusLogs),
                         [](const auto& test) { return test.param.label; });

TEST_P(StatusSetter, LogsTheFrameworksSwitch)
{
    service.answer("tresk_xattr_set_status", "(int32 " + std::to_string(GetParam().answer) + ",)");
    EXPECT_EQ(tresk_setstatus(GetParam().status), GetParam().answer);
    expect_status_log(GetParam().level, "set tresk status to %d",
                      "set tresk status to " + std::to_string(GetParam().status));
}

TEST_P(StatusSetter, LogsAFunctionsSwitch)
{
    service.answer("tresk_xattr_set_func_status", "(int32 " + std::to_string(GetParam().answer) + ",)");
    EXPECT_EQ(tresk_set_func_status(5, GetParam().status), GetParam().answer);
    expect_status_log(GetParam().level, "set %s status to %d",
                      "set tresk_ppro status to " + std::to_string(GetParam().status));
}

TEST_F(SwitchCalls, FunctionSwitchLogsTheNameOfEachIndex)
{
    const std::pair<int, const char*> names[] = {
        {0, "tresk_exectl"}, {1, "tresk_netctl"}, {2, "tresk_fpro"},      {3, "tresk_kmodpro"},
        {4, "tresk_3adm"},   {5, "tresk_ppro"},   {6, "tresk_devctl"},    {7, ""},
        {8, "tresk_tpm"},    {9, "tresk_sm"},     {10, "tresk_pblk"},     {11, "unknown"},
        {-1, "unknown"},     {256, "unknown"},    {INT32_MAX, "unknown"}, {INT32_MIN, "unknown"},
    };
    for (const auto& [index, name] : names) {
        framework().reset();
        EXPECT_EQ(tresk_set_func_status(index, 1), 0);
        EXPECT_EQ(only_log().text, std::string("set ") + name + " status to 1") << index;
        EXPECT_EQ(service.calls().back().arguments, "(" + std::to_string(index) + ", 1)");
    }
}

TEST_F(SwitchCalls, StatusSettersLogNoStatusWhereTheServiceCallFailed)
{
    service.fail("tresk_xattr_set_status", "MERON.TRESK.AUTH.FAILED", "no");
    service.fail("tresk_xattr_set_func_status", "MERON.TRESK.OK", "no");
    EXPECT_EQ(tresk_setstatus(1), -1001);
    EXPECT_EQ(tresk_set_func_status(1, 1), 0);
    EXPECT_EQ(only_log().text, "MERON.TRESK.AUTH.FAILED: no\n");
}

TEST_F(SwitchCalls, OthersLogNothingOfTheirOwn)
{
    EXPECT_EQ(setModuleStatus_dbus(1, 2, 3, 4, 5), 0);
    EXPECT_EQ(tresk_conf_add(), 0);
    EXPECT_EQ(framework().order, std::vector<std::string>());
}

// --- the security status: two questions ---

class SecurityStatus : public ServiceTest {
  protected:
    int ask() { return getSecurityStatusForVexDefender(&first, &second); }

    int first = kUntouched;
    int second = kUntouched;
};

TEST_F(SecurityStatus, GivesBothAnswers)
{
    service.answer("getSecurityStatusForVexDefender", "(int32 12,)");
    service.answer("getModuleStatus", "(int32 -4,)");
    EXPECT_EQ(ask(), 1);
    EXPECT_EQ(first, 12);
    EXPECT_EQ(second, -4);
    EXPECT_EQ(service.calls(),
              (std::vector<ServiceCall>{to_module("getSecurityStatusForVexDefender", "", "()"),
                                        to_module("getModuleStatus", "i", "(3,)")}));
}

TEST_F(SecurityStatus, LeavesBothOutputsWhereTheFirstQuestionFails)
{
    service.fail("getSecurityStatusForVexDefender", "MERON.TRESK.DISABLED", "off");
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(first, kUntouched);
    EXPECT_EQ(second, kUntouched);
    EXPECT_EQ(service.calls().size(), 1U);
    EXPECT_EQ(only_error().code, -1003);
}

TEST_F(SecurityStatus, KeepsTheFirstOutputWhereTheSecondQuestionFails)
{
    service.answer("getSecurityStatusForVexDefender", "(int32 12,)");
    service.fail("getModuleStatus", "MERON.TRESK.DISABLED", "off");
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(first, 12);
    EXPECT_EQ(second, kUntouched);
    EXPECT_EQ(only_error().code, -1003);
}

TEST_F(SecurityStatus, TakesAnAnswerThatIsNoInt32AsNone)
{
    service.answer("getSecurityStatusForVexDefender", "('on',)");
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(first, kUntouched);
    expect_interface_error_was_told();

    framework().reset();
    service.answer("getSecurityStatusForVexDefender", "(int32 12,)");
    service.answer("getModuleStatus", "()");
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(first, 12);
    EXPECT_EQ(second, kUntouched);
    expect_interface_error_was_told();
}

TEST_F(SecurityStatus, RefusesNullOutputsWithoutACall)
{
    EXPECT_EQ(getSecurityStatusForVexDefender(nullptr, &second), 0);
    EXPECT_EQ(getSecurityStatusForVexDefender(&first, nullptr), 0);
    EXPECT_EQ(first, kUntouched);
    EXPECT_EQ(second, kUntouched);
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>());
}

TEST_F(SecurityStatus, Is0WithoutABus)
{
    bus.stop();
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(first, kUntouched);
    EXPECT_EQ(second, kUntouched);
}

// --- the boot mode: no question at all ---

TEST_F(SwitchCalls, BootModeIs0WithoutTouchingTheBus)
{
    const int before = connections_so_far();
    EXPECT_EQ(getBootMode_dbus(), 0);
    EXPECT_EQ(connections_so_far(), before + 1);
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>());
    EXPECT_EQ(framework().order, std::vector<std::string>());
}

} // namespace

} // namespace tresk::test
