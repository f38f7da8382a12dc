// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/sandbox/background.h"

#include "standin/sandbox/failure.h"
#include "standin/sandbox/root.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iostream>

namespace tresk::standin {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds TIME_TO_START{30000};

std::string error_file(const std::string& name)
{
    return std::string{STATE_DIRECTORY} + "/" + name + ".err";
}

void report(const std::string& name, const std::string& what)
{
    std::cerr << "tresk-sandbox: the " << name << " " << what << "\n"
              << std::ifstream{error_file(name)}.rdbuf();
    std::cerr.clear();
}

void redirect_output(const std::string& name)
{
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    constexpr mode_t READABLE_BY_ALL = 0644;
    const int errors =
        ::open(error_file(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, READABLE_BY_ALL);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(nothing, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
}

/// Reads a line; nothing when the other side closed, or did not write one in time.
std::optional<std::string> read_line(int descriptor)
{
    const auto deadline = Clock::now() + TIME_TO_START;
    std::string line;
    for (;;) {
        pollfd file{descriptor, POLLIN, 0};
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
        char character = 0;
        if (left <= 0 || (::poll(&file, 1, static_cast<int>(left)) <= 0) ||
            ::read(descriptor, &character, 1) != 1) {
            return std::nullopt;
        }
        if (character == '\n') {
            return line;
        }
        line += character;
    }
}

/// Ended by the sandbox or on purpose, not by a defect.
bool ended_well(int status)
{
    if (WIFSIGNALED(status)) {
        return WTERMSIG(status) == SIGTERM || WTERMSIG(status) == SIGKILL;
    }
    return WEXITSTATUS(status) == 0;
}

std::string description_of(int status)
{
    return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended with status " + std::to_string(WEXITSTATUS(status));
}

} // namespace

void Background::start(const std::string& name, const CommandLine& command)
{
    std::array<int, 2> ends{};
    require(::pipe2(ends.data(), O_CLOEXEC), "pipe");
    Descriptor ready{ends[0]};
    const Descriptor other_end{ends[1]};
    const pid_t child = fork_bound(SIGKILL, [&] { run(name, command, other_end.get()); });
    programs_.push_back({name, child, std::move(ready)});
}

void Background::run(const std::string& name, const CommandLine& command, int ready) const
{
    signals_.unblock();
    redirect_output(name);
    ::fcntl(ready, F_SETFD, 0);
    run_program(command(std::to_string(ready)));
}

const Background::Program& Background::find(const std::string& name) const
{
    return *std::ranges::find(programs_, name, &Program::name);
}

pid_t Background::process(const std::string& name) const
{
    return find(name).process;
}

std::string Background::wait_ready(const std::string& name)
{
    const auto line = read_line(find(name).ready.get());
    if (!line) {
        report(name, "did not start");
        throw std::runtime_error{"cannot start the " + name};
    }
    return *line;
}

bool Background::end()
{
    bool well = true;
    for (; !programs_.empty(); programs_.pop_back()) {
        const Program& program = programs_.back();
        const int status = children_.end(program.process);
        if (!ended_well(status)) {
            report(program.name, description_of(status));
            well = false;
        }
    }
    return well;
}

} // namespace tresk::standin
