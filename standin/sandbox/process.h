// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Child processes: none outlives the process that started it, whatever ends that one.
#ifndef TRESK_STANDIN_SANDBOX_PROCESS_H
#define TRESK_STANDIN_SANDBOX_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tresk::standin {

/// Starts a child that gets @death_signal when this process ends, and runs @body in it, which does not
/// return.
pid_t fork_bound(int death_signal, const std::function<void()>& body);

/// Replaces this process by the program; on failure says so on standard error and exits as env(1) does.
[[noreturn]] void run_program(const std::vector<std::string>& command);

/// The exit status that tells @wait_status to a shell.
int exit_status(int wait_status);

/// Kills every child of this process, and those that it inherits thereby, until there is none.
void end_all_children();

/// The signals that a supervising process takes up one by one instead of being interrupted or ended by them.
class SignalQueue {
  public:
    /// Blocks the signals for this process and the children it forks.
    SignalQueue();
    /// The next one; nothing when @limit passed first.
    [[nodiscard]] std::optional<siginfo_t> wait(std::optional<std::chrono::milliseconds> limit = {}) const;
    /// In a child, before another program is run.
    void unblock() const;

  private:
    sigset_t signals_{};
    sigset_t before_{};
};

/// Whether @signal came from a process, not from the terminal, which tells all of the group at once.
bool is_sent(const siginfo_t& signal);

/// The children of a supervising process.
class Children {
  public:
    explicit Children(const SignalQueue& signals) : signals_{signals} {}

    /// Takes note of every child that ended.
    void reap();
    /// How it ended; nothing while it runs.
    [[nodiscard]] std::optional<int> status_of(pid_t child) const;
    /// Asks the child to end, makes it end when it does not, and says how it ended.
    int end(pid_t child);

  private:
    bool wait_for(pid_t child, std::chrono::milliseconds limit);

    const SignalQueue& signals_;
    std::map<pid_t, int> ended_;
};

} // namespace tresk::standin

#endif
