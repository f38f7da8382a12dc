// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The calls that the kernel channel makes of the system, watched on their way: recorded, and made to fail or
// to answer otherwise where a test says so. Everything else goes through to the real function. The linker
// puts the watchers in place (see communicate.cmake), so that they work under the sanitizers too.
#ifndef TRESK_TESTS_INTEGRATION_COMMUNICATE_SYSTEM_CALLS_H
#define TRESK_TESTS_INTEGRATION_COMMUNICATE_SYSTEM_CALLS_H

#include <sys/socket.h>
#include <sys/types.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tresk::test {

struct PipelineCall {
    std::string command;
    std::string mode;
    bool operator==(const PipelineCall&) const = default;
};

struct SocketCall {
    int domain = 0;
    int type = 0; ///< without flags
    int protocol = 0;
    bool operator==(const SocketCall&) const = default;
};

/// A time-out that was set.
struct TimeoutCall {
    int option = 0;
    long seconds = 0;
    long microseconds = 0;
    bool operator==(const TimeoutCall&) const = default;
};

/// One answer as a thread received it.
struct ReceiveCall {
    pid_t thread = 0;
    socklen_t address_room = 0;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& out, const PipelineCall& call);
std::ostream& operator<<(std::ostream& out, const SocketCall& call);
std::ostream& operator<<(std::ostream& out, const TimeoutCall& call);

struct SystemCalls {
    std::vector<PipelineCall> pipelines;
    std::vector<SocketCall> sockets;
    std::vector<TimeoutCall> timeouts;
    std::vector<ReceiveCall> receives; ///< those of the channel that received something
    int thread_id_calls = 0;

    std::optional<std::string> other_pipeline; ///< run instead of the one that is asked for
    bool pipelines_fail = false;
    bool options_fail = false;
    bool messages_cannot_be_allocated = false;
    std::optional<ssize_t> receive_result; ///< answered at once, with nothing received
};

/// Set and read while no other thread is in the channel.
SystemCalls& system_calls();

} // namespace tresk::test

#endif
