// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every way in which an exchange fails: the log names the cause, errno keeps it, and nothing stays open.
#include "common/handles.h"
#include "communicate/kernel_channel.h"
#include "tests/integration/communicate_fixture.h"
#include "tests/support/policy_files.h"

#include <linux/netlink.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <thread>

namespace tresk::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

long open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// The result of an exchange that must fail, with errno @cause and no descriptor left.
void expect_failure(int cause)
{
    const long before = open_descriptors();
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), -1);
    EXPECT_EQ(errno, cause);
    EXPECT_EQ(open_descriptors(), before);
}

/// Takes the port that the calling thread's exchanges bind.
Descriptor socket_on_own_port()
{
    Descriptor taken(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = own_thread_id();
    EXPECT_EQ(::bind(taken.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    return taken;
}

class ChannelFaultTest : public ChannelTest {};

TEST_F(ChannelFaultTest, UnknownProtocolFailsTheSocket)
{
    ::unsetenv("TRESK_STANDIN_KERNEL_PROTOCOL");
    expect_failure(EPROTONOSUPPORT);
    EXPECT_EQ(only_log(),
              "tresk_communicate_with_kernel: can't create netlink socket: Protocol not supported\n");
}

TEST_F(ChannelFaultTest, UnknownProtocolComesBeforeALengthOutOfBounds)
{
    ::unsetenv("TRESK_STANDIN_KERNEL_PROTOCOL");
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 1001), -1);
}

TEST_F(ChannelFaultTest, NobodyListeningFailsTheSending)
{
    expect_failure(ECONNREFUSED);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: sendto failed: Connection refused\n");
}

using ChannelPeerFaultTest = PeerTest;

TEST_F(ChannelPeerFaultTest, TakenThreadIdFailsTheBinding)
{
    const Descriptor taken = socket_on_own_port();
    expect_failure(EADDRINUSE);
    EXPECT_EQ(only_log(),
              "tresk_communicate_with_kernel: can't bind sockfd with sockaddr_nl: Address already in use\n");
    EXPECT_TRUE(peer_.received().empty());
}

TEST_F(ChannelPeerFaultTest, FreedThreadIdServesTheNextExchange)
{
    {
        const Descriptor taken = socket_on_own_port();
        EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), -1);
    }
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), 0);
}

TEST_F(ChannelPeerFaultTest, MissingMemoryFailsBeforeAnythingIsSent)
{
    system_calls().messages_cannot_be_allocated = true;
    const long before = open_descriptors();
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), -1);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: alloc mem failed!\n");
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(peer_.received().empty());
}

TEST_F(ChannelPeerFaultTest, RefusedTimeoutsAreIgnored)
{
    system_calls().options_fail = true;
    EXPECT_EQ(tresk_communicate_with_kernel(1, "", 0), 0);
    EXPECT_EQ(system_calls().timeouts.size(), 2U);
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(ChannelPeerFaultTest, SilenceFailsAfterOneSecond)
{
    standin::Answer silence;
    silence.silent = true;
    set_answer(silence);
    const auto start = steady_clock::now();
    expect_failure(EAGAIN);
    const auto waited = steady_clock::now() - start;
    EXPECT_GE(waited, milliseconds(990));
    EXPECT_LT(waited, milliseconds(5000));
    EXPECT_EQ(only_log(),
              "tresk_communicate_with_kernel: recvfrom failed: Resource temporarily unavailable\n");
}

TEST_F(ChannelPeerFaultTest, AnswerAfterMoreThanASecondComesTooLate)
{
    standin::Answer late;
    late.delay = milliseconds(1500);
    set_answer(late);
    expect_failure(EAGAIN);
    EXPECT_EQ(only_log(),
              "tresk_communicate_with_kernel: recvfrom failed: Resource temporarily unavailable\n");
}

/// The main thread waits in recvfrom().
bool is_receiving(pid_t thread)
{
    const auto call = read_file("/proc/self/task/" + std::to_string(thread) + "/syscall");
    return call && call->starts_with(std::to_string(SYS_recvfrom) + " ");
}

TEST_F(ChannelFaultTest, SignalHandlerFailsTheWaitingExchange)
{
    struct sigaction action {};

    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    const pthread_t caller = ::pthread_self();
    const auto caller_id = static_cast<pid_t>(own_thread_id());
    const standin::PeerThread peer([&](const standin::Received&) {
        const auto deadline = steady_clock::now() + milliseconds(900);
        while (!is_receiving(caller_id) && steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        ::pthread_kill(caller, SIGUSR1);
        standin::Answer answer;
        answer.silent = true;
        return answer;
    });
    set_kernel_port(peer.port());
    expect_failure(EINTR);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: recvfrom failed: Interrupted system call\n");
}

} // namespace

} // namespace tresk::test
