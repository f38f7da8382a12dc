// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A child process, and all that it starts, whose programs, new files and connections the kernel reports: a
// seccomp filter stops it at each such system call until this process has read the arguments and lets it go
// on.
#ifndef TRESK_TESTS_HOSTILE_WATCHED_H
#define TRESK_TESTS_HOSTILE_WATCHED_H

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace tresk::test {

using Words = std::vector<std::string>;

struct Watched {
    /// Its exit status, or minus the signal that ended it.
    int status = 0;
    /// Of the processor, its own and its children's: a busy machine does not change it.
    double seconds = 0;
    /// The most memory that it, or a child that it waited for, had at once.
    long peak_mebibytes = 0;
    /// The argument vectors of the programs that were run, or tried along the search path.
    std::set<Words> programs;
    /// Paths of files, folders and links that were made, renamed or removed, or may have been: absolute.
    std::set<std::string> written;
    /// Numbers of the address families of connections, but for local ones.
    std::set<int> connections;
};

/// Limits of the child; 0 for none.
struct Limits {
    unsigned long address_space_mebibytes = 0;
};

/// Runs @body, which then ends the child with status 0. Throws std::exception where the kernel does not
/// report.
Watched watch(const std::function<void()>& body, const Limits& limits = {});

/// The calling process becomes the program @words, or ends with a shell's status for one that is not there.
[[noreturn]] void become(Words words);

} // namespace tresk::test

#endif
