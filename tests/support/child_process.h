// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A program that a test starts, can wait for, and that never outlives the test: the kernel kills it when the
// thread that started it ends, the destructor kills it before that.
#ifndef TRESK_TESTS_SUPPORT_CHILD_PROCESS_H
#define TRESK_TESTS_SUPPORT_CHILD_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tresk::test {

/// How long a test waits for anything before it counts as failed; generous, for loaded machines and
/// sanitizers.
inline constexpr std::chrono::seconds kDeadline{30};

/// How a child ended: its exit status, or the signal that killed it.
struct Ending {
    int exit_status = -1;
    int signal = 0;
    bool operator==(const Ending&) const = default;
};

/// What a child is started with.
struct Command {
    /// The program's path or its name on the command search path, then its arguments.
    std::vector<std::string> words;
    /// Added to this process's environment; the child's alone.
    std::vector<std::pair<std::string, std::string>> environment;
    /// The child writes its announcement to this descriptor number (see announcement()).
    int announce_fd = 3;
    /// Where the child's standard error goes; the test's own where empty.
    std::string error_file;
};

class ChildProcess {
  public:
    ChildProcess() = default;
    /// Starts the program; throws std::system_error when it cannot be forked. A program that cannot be
    /// executed ends with status 127.
    explicit ChildProcess(const Command& command);
    ~ChildProcess();
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// The child's pid, or -1 when none was started or it was waited for.
    [[nodiscard]] pid_t pid() const noexcept { return pid_; }

    /// The first line (without its end) that the child writes to its announce_fd; nothing when it closed
    /// it first or the deadline passed.
    std::optional<std::string> announcement(std::chrono::milliseconds deadline = kDeadline);

    /// Sends @signal to the running child.
    void signal(int number) const;

    /// Waits for the end and reaps the child; nothing when the deadline passed.
    std::optional<Ending> wait(std::chrono::milliseconds deadline = kDeadline);

    /// SIGTERM, then wait(); kills a child that does not end.
    std::optional<Ending> terminate();

  private:
    void kill_and_reap() noexcept;

    pid_t pid_ = -1;
    int announce_ = -1;
};

} // namespace tresk::test

#endif
