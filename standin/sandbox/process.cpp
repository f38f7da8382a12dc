// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/sandbox/process.h"

#include "standin/sandbox/failure.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace tresk::standin {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// How long a background program may take to end by itself; a sanitizer's leak check takes its time.
constexpr milliseconds TIME_TO_END{5000};

bool is_number(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// The parent as /proc tells it; 0 for a process that is gone.
pid_t parent_of(const std::string& process)
{
    std::ifstream file{"/proc/" + process + "/stat"};
    std::string line;
    std::getline(file, line);
    // The program's name, in parentheses, may hold anything; "STATE PARENT" comes behind it.
    const std::size_t name_end = line.rfind(") ");
    constexpr std::size_t TO_PARENT = 4;
    return name_end == std::string::npos
               ? 0
               : static_cast<pid_t>(std::strtol(line.c_str() + name_end + TO_PARENT, nullptr, 10));
}

void kill_children()
{
    std::error_code failed;
    for (const auto& entry : std::filesystem::directory_iterator{"/proc", failed}) {
        const std::string name = entry.path().filename();
        if (is_number(name) && parent_of(name) == ::getpid()) {
            ::kill(static_cast<pid_t>(std::stol(name)), SIGKILL);
        }
    }
}

} // namespace

pid_t fork_bound(int death_signal, const std::function<void()>& body)
{
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    require(child, "fork");
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, death_signal);
        if (::getppid() == parent) {
            body();
        }
        ::_exit(SANDBOX_FAILED);
    }
    return child;
}

void run_program(const std::vector<std::string>& command)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    ::execvp(arguments.front(), arguments.data());
    const int reason = errno;
    std::cerr << "tresk-sandbox: cannot run " << command.front() << ": " << std::strerror(reason)
              << std::endl;
    ::_exit(reason == ENOENT ? COMMAND_NOT_FOUND : COMMAND_NOT_RUNNABLE);
}

int exit_status(int wait_status)
{
    return WIFSIGNALED(wait_status) ? ENDED_BY_SIGNAL + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

void end_all_children()
{
    for (;;) {
        const pid_t ended = ::waitpid(-1, nullptr, WNOHANG);
        if (ended < 0 && errno == ECHILD) {
            return;
        }
        if (ended == 0) {
            kill_children();
            ::waitpid(-1, nullptr, 0);
        }
    }
}

SignalQueue::SignalQueue()
{
    ::sigemptyset(&signals_);
    for (const int signal : {SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        ::sigaddset(&signals_, signal);
    }
    ::sigprocmask(SIG_BLOCK, &signals_, &before_);
}

std::optional<siginfo_t> SignalQueue::wait(std::optional<milliseconds> limit) const
{
    constexpr long MILLISECONDS = 1000;
    constexpr long NANOSECONDS = 1000000;
    siginfo_t signal = {};
    int taken = -1;
    if (limit) {
        const timespec time{limit->count() / MILLISECONDS, limit->count() % MILLISECONDS * NANOSECONDS};
        taken = ::sigtimedwait(&signals_, &signal, &time);
    } else {
        taken = ::sigwaitinfo(&signals_, &signal);
    }
    return taken > 0 ? std::optional{signal} : std::nullopt;
}

void SignalQueue::unblock() const
{
    ::sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool is_sent(const siginfo_t& signal)
{
    return signal.si_code == SI_USER || signal.si_code == SI_QUEUE;
}

void Children::reap()
{
    int status = 0;
    for (pid_t child = 0; (child = ::waitpid(-1, &status, WNOHANG)) > 0;) {
        ended_[child] = status;
    }
}

std::optional<int> Children::status_of(pid_t child) const
{
    const auto ended = ended_.find(child);
    return ended == ended_.end() ? std::nullopt : std::optional{ended->second};
}

bool Children::wait_for(pid_t child, milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    for (reap(); !status_of(child); reap()) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (left <= milliseconds{0}) {
            return false;
        }
        (void)signals_.wait(left);
    }
    return true;
}

int Children::end(pid_t child)
{
    reap();
    if (!status_of(child)) {
        ::kill(child, SIGTERM);
        if (!wait_for(child, TIME_TO_END)) {
            ::kill(child, SIGKILL);
            wait_for(child, TIME_TO_END);
        }
    }
    return status_of(child).value_or(SIGKILL);
}

} // namespace tresk::standin
