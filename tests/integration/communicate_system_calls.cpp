// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/communicate_system_calls.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace tresk::test {

namespace {

constexpr std::size_t kMessageBytes = 1016;
/// The flags tell the channel's receiving from that of a peer in the same process, which does not wait.
constexpr int kChannelReceives = 0;

std::mutex& recording()
{
    static std::mutex mutex;
    return mutex;
}

void record_timeout(int option, const void* value, socklen_t value_bytes)
{
    if ((option == SO_SNDTIMEO || option == SO_RCVTIMEO) && value_bytes == sizeof(timeval)) {
        const auto* timeout = static_cast<const timeval*>(value);
        const std::lock_guard lock(recording());
        system_calls().timeouts.push_back({option, timeout->tv_sec, timeout->tv_usec});
    }
}

} // namespace

std::ostream& operator<<(std::ostream& out, const PipelineCall& call)
{
    return out << "popen(" << call.command << ", " << call.mode << ")";
}

std::ostream& operator<<(std::ostream& out, const SocketCall& call)
{
    return out << "socket(" << call.domain << ", " << call.type << ", " << call.protocol << ")";
}

std::ostream& operator<<(std::ostream& out, const TimeoutCall& call)
{
    return out << "option " << call.option << ": " << call.seconds << " s " << call.microseconds << " us";
}

SystemCalls& system_calls()
{
    static SystemCalls calls;
    return calls;
}

} // namespace tresk::test

using namespace tresk::test;

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void* __real_calloc(std::size_t count, std::size_t size);
std::int64_t __real_get_tid(void);
std::FILE* __real_popen(const char* command, const char* mode);
ssize_t __real_recvfrom(int socket, void* buffer, std::size_t size, int flags, sockaddr* address,
                        socklen_t* address_bytes);
int __real_setsockopt(int socket, int level, int option, const void* value, socklen_t value_bytes);
int __real_socket(int domain, int type, int protocol);

void* __wrap_calloc(std::size_t count, std::size_t size);
std::int64_t __wrap_get_tid(void);
std::FILE* __wrap_popen(const char* command, const char* mode);
ssize_t __wrap_recvfrom(int socket, void* buffer, std::size_t size, int flags, sockaddr* address,
                        socklen_t* address_bytes);
int __wrap_setsockopt(int socket, int level, int option, const void* value, socklen_t value_bytes);
int __wrap_socket(int domain, int type, int protocol);

void* __wrap_calloc(std::size_t count, std::size_t size)
{
    if (count * size == kMessageBytes && system_calls().messages_cannot_be_allocated) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_calloc(count, size);
}

std::int64_t __wrap_get_tid(void)
{
    const std::lock_guard lock(recording());
    ++system_calls().thread_id_calls;
    return __real_get_tid();
}

std::FILE* __wrap_popen(const char* command, const char* mode)
{
    const std::lock_guard lock(recording());
    SystemCalls& calls = system_calls();
    calls.pipelines.push_back({command, mode});
    if (calls.pipelines_fail) {
        errno = EMFILE;
        return nullptr;
    }
    return __real_popen(calls.other_pipeline ? calls.other_pipeline->c_str() : command, mode);
}

ssize_t __wrap_recvfrom(int socket, void* buffer, std::size_t size, int flags, sockaddr* address,
                        socklen_t* address_bytes)
{
    if (flags != kChannelReceives) {
        return __real_recvfrom(socket, buffer, size, flags, address, address_bytes);
    }
    if (system_calls().receive_result) {
        return *system_calls().receive_result;
    }
    const socklen_t room = address_bytes == nullptr ? 0 : *address_bytes;
    const ssize_t received = __real_recvfrom(socket, buffer, size, flags, address, address_bytes);
    if (received >= 0) {
        const std::lock_guard lock(recording());
        system_calls().receives.push_back(
            {static_cast<pid_t>(::syscall(SYS_gettid)), room,
             std::string(static_cast<const char*>(buffer), static_cast<std::size_t>(received))});
    }
    return received;
}

int __wrap_setsockopt(int socket, int level, int option, const void* value, socklen_t value_bytes)
{
    if (level == SOL_SOCKET) {
        record_timeout(option, value, value_bytes);
    }
    if (system_calls().options_fail) {
        errno = ENOPROTOOPT;
        return -1;
    }
    return __real_setsockopt(socket, level, option, value, value_bytes);
}

int __wrap_socket(int domain, int type, int protocol)
{
    const int kind = type & ~(SOCK_CLOEXEC | SOCK_NONBLOCK);
    const std::lock_guard lock(recording());
    system_calls().sockets.push_back({domain, kind, protocol});
    return __real_socket(domain, type, protocol);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
