// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The sandbox as a program: started, waited for, its output read.
#ifndef TRESK_TESTS_STANDIN_SANDBOX_RUN_H
#define TRESK_TESTS_STANDIN_SANDBOX_RUN_H

#include "tests/support/temp_dir.h"

#include <sys/types.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace tresk::test {

struct Result {
    /// The exit status, or minus the signal that ended it.
    int status = 0;
    std::string output;
    std::string errors;
};

std::ostream& operator<<(std::ostream& stream, const Result& result);

/// A program that was started, with standard input from /dev/null. Killed with this object.
class Started {
  public:
    explicit Started(std::vector<std::string> words);
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;
    Started(Started&&) = delete;
    Started& operator=(Started&&) = delete;
    ~Started();

    [[nodiscard]] pid_t process() const { return process_; }

    /// What it wrote to standard output so far.
    [[nodiscard]] std::string output() const;
    /// Waits for a line on its standard output; what it wrote is returned without the line feed.
    [[nodiscard]] std::string first_line() const;
    Result wait();

  private:
    TempDir files_;
    pid_t process_ = -1;
};

/// Runs the sandbox with these arguments and waits for it.
Result run_sandbox(std::vector<std::string> arguments);

/// Runs @script in a sandbox without a service.
Result run_script(const std::string& script, std::vector<std::string> options = {});

std::vector<std::string> sandbox_command(std::vector<std::string> arguments);

/// Waits until the predicate holds; false when it does not in time.
bool eventually(const std::function<bool()>& predicate);

/// Whether the process runs; one that ended and was not waited for does not.
bool is_running(pid_t process);

} // namespace tresk::test

#endif
