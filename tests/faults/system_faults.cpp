// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/system_faults.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

namespace tresk::test {

namespace {

constexpr int kPollMilliseconds = 200;
/// Of one call: a starved machine takes its time for the hundreds of questions to the parent.
constexpr std::chrono::minutes kStuckAfter{3};
constexpr std::size_t kFileOfMap = 4; // the argument

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// A wake-up of one of GLib's threads by another cannot fail, and would be waited for for ever.
const std::vector<int> kReads = {SYS_read, SYS_pread64, SYS_readv, SYS_preadv, SYS_getdents64};
const std::vector<int> kWrites = {SYS_write, SYS_pwrite64, SYS_writev};

const std::vector<SystemFault> kFaults = {
    {"open", {SYS_open, SYS_openat}, EMFILE},
    {"read", kReads, EIO},
    {"write", kWrites, ENOSPC},
    {"stat", {SYS_stat, SYS_lstat, SYS_fstat, SYS_newfstatat, SYS_statx, SYS_statfs, SYS_fstatfs}, EACCES},
    {"access", {SYS_access, SYS_faccessat, SYS_faccessat2, SYS_readlink, SYS_readlinkat, SYS_getcwd}, EACCES},
    {"attribute",
     {SYS_getxattr, SYS_lgetxattr, SYS_fgetxattr, SYS_setxattr, SYS_lsetxattr, SYS_fsetxattr, SYS_listxattr,
      SYS_llistxattr, SYS_flistxattr, SYS_removexattr},
     EOPNOTSUPP},
    {"entry of a folder",
     {SYS_rename, SYS_renameat, SYS_renameat2, SYS_mkdir, SYS_mkdirat, SYS_link, SYS_linkat, SYS_unlink,
      SYS_unlinkat, SYS_rmdir},
     EACCES},
    {"change of a file", {SYS_ftruncate, SYS_fchmod, SYS_chmod, SYS_fchown, SYS_fsync, SYS_fdatasync}, EIO},
    {"file lock or flag", {SYS_fcntl, SYS_flock, SYS_ioctl}, EIO},
    {"map of a file", {SYS_mmap}, ENODEV},
    {"descriptor", {SYS_eventfd2, SYS_pipe, SYS_pipe2, SYS_dup, SYS_dup2, SYS_dup3, SYS_socketpair}, EMFILE},
    {"socket", {SYS_socket}, EMFILE},
    {"socket option", {SYS_setsockopt, SYS_getsockopt, SYS_getsockname, SYS_getpeername}, ENOPROTOOPT},
    {"bind", {SYS_bind}, EADDRINUSE},
    {"connect", {SYS_connect}, ECONNREFUSED},
    {"send", {SYS_sendto, SYS_sendmsg}, ENOBUFS},
    {"receive", {SYS_recvfrom, SYS_recvmsg}, ECONNRESET},
    {"poll", {SYS_poll, SYS_ppoll}, ENOMEM, false},
    {"process", {SYS_clone, SYS_clone3, SYS_fork, SYS_vfork, SYS_wait4}, EAGAIN},
    {"program", {SYS_execve, SYS_execveat}, EACCES, true, true},
    {"cut of the bus", {SYS_sendto, SYS_sendmsg, SYS_recvfrom, SYS_recvmsg, SYS_poll}, 0, false},
};

sock_filter load(std::size_t offset)
{
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

std::set<int> asked_calls()
{
    std::set<int> calls = {SYS_connect};
    for (const SystemFault& fault : kFaults) {
        calls.insert(fault.calls.begin(), fault.calls.end());
    }
    return calls;
}

/// The parent is asked about the calls of the list; of maps, about those of a file.
std::vector<sock_filter> filter()
{
    const sock_filter ask = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF);
    const sock_filter allow = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    std::vector<sock_filter> program = {load(offsetof(seccomp_data, nr))};
    for (const int call : asked_calls()) {
        const auto number = static_cast<std::uint32_t>(call);
        if (call == SYS_mmap) {
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 4));
            program.push_back(load(offsetof(seccomp_data, args) + kFileOfMap * sizeof(std::uint64_t)));
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ~0U, 0, 1));
            program.push_back(allow);
            program.push_back(ask);
        } else {
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1));
            program.push_back(ask);
        }
    }
    program.push_back(allow);
    return program;
}

// Not by the C library's functions, whose header names them for C alone.
int open_handle(pid_t process)
{
    return static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
}

/// A copy of the process's descriptor.
int descriptor_of(int handle, int number)
{
    return static_cast<int>(::syscall(SYS_pidfd_getfd, handle, number, 0));
}

std::string of_process(pid_t process)
{
    return "/proc/" + std::to_string(process);
}

bool contains(const std::vector<int>& calls, int call)
{
    return std::find(calls.begin(), calls.end(), call) != calls.end();
}

/// A call that waits for the parent's answer ends with EINTR where a signal comes, which the call itself
/// would not do: a shell that starts a pipeline hears of its first part's end. Shells wait without that
/// signal, too.
void block_child_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    if (::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
        fail("sigprocmask");
    }
}

} // namespace

std::span<const SystemFault> system_faults()
{
    return kFaults;
}

void FaultOrder::begin(const SystemFault& what, long from, bool all_from_there)
{
    nth = from;
    stays = all_from_there;
    met = 0;
    failed = 0;
    fault = &what;
}

bool FaultOrder::end()
{
    fault = nullptr;
    return failed > 0;
}

void ask_parent(FaultOrder& order)
{
    block_child_signals();
    std::vector<sock_filter> program = filter();
    const sock_fprog description = {static_cast<unsigned short>(program.size()), program.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        fail("no new privileges");
    }
    const long listener =
        ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &description);
    if (listener < 0) {
        fail("seccomp");
    }
    order.listener = static_cast<int>(listener);
}

Supervisor::Supervisor(pid_t child, FaultOrder& order)
    : child_(child), handle_(open_handle(child)), order_(order)
{
    if (handle_ < 0) {
        fail("pidfd_open");
    }
}

Supervisor::~Supervisor()
{
    ::close(handle_);
    if (listener_ >= 0) {
        ::close(listener_);
    }
}

std::optional<int> Supervisor::wait(const std::function<long()>& progress)
{
    using Clock = std::chrono::steady_clock;
    long last = progress();
    auto deadline = Clock::now() + kStuckAfter;
    while (Clock::now() < deadline) {
        take_listener();
        std::array<pollfd, 2> events = {pollfd{handle_, POLLIN, 0}, pollfd{listener_, POLLIN, 0}};
        ::poll(events.data(), events.size(), listener_ < 0 ? 1 : kPollMilliseconds);
        if ((events[1].revents & POLLIN) != 0) {
            serve_one();
        }
        if ((events[0].revents & POLLIN) != 0) {
            return reap();
        }
        if (progress() != last) {
            last = progress();
            deadline = Clock::now() + kStuckAfter;
        }
    }
    ::kill(child_, SIGKILL);
    reap();
    return std::nullopt;
}

void Supervisor::take_listener()
{
    if (listener_ < 0 && order_.listener >= 0) {
        listener_ = descriptor_of(handle_, order_.listener);
    }
}

void Supervisor::serve_one()
{
    seccomp_notif call = {};
    if (::ioctl(listener_, SECCOMP_IOCTL_NOTIF_RECV, &call) != 0) {
        return; // the caller was killed meanwhile
    }
    seccomp_notif_resp response = {call.id, 0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE};
    answer(call, response);
    (void)::ioctl(listener_, SECCOMP_IOCTL_NOTIF_SEND, &response);
}

void Supervisor::answer(const seccomp_notif& call, seccomp_notif_resp& response)
{
    if (call.data.nr == SYS_connect && is_childs(static_cast<pid_t>(call.pid))) {
        bus_ = static_cast<int>(call.data.args[0]);
    }
    if (order_.counting) {
        count(call);
    }
    const SystemFault* fault = order_.fault;
    if (fault == nullptr || !fails(*fault, call)) {
        return;
    }
    if (fault->error == 0) {
        cut_connection();
        return;
    }
    response.flags = 0;
    response.error = -fault->error;
}

void Supervisor::count(const seccomp_notif& call)
{
    for (std::size_t kind = 0; kind < kFaults.size(); ++kind) {
        order_.seen[kind] += is_chance(kFaults[kind], call) ? 1 : 0;
    }
}

bool Supervisor::is_chance(const SystemFault& fault, const seccomp_notif& call) const
{
    return contains(fault.calls, call.data.nr) &&
           (fault.in_programs || is_childs(static_cast<pid_t>(call.pid))) && !is_wake_up(call);
}

bool Supervisor::fails(const SystemFault& fault, const seccomp_notif& call)
{
    if (!is_chance(fault, call)) {
        return false;
    }
    const long number = ++order_.met;
    if (number != order_.nth && (!order_.stays || number < order_.nth)) {
        return false;
    }
    ++order_.failed;
    return true;
}

bool Supervisor::is_childs(pid_t thread) const
{
    return thread == child_ ||
           ::access((of_process(child_) + "/task/" + std::to_string(thread)).c_str(), F_OK) == 0;
}

bool Supervisor::is_wake_up(const seccomp_notif& call) const
{
    if (!contains(kReads, call.data.nr) && !contains(kWrites, call.data.nr)) {
        return false;
    }
    const std::string link = of_process(child_) + "/fd/" + std::to_string(call.data.args[0]);
    std::array<char, 64> target{};
    const ssize_t length = ::readlink(link.c_str(), target.data(), target.size() - 1);
    return length > 0 && std::string_view(target.data()) == "anon_inode:[eventfd]";
}

void Supervisor::cut_connection()
{
    const int socket = bus_ < 0 ? -1 : descriptor_of(handle_, bus_);
    if (socket >= 0) {
        ::shutdown(socket, SHUT_RDWR);
        ::close(socket);
    }
}

std::optional<int> Supervisor::reap()
{
    int status = 0;
    return ::waitpid(child_, &status, 0) == child_ ? std::optional(status) : std::nullopt;
}

} // namespace tresk::test
