// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzz/support/fake_channel.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace tresk::fuzz {

FakeChannel& fake_channel()
{
    static FakeChannel channel;
    return channel;
}

namespace {

int failed_or(int error, int result)
{
    if (error == 0) {
        return result;
    }
    errno = error;
    return -1;
}

} // namespace

} // namespace tresk::fuzz

using namespace tresk::fuzz;

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __wrap_socket(int domain, int type, int protocol);
int __wrap_bind(int socket, const sockaddr* address, socklen_t bytes);
int __wrap_setsockopt(int socket, int level, int option, const void* value, socklen_t bytes);
ssize_t __wrap_sendto(int socket, const void* data, std::size_t size, int flags, const sockaddr* address,
                      socklen_t bytes);
ssize_t __wrap_recvfrom(int socket, void* data, std::size_t size, int flags, sockaddr* address,
                        socklen_t* bytes);

/// A descriptor that can be closed.
int __wrap_socket(int /*domain*/, int /*type*/, int /*protocol*/)
{
    return failed_or(fake_channel().socket_error,
                     fake_channel().socket_error == 0 ? ::dup(STDERR_FILENO) : -1);
}

int __wrap_bind(int /*socket*/, const sockaddr* /*address*/, socklen_t /*bytes*/)
{
    return failed_or(fake_channel().bind_error, 0);
}

int __wrap_setsockopt(int /*socket*/, int /*level*/, int /*option*/, const void* /*value*/,
                      socklen_t /*bytes*/)
{
    return 0;
}

ssize_t __wrap_sendto(int /*socket*/, const void* data, std::size_t size, int /*flags*/,
                      const sockaddr* /*address*/, socklen_t /*bytes*/)
{
    FakeChannel& channel = fake_channel();
    channel.sent.assign(static_cast<const char*>(data), size);
    ++channel.sent_times;
    return failed_or(channel.send_error, static_cast<int>(size));
}

ssize_t __wrap_recvfrom(int /*socket*/, void* data, std::size_t size, int /*flags*/, sockaddr* /*address*/,
                        socklen_t* /*bytes*/)
{
    const FakeChannel& channel = fake_channel();
    const std::size_t length = std::min(size, channel.answer.size());
    std::copy_n(channel.answer.data(), length, static_cast<char*>(data));
    return failed_or(channel.receive_error, static_cast<int>(length));
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
