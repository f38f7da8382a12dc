// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the library logs, and which thread it was: the program's own logging function stands before the
// framework's, as it does for every program that defines one.
#ifndef TRESK_TESTS_KERNEL_LOG_LINES_H
#define TRESK_TESTS_KERNEL_LOG_LINES_H

#include <cstdint>
#include <string>
#include <vector>

namespace tresk::test {

struct LogLine {
    std::uint32_t thread = 0;
    int level = 0;
    std::string subject;
    std::string source;
    std::string text;
};

/// All lines since they were forgotten.
std::vector<LogLine> log_lines();
void forget_log_lines();

/// The calling thread's id, as the kernel knows it.
std::uint32_t own_thread_id();

} // namespace tresk::test

#endif
