// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/e2e/program.h"

#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace tresk::test {

namespace {

constexpr int kCannotStart = 127;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// In the child: writes to @file from now on.
void redirect(int stream, const std::string& file)
{
    const int target = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (target < 0 || ::dup2(target, stream) < 0) {
        ::_exit(kCannotStart);
    }
}

[[noreturn]] void become(const Invocation& invocation, const std::string& output, const std::string& error)
{
    redirect(STDOUT_FILENO, output);
    redirect(STDERR_FILENO, error);
    for (const auto& [name, value] : invocation.environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<std::string> words = invocation.words;
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    ::execv(pointers.front(), pointers.data());
    ::_exit(kCannotStart);
}

int wait_for(pid_t child)
{
    constexpr int kSignalBase = 128;
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            fail("waitpid");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status);
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome)
{
    return stream << "exit status " << outcome.exit_status << "\n-- standard output --\n"
                  << outcome.output << "-- standard error --\n"
                  << outcome.error << "--";
}

Outcome run_program(const Invocation& invocation)
{
    const TempDir folder;
    const bool keep_output = invocation.output_file.empty();
    const std::string output = keep_output ? (folder / "output").string() : invocation.output_file;
    const std::string error = (folder / "error").string();
    const pid_t child = ::fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        become(invocation, output, error);
    }
    Outcome outcome;
    outcome.exit_status = wait_for(child);
    outcome.output = keep_output ? read_file(output).value() : "";
    outcome.error = read_file(error).value();
    return outcome;
}

} // namespace tresk::test
