// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/crash/tracer.h"

#include "tests/crash/call_registers.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <system_error>

namespace tresk::test {

namespace {

enum class Argument { Nothing, Descriptor };
enum class Space { Never, Always, WhenCreating };

struct KnownCall {
    long number;
    const char* name;
    Argument first;
    Space space;
};

/// What is watched. Machines without the older calls do without their rows.
constexpr KnownCall kCalls[] = {
#ifdef SYS_open
    {SYS_open, "open", Argument::Nothing, Space::Never},
    {SYS_creat, "creat", Argument::Nothing, Space::Always},
    {SYS_rename, "rename", Argument::Nothing, Space::Always},
    {SYS_link, "link", Argument::Nothing, Space::Always},
    {SYS_unlink, "unlink", Argument::Nothing, Space::Never},
    {SYS_mkdir, "mkdir", Argument::Nothing, Space::Always},
    {SYS_chmod, "chmod", Argument::Nothing, Space::Never},
#endif
    {SYS_openat, "openat", Argument::Nothing, Space::WhenCreating},
    {SYS_write, "write", Argument::Descriptor, Space::Always},
    {SYS_pwrite64, "pwrite64", Argument::Descriptor, Space::Always},
    {SYS_writev, "writev", Argument::Descriptor, Space::Always},
    {SYS_fsync, "fsync", Argument::Descriptor, Space::Always},
    {SYS_fdatasync, "fdatasync", Argument::Descriptor, Space::Always},
    {SYS_ftruncate, "ftruncate", Argument::Descriptor, Space::Never},
    {SYS_fallocate, "fallocate", Argument::Descriptor, Space::Always},
    {SYS_renameat, "renameat", Argument::Nothing, Space::Always},
    {SYS_renameat2, "renameat2", Argument::Nothing, Space::Always},
    {SYS_linkat, "linkat", Argument::Nothing, Space::Always},
    {SYS_unlinkat, "unlinkat", Argument::Nothing, Space::Never},
    {SYS_mkdirat, "mkdirat", Argument::Nothing, Space::Always},
    {SYS_fchmod, "fchmod", Argument::Descriptor, Space::Never},
    {SYS_fchmodat, "fchmodat", Argument::Nothing, Space::Never},
    {SYS_close, "close", Argument::Descriptor, Space::Never},
};

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// A child that never outlives its owner.
class Child {
  public:
    explicit Child(pid_t pid) : pid_(pid) {}

    ~Child()
    {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, __WALL);
        }
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    Child(Child&&) = delete;
    Child& operator=(Child&&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }

    /// The next stop's or the end's status.
    int wait()
    {
        int status = 0;
        while (::waitpid(pid_, &status, __WALL) < 0) {
            if (errno != EINTR) {
                fail("waitpid");
            }
        }
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            pid_ = -1;
        }
        return status;
    }

  private:
    pid_t pid_;
};

constexpr int kSuccess = 0;
constexpr int kFailure = 1;
constexpr int kCannotBeTraced = 2;

[[noreturn]] void do_work(const std::function<bool()>& work)
{
    bool success = false;
    try {
        success = work();
    } catch (...) {
        success = false;
    }
    ::_exit(success ? kSuccess : kFailure);
}

pid_t forked()
{
    const pid_t pid = ::fork();
    if (pid < 0) {
        fail("fork");
    }
    return pid;
}

/// A child that has stopped before its work.
pid_t stopped_child(const std::function<bool()>& work)
{
    const pid_t pid = forked();
    if (pid == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            ::_exit(kCannotBeTraced);
        }
        ::raise(SIGSTOP);
        do_work(work);
    }
    return pid;
}

class Tracer {
  public:
    Tracer(const std::function<bool()>& work, Interference interference)
        : child_(stopped_child(work)), interference_(interference)
    {
    }

    TracedRun run()
    {
        begin();
        int signal = 0;
        for (;;) {
            resume(signal);
            const int status = child_.wait();
            if (WIFSIGNALED(status) || WIFEXITED(status)) {
                return ended(status);
            }
            signal = 0;
            if (WSTOPSIG(status) == (SIGTRAP | 0x80)) {
                on_system_call();
            } else {
                signal = WSTOPSIG(status);
            }
        }
    }

  private:
    void begin()
    {
        const int status = child_.wait();
        if (!WIFSTOPPED(status)) {
            errno = EPERM;
            fail("PTRACE_TRACEME");
        }
        constexpr long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL;
        if (::ptrace(PTRACE_SETOPTIONS, child_.pid(), nullptr, options) != 0) {
            fail("PTRACE_SETOPTIONS");
        }
    }

    void resume(int signal)
    {
        if (::ptrace(PTRACE_SYSCALL, child_.pid(), nullptr, static_cast<long>(signal)) != 0 &&
            errno != ESRCH) {
            fail("PTRACE_SYSCALL");
        }
    }

    void on_system_call()
    {
        __ptrace_syscall_info info = {};
        if (::ptrace(PTRACE_GET_SYSCALL_INFO, child_.pid(), sizeof info, &info) < 0) {
            fail("PTRACE_GET_SYSCALL_INFO");
        }
        if (info.op == PTRACE_SYSCALL_INFO_EXIT && refusing_) {
            fail_void_call(child_.pid(), interference_.error);
            refusing_ = false;
        } else if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            on_entry(info);
        }
    }

    void on_entry(const __ptrace_syscall_info& info)
    {
        const std::optional<WatchedSystemCall> call = watched(info);
        if (!call) {
            return;
        }
        run_.calls.push_back(*call);
        if (run_.calls.size() != interference_.at) {
            return;
        }
        if (interference_.kind == Interference::Kind::Kill) {
            ::kill(child_.pid(), SIGKILL);
        } else if (interference_.kind == Interference::Kind::Refuse) {
            make_call_void(child_.pid());
            refusing_ = true;
        }
    }

    [[nodiscard]] std::optional<WatchedSystemCall> watched(const __ptrace_syscall_info& info) const
    {
        for (const KnownCall& known : kCalls) {
            if (static_cast<std::uint64_t>(known.number) == info.entry.nr) {
                return WatchedSystemCall{known.name, needs_space(known, info),
                                         known.first == Argument::Descriptor &&
                                             is_directory(info.entry.args[0])};
            }
        }
        return std::nullopt;
    }

    static bool needs_space(const KnownCall& known, const __ptrace_syscall_info& info)
    {
        if (known.space == Space::WhenCreating) {
            return (info.entry.args[2] & O_CREAT) != 0;
        }
        return known.space == Space::Always;
    }

    [[nodiscard]] bool is_directory(std::uint64_t descriptor) const
    {
        const std::string link =
            "/proc/" + std::to_string(child_.pid()) + "/fd/" + std::to_string(static_cast<int>(descriptor));
        struct stat status = {};
        return ::stat(link.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    }

    TracedRun ended(int status)
    {
        run_.killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        run_.reported_success = WIFEXITED(status) && WEXITSTATUS(status) == kSuccess;
        return run_;
    }

    Child child_;
    Interference interference_;
    TracedRun run_;
    bool refusing_ = false;
};

} // namespace

bool can_refuse()
{
    return registers_are_known();
}

TracedRun run_traced(const std::function<bool()>& work, Interference interference)
{
    return Tracer(work, interference).run();
}

bool run_apart(const std::function<bool()>& work)
{
    const pid_t pid = forked();
    if (pid == 0) {
        do_work(work);
    }
    const int status = Child(pid).wait();
    return WIFEXITED(status) && WEXITSTATUS(status) == kSuccess;
}

} // namespace tresk::test
