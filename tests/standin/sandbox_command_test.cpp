// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/sandbox_run.h"

#include <gtest/gtest.h>

namespace {

using namespace tresk::test;

TEST(SandboxCommand, PassesTheExitStatusOn)
{
    EXPECT_EQ(run_script("exit 0").status, 0);
    EXPECT_EQ(run_script("exit 42").status, 42);
}

TEST(SandboxCommand, TellsASignalAsShellsDo)
{
    EXPECT_EQ(run_script("kill -9 $$").status, 137);
}

TEST(SandboxCommand, TellsAMissingCommandFromOneThatCannotRun)
{
    const Result missing = run_sandbox({"--no-bus", "--", "/no/such/program"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(missing.errors, "tresk-sandbox: cannot run /no/such/program: No such file or directory\n");
    EXPECT_EQ(run_sandbox({"--no-bus", "/etc/passwd"}).status, 126);
}

TEST(SandboxCommand, RefusesAnUnknownOption)
{
    const Result result = run_sandbox({"--no-such-option", "true"});
    EXPECT_EQ(result.status, 125);
    EXPECT_EQ(result.errors, "tresk-sandbox: The following argument was not expected: --no-such-option "
                             "(see --help)\n");
}

TEST(SandboxCommand, LeavesTheCommandsOwnOptionsAlone)
{
    EXPECT_EQ(run_sandbox({"--no-bus", "printf", "%s.", "--state", "--", "-x"}).output, "--state.--.-x.");
    EXPECT_EQ(run_sandbox({"--no-bus", "--", "printf", "%s.", "--", "--help"}).output, "--.--help.");
}

TEST(SandboxCommand, FailsWhereTheServiceCannotStart)
{
    const Result result = run_sandbox({"--service", "/bin/false", "--", "true"});
    EXPECT_EQ(result.status, 125);
    EXPECT_NE(result.errors.find("cannot start the service"), std::string::npos) << result;
}

TEST(SandboxCommand, TellsWhatAServiceSaidThatDidNotStart)
{
    const Result result = run_sandbox({"--service", "/no/such/service", "--", "true"});
    EXPECT_EQ(result.status, 125);
    EXPECT_NE(result.errors.find("cannot run /no/such/service: No such file or directory"), std::string::npos)
        << result;
}

TEST(SandboxCommand, ReportsAServiceThatCrashed)
{
    const Result result = run_sandbox({"--", "sh", "-c", "kill -SEGV $TRESK_STANDIN_SERVICE_PID"});
    EXPECT_EQ(result.status, 125);
    EXPECT_NE(result.errors.find("the service"), std::string::npos) << result;
}

TEST(SandboxCommand, AcceptsAServiceThatWasEndedOnPurpose)
{
    EXPECT_EQ(run_sandbox({"--", "sh", "-c", "kill -9 $TRESK_STANDIN_SERVICE_PID; exit 4"}).status, 4);
}

TEST(SandboxCommand, StartsAShellThatSaysWhereItIs)
{
    const Result result = run_sandbox({"--no-bus"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.errors.find("a development stand-in of the tresk framework. It protects nothing"),
              std::string::npos)
        << result;
}

TEST(SandboxCommand, FindsTheServiceOnTheBus)
{
    const Result result =
        run_sandbox({"--", "gdbus", "call", "--system", "--dest", "org.freedesktop.DBus", "--object-path",
                     "/", "--method", "org.freedesktop.DBus.NameHasOwner", "com.meron.tresk"});
    EXPECT_EQ(result.output, "(true,)\n") << result;
}

TEST(SandboxCommand, HasABusWithoutAServiceWhenAsked)
{
    const Result result =
        run_script("gdbus call --system --dest org.freedesktop.DBus --object-path / --method "
                   "org.freedesktop.DBus.NameHasOwner com.meron.tresk");
    EXPECT_EQ(result.output, "(false,)\n") << result;
}

TEST(SandboxCommand, HasNoBusWhenAsked)
{
    const Result result =
        run_sandbox({"--no-bus", "--", "sh", "-c", "ls ${DBUS_SYSTEM_BUS_ADDRESS#unix:path=}"});
    EXPECT_EQ(result.status, 2) << result;
}

TEST(SandboxCommand, TellsTheFrameworkWhereToLog)
{
    EXPECT_EQ(run_script("echo $TRESK_STANDIN_LOG").output, "/tresk-standin/state/framework.log\n");
    EXPECT_EQ(run_script("echo $TRESK_STANDIN_LOG", {"--log", "/tmp/../tmp/a.log"}).output, "/tmp/a.log\n");
}

TEST(SandboxCommand, LetsSanitisedProgramsStart)
{
    ::setenv("ASAN_OPTIONS", "detect_leaks=1", 1);
    const Result result = run_script("echo $ASAN_OPTIONS");
    ::unsetenv("ASAN_OPTIONS");
    EXPECT_EQ(result.output, "detect_leaks=1:verify_asan_link_order=0\n");
}

} // namespace
