// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/e2e/program.h"

#include "common/handles.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
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

/// In the child: reads from @file, or writes to it, from now on.
void redirect(int stream, const std::string& file, int flags)
{
    const int target = ::open(file.c_str(), flags, 0600);
    if (target < 0 || ::dup2(target, stream) < 0) {
        ::_exit(kCannotStart);
    }
}

[[noreturn]] void execute(Words words)
{
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    ::execv(pointers.front(), pointers.data());
    ::_exit(kCannotStart);
}

struct Streams {
    std::string input;
    std::string output;
    std::string error;
};

[[noreturn]] void become(const Invocation& invocation, const Streams& streams)
{
    constexpr int kWrite = O_WRONLY | O_CREAT | O_TRUNC;
    redirect(STDIN_FILENO, streams.input, O_RDONLY);
    redirect(STDOUT_FILENO, streams.output, kWrite);
    redirect(STDERR_FILENO, streams.error, kWrite);
    for (const auto& [name, value] : invocation.environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    execute(invocation.words);
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

void type(int terminal, const std::string& text)
{
    if (::write(terminal, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        fail("typing");
    }
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
    const Streams streams{folder / "input",
                          keep_output ? (folder / "output").string() : invocation.output_file,
                          folder / "error"};
    write_file(streams.input, invocation.input);
    const pid_t child = ::fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        become(invocation, streams);
    }
    Outcome outcome;
    outcome.exit_status = wait_for(child);
    outcome.output = keep_output ? read_file(streams.output).value() : "";
    outcome.error = read_file(streams.error).value();
    return outcome;
}

Screen run_at_terminal(const Words& words, const std::vector<Exchange>& exchanges)
{
    int number = -1;
    const pid_t child = ::forkpty(&number, nullptr, nullptr, nullptr);
    if (child < 0) {
        fail("forkpty");
    }
    if (child == 0) {
        execute(words);
    }
    const Descriptor terminal(number);
    Screen screen;
    std::size_t seen = 0;
    auto next = exchanges.begin();
    std::array<char, 1024> piece{};
    ssize_t length = 0;
    // Once nobody has the terminal open any more, reading from it fails.
    while ((length = ::read(terminal.get(), piece.data(), piece.size())) > 0) {
        screen.text.append(piece.data(), static_cast<std::size_t>(length));
        if (next != exchanges.end() && screen.text.find(next->shown, seen) != std::string::npos) {
            seen = screen.text.find(next->shown, seen) + next->shown.size();
            type(terminal.get(), next->typed);
            ++next;
        }
    }
    screen.exit_status = wait_for(child);
    return screen;
}

} // namespace tresk::test
