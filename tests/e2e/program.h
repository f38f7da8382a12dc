// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Runs a program to its end and keeps all that it wrote.
#ifndef TRESK_TESTS_E2E_PROGRAM_H
#define TRESK_TESTS_E2E_PROGRAM_H

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace tresk::test {

using Words = std::vector<std::string>;

struct Outcome {
    int exit_status = -1;
    std::string output;
    std::string error;
    bool operator==(const Outcome&) const = default;
};

/// For GoogleTest's messages.
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

struct Invocation {
    /// The program's path, then its arguments.
    Words words;
    /// Added to this process's environment.
    std::vector<std::pair<std::string, std::string>> environment;
    /// Where the standard output goes; kept where empty.
    std::string output_file;
    /// The standard input, which is a file.
    std::string input = {};
};

/// Runs the program and waits for its end; throws std::system_error when it cannot be started. A program
/// that a signal ended has the exit status 128 and the signal's number.
Outcome run_program(const Invocation& invocation);

/// What a program that runs at a terminal of its own showed there.
struct Screen {
    int exit_status = -1;
    std::string text;
};

/// Somebody at a terminal types @typed once it shows @shown.
struct Exchange {
    std::string shown;
    std::string typed;
};

/// Runs the program at a terminal and waits for its end; what it writes is on the screen, also what the
/// terminal echoes. The exchanges take place one after the other.
Screen run_at_terminal(const Words& words, const std::vector<Exchange>& exchanges);

} // namespace tresk::test

#endif
