// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One exchange with the kernel's module, beside the bare system calls that it consists of. The stand-in's
// peer answers both. The clock is the thread's: until the peer wakes up nothing is measured but the machine's
// mood.
#include "bench/library/contest.h"
#include "tresk_extend.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace tresk::bench {

namespace {

constexpr int kProtocol = 27;
constexpr int kType = 4;
constexpr char kHash[] = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

struct Message {
    nlmsghdr header;
    char payload[1000];
};

std::uint32_t thread_id()
{
    return static_cast<std::uint32_t>(::syscall(SYS_gettid));
}

sockaddr_nl address_of(std::uint32_t port)
{
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = port;
    return address;
}

void exchange_barely()
{
    constexpr timeval timeout = {.tv_sec = 1, .tv_usec = 0};
    const int channel = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, kProtocol);
    (void)::setsockopt(channel, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
    (void)::setsockopt(channel, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    const sockaddr_nl local = address_of(thread_id());
    const int bound = ::bind(channel, reinterpret_cast<const sockaddr*>(&local), sizeof(local));
    Message message = {.header = {sizeof(Message), kType, 0, 0, thread_id()}, .payload = {}};
    sockaddr_nl kernel = address_of(0);
    auto* const peer = reinterpret_cast<sockaddr*>(&kernel);
    socklen_t room = sizeof(kernel);
    const ssize_t sent = ::sendto(channel, &message, sizeof(message), MSG_NOSIGNAL, peer, room);
    const ssize_t received = ::recvfrom(channel, &message, sizeof(message), 0, peer, &room);
    ::close(channel);
    require(bound == 0 && sent == sizeof(message) && received == sizeof(message), "a bare exchange failed");
}

} // namespace

Subject kernel_channel()
{
    Contest contest;
    contest.name = "kernel exchange";
    contest.bound = 1.10;
    contest.clock = Clock::thread;
    contest.calls = 200;
    contest.turns = 61;
    contest.quick_turns = 15;
    contest.library = [] {
        require(tresk_hash_communicate_with_kernel(kType, kHash, 0) == 0, "an exchange failed");
    };
    contest.yardstick = exchange_barely;
    return {"kernel", {contest}, {}};
}

} // namespace tresk::bench
