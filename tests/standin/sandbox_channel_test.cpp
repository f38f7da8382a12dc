// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/sandbox_run.h"

#include <gtest/gtest.h>

namespace {

using namespace tresk::test;

constexpr const char* CLIENT = TRESK_NETLINK_CLIENT;
const std::string SET_ANSWER = "printf '%s\\n' \"$1\" > $TRESK_STANDIN_STATE/kernel-answer; exec $0 27";

Result answer_with(const std::string& wish)
{
    return run_sandbox({"--no-bus", "--", "sh", "-c", SET_ANSWER, CLIENT, wish});
}

TEST(SandboxChannel, CarriesAnExchange)
{
    const Result result = run_sandbox({"--no-bus", "--", CLIENT, "27"});
    EXPECT_EQ(result.output, "port=0 length=1016 text=succeeded\n") << result;
    EXPECT_EQ(result.status, 0);
}

TEST(SandboxChannel, CarriesAnExchangeThroughADuplicate)
{
    const Result result = run_sandbox({"--no-bus", "--", CLIENT, "27", "dup"});
    EXPECT_EQ(result.output, "port=0 length=1016 text=succeeded\n") << result;
}

TEST(SandboxChannel, KnowsOneProtocolOnly)
{
    EXPECT_EQ(run_sandbox({"--no-bus", "--", CLIENT, "26"}).output, "socket: EPROTONOSUPPORT\n");
    EXPECT_EQ(run_sandbox({"--no-bus", "--kernel-protocol", "26", "--", CLIENT, "26"}).output,
              "port=0 length=1016 text=succeeded\n");
    EXPECT_EQ(run_sandbox({"--no-bus", "--kernel-protocol", "none", "--", CLIENT, "27"}).output,
              "socket: EPROTONOSUPPORT\n");
}

TEST(SandboxChannel, HasNoProtocolWithoutAKernel)
{
    EXPECT_EQ(run_sandbox({"--no-bus", "--no-kernel", "--", CLIENT, "27"}).output,
              "socket: EPROTONOSUPPORT\n");
}

TEST(SandboxChannel, RefusesMessagesWhereNobodyListens)
{
    EXPECT_EQ(run_sandbox({"--no-bus", "--no-kernel", "--kernel-protocol", "27", "--", CLIENT, "27"}).output,
              "sendto: ECONNREFUSED\n");
}

TEST(SandboxChannel, RefusesMessagesOnceThePeerIsGone)
{
    // A process is gone for good when it can no longer be signalled: the sandbox waits for it.
    const Result result = run_script("kill -9 $TRESK_STANDIN_KERNEL_PID; while kill -0 "
                                     "$TRESK_STANDIN_KERNEL_PID 2>/dev/null; do :; done; " +
                                     std::string{CLIENT} + " 27");
    EXPECT_EQ(result.output, "sendto: ECONNREFUSED\n") << result;
}

TEST(SandboxChannel, AnswersAsTheFileSays)
{
    EXPECT_EQ(answer_with("text failed").output, "port=0 length=1016 text=failed\n");
    EXPECT_EQ(answer_with("short 20").output, "port=0 length=20 text=succ\n");
    EXPECT_EQ(answer_with("long").output, "port=0 length=1016 text=" + std::string(1000, 'x') + "\n");
    EXPECT_EQ(answer_with("silent").output, "recvfrom: EAGAIN\n");
    EXPECT_EQ(answer_with("delay 1500").output, "recvfrom: EAGAIN\n");
}

TEST(SandboxChannel, RecordsMessagesAndUnknownWishes)
{
    const Result result =
        run_sandbox({"--no-bus", "--", "sh", "-c",
                     "echo sulk > $TRESK_STANDIN_STATE/kernel-answer; $0 27 > /dev/null & wait; "
                     "sed \"s/=$!\\b/=CLIENT/g\" $TRESK_STANDIN_STATE/kernel.log",
                     CLIENT});
    EXPECT_EQ(result.output, "unknown-wish sulk\n"
                             "type=10 flags=0 seq=0 pid=CLIENT port=CLIENT length=1016 received=1016 value=7 "
                             "hash=hash text=\\x07 payload=0700000068617368\n")
        << result;
}

TEST(SandboxChannel, ListsASocketOfTheKernelsProtocol)
{
    const std::string count = "/usr/bin/cat /proc/net/netlink | awk '{print $2}' | grep -wc 26";
    EXPECT_EQ(run_script(count, {"--kernel-protocol", "26"}).output, "1\n");
    EXPECT_EQ(run_script(count).output, "0\n");
}

TEST(SandboxChannel, KeepsTheRealListing)
{
    const Result inside = run_script("head -n 1 /proc/net/netlink; wc -l < /proc/net/netlink");
    const Result outside =
        run_script("head -n 1 /proc/net/netlink; wc -l < /proc/net/netlink", {"--no-kernel"});
    EXPECT_EQ(inside.output.substr(0, 20), outside.output.substr(0, 20));
    EXPECT_EQ(inside.output.substr(0, 20), "sk               Eth");
}

} // namespace
