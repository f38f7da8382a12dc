// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The kernel module listens on netlink protocol 26 or, since another module may have taken that number, on
// 27. Which one is asked once for the life of a process, whatever comes out: a module that is loaded later is
// found by new processes.
#include "communicate/netlink_protocol.h"

#include "common/handles.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace tresk {

namespace {

constexpr int kUsualProtocol = 27;
constexpr int kDetectedProtocol = 26;

/// Prints how many sockets of protocol 26 are open, the module's own among them.
constexpr char kCountSockets[] = "/usr/bin/cat /proc/net/netlink | awk '{print $2}' | grep -wc 26";

/// Whether the output of kCountSockets counts any. Two characters of a line tell: "0\n" is none.
bool counts_any(std::FILE* output)
{
    std::array<char, 3> digits{};
    while (std::fgets(digits.data(), static_cast<int>(digits.size()), output) != nullptr &&
           digits.front() != '\n') {
        if (std::strtol(digits.data(), nullptr, 10) >= 1) {
            return true;
        }
    }
    return false;
}

/// A pipeline that fails says nothing and counts none.
int detect()
{
    const Pipe count(::popen(kCountSockets, "r"));
    return count && counts_any(count.get()) ? kDetectedProtocol : kUsualProtocol;
}

} // namespace

// Threads that make their first exchange at the same time wait for one detection. Were each to run its own,
// as the outcome alone would allow, one that is done could find its port taken at its next exchange: the
// pipeline that another thread is just starting holds all open sockets until it becomes the shell.
int netlink_protocol()
{
    static const int protocol = detect();
    return protocol;
}

} // namespace tresk
