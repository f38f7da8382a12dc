// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One request and one answer over a netlink socket that lives for one exchange. The socket is bound to the
// thread's id, not left to the kernel's choice, which is the process's id for the first socket: so several
// threads of a process talk to the module at the same time, and the module knows whom it talks to.
#include "communicate/kernel_channel.h"

#include "common/handles.h"
#include "common/report.h"
#include "communicate/kernel_message.h"
#include "communicate/netlink_protocol.h"
#include "tresk_extend.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tresk {

namespace {

constexpr char kFunction[] = "tresk_communicate_with_kernel";
constexpr char kSucceeded[] = "succeeded";
constexpr std::uint32_t kKernelPort = 0;
constexpr timeval kTimeout = {.tv_sec = 1, .tv_usec = 0};

/// Logs @format with the function's name and errno's text. errno stays what it was.
int fail(Source source, const char* format)
{
    const int cause = errno;
    log_error(source, kFunction, format, kFunction, std::strerror(cause));
    errno = cause;
    return -1;
}

sockaddr_nl netlink_address(std::uint32_t port)
{
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = port;
    return address;
}

int bind_thread(int socket)
{
    const sockaddr_nl local = netlink_address(static_cast<std::uint32_t>(get_tid()));
    return ::bind(socket, reinterpret_cast<const sockaddr*>(&local), sizeof(local));
}

/// The socket of one exchange; none where it failed, which has been logged.
Descriptor open_channel()
{
    Descriptor channel(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, netlink_protocol()));
    if (!channel) {
        fail(kCommunicateSource, "%s: can't create netlink socket: %s\n");
        return {};
    }
    // Without its time-outs the exchange still works, so their failure is none of its own.
    (void)::setsockopt(channel.get(), SOL_SOCKET, SO_SNDTIMEO, &kTimeout, sizeof(kTimeout));
    (void)::setsockopt(channel.get(), SOL_SOCKET, SO_RCVTIMEO, &kTimeout, sizeof(kTimeout));
    if (bind_thread(channel.get()) < 0) {
        fail(kCommunicateSource, "%s: can't bind sockfd with sockaddr_nl: %s\n");
        return {};
    }
    return channel;
}

void report_refusal(const ReplyText& reply)
{
    if (std::strcmp(reply.data(), kSucceeded) != 0) {
        log_error(kCommunicateSource, kFunction, "%s: Got response: %s\n", kFunction, reply.data());
    }
}

/// Sends @message and receives the answer in its place.
int exchange(int channel, KernelMessage& message)
{
    sockaddr_nl kernel = netlink_address(kKernelPort);
    auto* const address = reinterpret_cast<sockaddr*>(&kernel);
    socklen_t address_bytes = sizeof(kernel);
    if (::sendto(channel, &message, sizeof(message), MSG_NOSIGNAL, address, address_bytes) < 0) {
        return fail(kCommunicateSource, "%s: sendto failed: %s\n");
    }
    std::memset(&message, 0, sizeof(message)); // a short answer must not be read together with the question
    const ssize_t received = ::recvfrom(channel, &message, sizeof(message), 0, address, &address_bytes);
    if (received < 0) {
        return fail(kCommunicateSource, "%s: recvfrom failed: %s\n");
    }
    report_refusal(reply_text(message, static_cast<std::size_t>(received)));
    return 0;
}

} // namespace

int tresk_communicate_with_kernel(int type, const void* data, int len)
{
    if (data == nullptr) {
        log_error(kCommunicateSource, kFunction, "%s: data was wrong\n", kFunction);
        return -1;
    }
    const Descriptor channel = open_channel();
    if (!channel) {
        return -1;
    }
    const Malloced<KernelMessage> message(static_cast<KernelMessage*>(std::calloc(1, sizeof(KernelMessage))));
    if (!message) {
        log_error(kCommunicateSource, kFunction, "%s: alloc mem failed!\n", kFunction);
        errno = ENOMEM; // the log may have changed it
        return -1;
    }
    fill_message(*message, type, static_cast<std::uint32_t>(get_tid()), data, len);
    return exchange(channel.get(), *message);
}

} // namespace tresk
