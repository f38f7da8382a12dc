// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/dbus_fixture.h"
#include "tests/support/capture.h"

#include <cerrno>
#include <climits>

namespace tresk::test {

namespace {

constexpr char kMethod[] = "tresk_xattr_protect_check_kmod_in_sm";

ServiceCall question_about(const std::string& name)
{
    return {"/xattr", "com.meron.tresk.xattr", kMethod, "s", "('" + name + "',)"};
}

class KmodOwnership : public ServiceTest {};

TEST_F(KmodOwnership, IsAskedOfTheService)
{
    EXPECT_EQ(check_kmod_in_sm("module_a"), 0);
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>{question_about("module_a")});
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(KmodOwnership, IsWhatTheServiceAnswers)
{
    for (const int answer : {0, 1, 2, -1, -3, INT_MAX, INT_MIN}) {
        service.answer(kMethod, "(int32 " + std::to_string(answer) + ",)");
        EXPECT_EQ(check_kmod_in_sm("module_a"), answer);
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(KmodOwnership, IsTheFirstMemberOfALongerReply)
{
    service.answer(kMethod, "(int32 6, 'more', int32 7)");
    EXPECT_EQ(check_kmod_in_sm("module_a"), 6);
}

TEST_F(KmodOwnership, IsAskedWithTheNameAsItIs)
{
    for (const std::string& name : {std::string(), std::string("\u00e4 b/%s"), std::string(5000, 'n')}) {
        service.forget_calls();
        EXPECT_EQ(check_kmod_in_sm(name.c_str()), 0);
        EXPECT_EQ(service.calls(), std::vector<ServiceCall>{question_about(name)});
    }
}

TEST_F(KmodOwnership, WritesNothingWhereItIsAsked)
{
    EXPECT_EQ(captured_stderr([] { check_kmod_in_sm("module_a"); }), "");
    EXPECT_EQ(captured_stdout([] { check_kmod_in_sm("module_a"); }), "");
}

TEST_F(KmodOwnership, IsUnknownForNull)
{
    int result = kUntouched;
    EXPECT_EQ(captured_stderr([&] { result = check_kmod_in_sm(nullptr); }), "kmod name is NULL\n");
    EXPECT_EQ(result, -1);
    EXPECT_TRUE(service.calls().empty());
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(KmodOwnership, IsUnknownForANameThatCannotBeSent)
{
    for (const char* name : {"\xFF", "cut \xE2\x82", "\xED\xA0\x80", "\xC0\x80"}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(check_kmod_in_sm(name), -1);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told("check_kmod_in_sm", "tresk_kmod");
    }
    EXPECT_TRUE(service.calls().empty());
}

TEST_F(KmodOwnership, IsUnknownForEveryErrorOfTheService)
{
    service.fail(kMethod, "MERON.TRESK.AUTH.FAILED", "not you, %s");
    EXPECT_EQ(check_kmod_in_sm("module_a"), -1);
    EXPECT_EQ(only_log().text, "MERON.TRESK.AUTH.FAILED: not you, %s\n");
    EXPECT_EQ(only_error().code, -1001);
}

TEST_F(KmodOwnership, IsUnknownForTheServicesOwnOk)
{
    service.fail(kMethod, "MERON.TRESK.OK", "fine");
    EXPECT_EQ(check_kmod_in_sm("module_a"), -1);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(KmodOwnership, IsUnknownForAReplyWithoutAnInteger)
{
    for (const char* reply : {"()", "('5',)", "(uint32 0,)", "(int64 0,)", "(<int32 0>,)"}) {
        framework().reset();
        service.answer(kMethod, reply);
        EXPECT_EQ(check_kmod_in_sm("module_a"), -1) << reply;
        expect_interface_error_was_told();
    }
}

TEST_F(KmodOwnership, IsUnknownWhenTheServiceDies)
{
    service.die_on(kMethod);
    EXPECT_EQ(check_kmod_in_sm("module_a"), -1);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_F(KmodOwnership, IsUnknownWithoutABus)
{
    bus.stop();
    EXPECT_EQ(check_kmod_in_sm("module_a"), -1);
    expect_interface_error_was_told();
}

using KmodOwnershipAlone = BusTest;

TEST_F(KmodOwnershipAlone, IsUnknownWithoutTheService)
{
    EXPECT_EQ(check_kmod_in_sm("module_a"), -1);
    EXPECT_EQ(only_error().code, -1011);
}

} // namespace

} // namespace tresk::test
