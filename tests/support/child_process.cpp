// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace tresk::test {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

bool assigns(const std::string& entry, const std::string& name)
{
    return entry.starts_with(name + "=");
}

std::vector<std::string> environment_with(const std::vector<std::pair<std::string, std::string>>& additions)
{
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        result.emplace_back(*entry);
    }
    for (const auto& [name, value] : additions) {
        std::erase_if(result, [&wanted = name](const std::string& entry) { return assigns(entry, wanted); });
        result.emplace_back(name).append("=").append(value);
    }
    return result;
}

/// Everything the child needs between fork and exec, where memory may not be allocated.
struct Launch {
    explicit Launch(const Command& command)
        : words(command.words), environment(environment_with(command.environment)), argv(pointers(words)),
          envp(pointers(environment)), error_file(command.error_file), announce_fd(command.announce_fd)
    {
    }

    std::vector<std::string> words;
    std::vector<std::string> environment;
    std::vector<char*> argv;
    std::vector<char*> envp;
    std::string error_file;
    int announce_fd;
    pid_t parent = ::getpid();
};

/// Makes @from the open descriptor @to, also when the numbers are equal.
void place_descriptor(int from, int to)
{
    if (from == to) {
        ::fcntl(to, F_SETFD, 0);
    } else {
        ::dup2(from, to);
    }
}

[[noreturn]] void become(const Launch& launch, int announce)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != launch.parent) {
        ::_exit(127);
    }
    if (!launch.error_file.empty()) {
        const int log = ::open(launch.error_file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        ::dup2(log, STDERR_FILENO);
    }
    place_descriptor(announce, launch.announce_fd);
    ::execvpe(launch.argv[0], launch.argv.data(), launch.envp.data());
    ::_exit(127);
}

int milliseconds_until(Clock::time_point end)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

bool becomes_readable(int descriptor, Clock::time_point end)
{
    pollfd wanted{descriptor, POLLIN, 0};
    int ready = -1;
    do {
        ready = ::poll(&wanted, 1, milliseconds_until(end));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

Ending ending_of(int status)
{
    if (WIFSIGNALED(status)) {
        return {.signal = WTERMSIG(status)};
    }
    return {.exit_status = WEXITSTATUS(status)};
}

/// Waits on a pid descriptor, which becomes readable at the process's end.
bool ends_before(pid_t pid, Clock::time_point end)
{
    const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (descriptor < 0) {
        fail("pidfd_open");
    }
    const bool ended = becomes_readable(descriptor, end);
    ::close(descriptor);
    return ended;
}

} // namespace

ChildProcess::ChildProcess(const Command& command)
{
    const Launch launch(command);
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail("pipe");
    }
    pid_ = ::fork();
    if (pid_ == 0) {
        become(launch, ends[1]);
    }
    const int saved = errno;
    ::close(ends[1]);
    announce_ = ends[0];
    if (pid_ < 0) {
        ::close(announce_);
        errno = saved;
        fail("fork");
    }
}

ChildProcess::~ChildProcess()
{
    kill_and_reap();
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)), announce_(std::exchange(other.announce_, -1))
{
}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept
{
    std::swap(pid_, other.pid_);
    std::swap(announce_, other.announce_);
    return *this;
}

std::optional<std::string> ChildProcess::announcement(std::chrono::milliseconds deadline)
{
    const Clock::time_point end = Clock::now() + deadline;
    std::string line;
    char byte = 0;
    while (becomes_readable(announce_, end) && ::read(announce_, &byte, 1) == 1) {
        if (byte == '\n') {
            return line;
        }
        line += byte;
    }
    return std::nullopt;
}

void ChildProcess::signal(int number) const
{
    if (pid_ > 0) {
        ::kill(pid_, number);
    }
}

std::optional<Ending> ChildProcess::wait(std::chrono::milliseconds deadline)
{
    if (pid_ <= 0 || !ends_before(pid_, Clock::now() + deadline)) {
        return std::nullopt;
    }
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return ending_of(status);
}

std::optional<Ending> ChildProcess::terminate()
{
    signal(SIGTERM);
    std::optional<Ending> ending = wait();
    kill_and_reap();
    return ending;
}

void ChildProcess::kill_and_reap() noexcept
{
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(std::exchange(pid_, -1), nullptr, 0);
    }
    if (announce_ >= 0) {
        ::close(std::exchange(announce_, -1));
    }
}

} // namespace tresk::test
