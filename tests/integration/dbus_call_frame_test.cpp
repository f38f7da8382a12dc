// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/dbus_fixture.h"

#include <cerrno>

namespace tresk::test {

namespace {

using CallFrame = ServiceTest;
using CallFrameWithoutService = BusTest;

// --- the call itself ---

TEST_F(CallFrame, SendsPathInterfaceMethodAndParameters)
{
    const Reply reply(process_dbus_method("/xattr", "com.meron.tresk.xattr", "set_label",
                                          g_variant_new("(siu)", "/usr/bin/a", -3, 7U), nullptr));
    EXPECT_NE(reply, nullptr);
    EXPECT_EQ(service.calls(), (std::vector<ServiceCall>{{"/xattr", "com.meron.tresk.xattr", "set_label",
                                                          "siu", "('/usr/bin/a', -3, 7)"}}));
}

TEST_F(CallFrame, SendsNoParametersForANullTuple)
{
    call_service("ask");
    EXPECT_EQ(service.calls(),
              (std::vector<ServiceCall>{{"/ppro", "com.meron.tresk.ppro", "ask", "", "()"}}));
}

TEST_F(CallFrame, GivesTheWholeReplyTuple)
{
    service.answer("ask", "('a', int32 5, [(byte 1, true)])");
    const Reply reply = call_service("ask");
    ASSERT_NE(reply, nullptr);
    const Handle<char, ::g_free> text(g_variant_print(reply.get(), FALSE));
    EXPECT_STREQ(text.get(), "('a', 5, [(0x01, true)])");
}

TEST_F(CallFrame, LeavesTheErrorCodeAloneOnSuccess)
{
    int error_code = kUntouched;
    EXPECT_NE(call_service("ask", nullptr, &error_code), nullptr);
    EXPECT_EQ(error_code, kUntouched);
    EXPECT_EQ(framework().order, std::vector<std::string>());
}

TEST_F(CallFrame, ReplyIsTheCallersAloneAndNotFloating)
{
    const Reply reply = call_service("ask");
    ASSERT_NE(reply, nullptr);
    EXPECT_FALSE(g_variant_is_floating(reply.get()));
}

TEST_F(CallFrame, ConsumesFloatingParameters)
{
    GVariant* parameters = g_variant_new("(i)", 1);
    const Reply watched(g_variant_ref(parameters)); // a second reference; the first stays floating
    call_service("ask", parameters);
    EXPECT_FALSE(g_variant_is_floating(watched.get()));
}

TEST_F(CallFrame, LeavesOwnedParametersToTheirOwner)
{
    const Reply owned(g_variant_ref_sink(g_variant_new("(s)", "kept")));
    call_service("ask", owned.get());
    EXPECT_TRUE(g_variant_is_of_type(owned.get(), G_VARIANT_TYPE("(s)")));
}

TEST_F(CallFrame, MakesOneConnectionPerCallWhereNobodySharesOne)
{
    const int before = connections_so_far();
    call_service("ask");
    EXPECT_EQ(connections_so_far(), before + 2); // the call's and the question's
}

TEST_F(CallFrame, CallsAnotherServiceByName)
{
    const ScriptedService other(bus.address(), "org.example.other");
    const Reply reply(process_dbus_other_method("org.example.other", "/here", "org.example.thing", "ask",
                                                g_variant_new("(i)", 9), nullptr));
    EXPECT_NE(reply, nullptr);
    EXPECT_EQ(other.calls(), (std::vector<ServiceCall>{{"/here", "org.example.thing", "ask", "i", "(9,)"}}));
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>());
}

TEST_F(CallFrame, TakesTheInterfaceFromAMethodThatNamesOne)
{
    const Reply reply(
        process_dbus_method("/here", "com.meron.tresk.ppro", "org.example.thing.ask", nullptr, nullptr));
    EXPECT_NE(reply, nullptr);
    EXPECT_EQ(service.calls(), (std::vector<ServiceCall>{{"/here", "org.example.thing", "ask", "", "()"}}));
}

// --- arguments that never reach the bus ---

TEST_F(CallFrame, RefusesANullMethod)
{
    int error_code = kUntouched;
    EXPECT_EQ(process_dbus_method("/ppro", "com.meron.tresk.ppro", nullptr, nullptr, &error_code), nullptr);
    EXPECT_EQ(error_code, -1007);
    const LogLine log = only_log();
    EXPECT_FALSE(log.old_call);
    EXPECT_EQ(log.level, 3);
    EXPECT_EQ(log.subject, "process_dbus_method");
    EXPECT_EQ(log.source, "libtresk_dbus");
    EXPECT_EQ(log.text, "the dbus method is NULL\n");
    const ErrorRecord error = only_error();
    EXPECT_EQ(error.code, -1007);
    EXPECT_EQ(error.subject, "process_dbus_method");
    EXPECT_EQ(error.text, "the dbus method is NULL\n");
}

TEST_F(CallFrame, RefusesANullMethodOfAnotherServiceThroughTheOlderLog)
{
    int error_code = kUntouched;
    EXPECT_EQ(
        process_dbus_other_method("org.example.other", "/", "org.example", nullptr, nullptr, &error_code),
        nullptr);
    EXPECT_EQ(error_code, -1007);
    const LogLine log = only_log();
    EXPECT_TRUE(log.old_call);
    EXPECT_EQ(log.level, 1);
    EXPECT_EQ(log.subject, "process_dbus_other_method");
    EXPECT_EQ(log.text, "the dbus method is NULL\n");
    const ErrorRecord error = only_error();
    EXPECT_EQ(error.code, -1007);
    EXPECT_EQ(error.subject, "process_dbus_other_method");
    EXPECT_EQ(error.text, "the dbus method is NULL\n");
}

TEST_F(CallFrame, NullMethodTouchesNoBusAndLeavesTheParameters)
{
    const int before = connections_so_far();
    GVariant* parameters = g_variant_new("(i)", 1);
    EXPECT_EQ(process_dbus_method("/ppro", "com.meron.tresk.ppro", nullptr, parameters, nullptr), nullptr);
    EXPECT_EQ(process_dbus_other_method("a.b", "/ppro", "com.meron.tresk.ppro", nullptr, parameters, nullptr),
              nullptr);
    EXPECT_EQ(connections_so_far(), before + 1);
    EXPECT_TRUE(g_variant_is_floating(parameters));
    g_variant_unref(parameters);
}

struct BadName {
    const char* label;
    const char* service;
    const char* path;
    const char* interface;
    const char* method;
};

std::ostream& operator<<(std::ostream& out, const BadName& name)
{
    return out << name.label;
}

constexpr const char* kService = "com.meron.tresk";
constexpr const char* kPath = "/ppro";
constexpr const char* kInterface = "com.meron.tresk.ppro";
constexpr const char* kMethod = "ask";

constexpr BadName kBadNames[] = {
    {"NullPath", kService, nullptr, kInterface, kMethod},
    {"EmptyPath", kService, "", kInterface, kMethod},
    {"RelativePath", kService, "ppro", kInterface, kMethod},
    {"PathWithTrailingSlash", kService, "/ppro/", kInterface, kMethod},
    {"PathNotUtf8", kService, "/\xff", kInterface, kMethod},
    {"NullInterface", kService, kPath, nullptr, kMethod},
    {"EmptyInterface", kService, kPath, "", kMethod},
    {"InterfaceOfOneWord", kService, kPath, "ppro", kMethod},
    {"InterfaceWithEmptyWord", kService, kPath, "com..ppro", kMethod},
    {"EmptyMethod", kService, kPath, kInterface, ""},
    {"MethodWithBlank", kService, kPath, kInterface, "ask me"},
    {"MethodWithLeadingDigit", kService, kPath, kInterface, "1ask"},
};

class CallFrameBadName : public ServiceTest, public ::testing::WithParamInterface<BadName> {};

INSTANTIATE_TEST_SUITE_P(All, CallFrameBadName, ::testing::ValuesIn(kBadNames),
                         [](const auto& test) { return test.param.label; });

TEST_P(CallFrameBadName, IsRefusedWithoutACall)
{
    int error_code = kUntouched;
    errno = 0;
    EXPECT_EQ(
        process_dbus_method(GetParam().path, GetParam().interface, GetParam().method, nullptr, &error_code),
        nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(error_code, -1007);
    expect_bad_argument_was_told("process_dbus_method", "libtresk_dbus");
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>());
}

constexpr BadName kBadServices[] = {
    {"NullService", nullptr, kPath, kInterface, kMethod},
    {"EmptyService", "", kPath, kInterface, kMethod},
    {"ServiceOfOneWord", "tresk", kPath, kInterface, kMethod},
    {"ServiceWithBlank", "com.meron tresk", kPath, kInterface, kMethod},
    {"NullPath", kService, nullptr, kInterface, kMethod},
    {"NullInterface", kService, kPath, nullptr, kMethod},
};

class OtherServiceBadName : public ServiceTest, public ::testing::WithParamInterface<BadName> {};

INSTANTIATE_TEST_SUITE_P(All, OtherServiceBadName, ::testing::ValuesIn(kBadServices),
                         [](const auto& test) { return test.param.label; });

TEST_P(OtherServiceBadName, IsRefusedWithoutACall)
{
    int error_code = kUntouched;
    EXPECT_EQ(process_dbus_other_method(GetParam().service, GetParam().path, GetParam().interface,
                                        GetParam().method, nullptr, &error_code),
              nullptr);
    EXPECT_EQ(error_code, -1007);
    expect_bad_argument_was_told("process_dbus_other_method", "libtresk_dbus");
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>());
}

TEST_F(CallFrame, RefusesParametersThatAreNoTuple)
{
    GVariant* parameters = g_variant_new_int32(1);
    int error_code = kUntouched;
    EXPECT_EQ(call_service("ask", parameters, &error_code), nullptr);
    EXPECT_EQ(error_code, -1007);
    expect_bad_argument_was_told("process_dbus_method", "libtresk_dbus");
    EXPECT_TRUE(g_variant_is_floating(parameters));
    g_variant_unref(parameters);
}

// --- failures on the way ---

TEST_F(CallFrame, FailureWithoutAPlaceForItsCodeIsToldAllTheSame)
{
    service.fail("ask", "MERON.TRESK.CONF.ERR", "broken");
    EXPECT_EQ(call_service("ask", nullptr, nullptr), nullptr);
    EXPECT_EQ(only_error().code, -1010);
    EXPECT_EQ(process_dbus_method(nullptr, nullptr, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(process_dbus_other_method(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), nullptr);
}

TEST_F(CallFrameWithoutService, ServiceThatIsNotThereIsMinus1011)
{
    EXPECT_EQ(code_of_failed_call("ask"), -1011);
    EXPECT_EQ(only_log().level, 3);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_F(CallFrame, ServiceThatDiesDuringTheCallIsMinus1011)
{
    service.die_on("ask");
    EXPECT_EQ(code_of_failed_call("ask"), -1011);
    EXPECT_EQ(service.calls().size(), 1U);
    EXPECT_EQ(only_log().level, 3);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_F(CallFrame, NextCallReachesAServiceThatTookTheNameOver)
{
    service.die_on("ask");
    EXPECT_EQ(code_of_failed_call("ask"), -1011);
    const ScriptedService heir(bus.address());
    EXPECT_NE(call_service("ask"), nullptr);
    EXPECT_EQ(heir.calls().size(), 1U);
}

TEST_F(CallFrameWithoutService, NoBusIsMinus1011AndLeavesTheParameters)
{
    bus.stop();
    GVariant* parameters = g_variant_new("(i)", 1);
    int error_code = kUntouched;
    EXPECT_EQ(call_service("ask", parameters, &error_code), nullptr);
    EXPECT_EQ(error_code, -1011);
    expect_interface_error_was_told();
    EXPECT_TRUE(g_variant_is_floating(parameters));
    g_variant_unref(parameters);
}

TEST_F(CallFrameWithoutService, AddressThatIsNoneIsMinus1011)
{
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "nonsense", 1);
    EXPECT_EQ(code_of_failed_call("ask"), -1011);
    expect_interface_error_was_told();
}

} // namespace

} // namespace tresk::test
