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
    std::vector<std::string> words;
    /// Added to this process's environment.
    std::vector<std::pair<std::string, std::string>> environment;
    /// Where the standard output goes; kept where empty.
    std::string output_file;
};

/// Runs the program and waits for its end; throws std::system_error when it cannot be started. A program
/// that a signal ended has the exit status 128 and the signal's number.
Outcome run_program(const Invocation& invocation);

} // namespace tresk::test

#endif
