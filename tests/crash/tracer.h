// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Runs a piece of work in a child and watches its system calls. At one of those that change files the child
// can be killed, before the call does anything, or the call can be refused.
#ifndef TRESK_TESTS_CRASH_TRACER_H
#define TRESK_TESTS_CRASH_TRACER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tresk::test {

/// A system call that changes files, or ends a change.
struct WatchedSystemCall {
    std::string name;
    bool needs_space = false;  ///< a full disk makes it fail
    bool on_directory = false; ///< its descriptor is a folder's
};

/// What becomes of the watched call with this number, counted from 1; 0 of none.
struct Interference {
    enum class Kind { None, Kill, Refuse };
    Kind kind = Kind::None;
    std::size_t at = 0;
    int error = 0; ///< what a refused call fails with
};

struct TracedRun {
    std::vector<WatchedSystemCall> calls; ///< those that were begun
    bool killed = false;
    bool reported_success = false; ///< the work answered true
};

/// Whether calls can be refused on this machine; killing works on all.
bool can_refuse();

/// Runs @work in a child; throws std::system_error where nothing can be traced.
TracedRun run_traced(const std::function<bool()>& work, Interference interference = {});

/// Runs @work in a child that nobody watches, since killed work must not leave marks in this process.
bool run_apart(const std::function<bool()>& work);

} // namespace tresk::test

#endif
