// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One exchange with the kernel module: netlink_client PROTOCOL [dup]. Prints one line: the call that failed
// and why, or the sender's port, the datagram's length and the answer's text. With "dup" the exchange goes
// through a duplicate of the socket.
#include "standin/kernel/peer.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using tresk::Descriptor;
using tresk::standin::KernelMessage;

int failed(const char* call)
{
    std::printf("%s: %s\n", call, strerrorname_np(errno));
    return EXIT_FAILURE;
}

int exchange(int socket)
{
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_pid = static_cast<std::uint32_t>(::gettid());
    if (::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        return failed("bind");
    }
    const auto message = std::make_unique<KernelMessage>();
    message->header.nlmsg_len = sizeof(KernelMessage);
    message->header.nlmsg_type = 10;
    message->header.nlmsg_pid = address.nl_pid;
    std::memcpy(message->payload.data(), "\7\0\0\0hash", 8);
    address.nl_pid = 0;
    if (::sendto(socket, message.get(), sizeof(KernelMessage), 0, reinterpret_cast<sockaddr*>(&address),
                 sizeof(address)) < 0) {
        return failed("sendto");
    }
    *message = {};
    address.nl_pid = 99;
    socklen_t length = sizeof(address);
    const ssize_t received = ::recvfrom(socket, message.get(), sizeof(KernelMessage), 0,
                                        reinterpret_cast<sockaddr*>(&address), &length);
    if (received < 0) {
        return failed("recvfrom");
    }
    std::printf("port=%u length=%zd text=%.1000s\n", address.nl_pid, received, message->payload.data());
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    const int protocol = argc > 1 ? std::atoi(argv[1]) : 0;
    const Descriptor socket{::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, protocol)};
    if (!socket) {
        return failed("socket");
    }
    const timeval second{1, 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &second, sizeof(second));
    const Descriptor duplicate{::dup(socket.get())};
    return exchange(argc > 2 ? duplicate.get() : socket.get());
}
