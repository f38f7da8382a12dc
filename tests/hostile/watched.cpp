// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/hostile/watched.h"

#include "common/handles.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <span>
#include <system_error>

namespace tresk::test {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

constexpr int kNone = -1;

/// A system call, and which of its arguments say what: a folder's descriptor, a path, flags of open(2).
struct Call {
    int number;
    enum class Kind { kRun, kWrite, kOpen, kConnect } kind;
    int path = kNone;
    int folder = kNone;
    int flags = kNone;
};

constexpr Call kCalls[] = {
    {__NR_execve, Call::Kind::kRun, 0},          {__NR_execveat, Call::Kind::kRun, 1},
    {__NR_connect, Call::Kind::kConnect},        {__NR_openat, Call::Kind::kOpen, 1, 0, 2},
    {__NR_openat2, Call::Kind::kWrite, 1, 0},    {__NR_mkdirat, Call::Kind::kWrite, 1, 0},
    {__NR_mknodat, Call::Kind::kWrite, 1, 0},    {__NR_linkat, Call::Kind::kWrite, 3, 2},
    {__NR_symlinkat, Call::Kind::kWrite, 2, 1},  {__NR_renameat2, Call::Kind::kWrite, 3, 2},
    {__NR_unlinkat, Call::Kind::kWrite, 1, 0},
#ifdef __NR_renameat
    {__NR_renameat, Call::Kind::kWrite, 3, 2},
#endif
#ifdef __NR_open
    {__NR_open, Call::Kind::kOpen, 0, kNone, 1}, {__NR_creat, Call::Kind::kWrite, 0},
    {__NR_mkdir, Call::Kind::kWrite, 0},         {__NR_mknod, Call::Kind::kWrite, 0},
    {__NR_link, Call::Kind::kWrite, 1},          {__NR_symlink, Call::Kind::kWrite, 1},
    {__NR_rename, Call::Kind::kWrite, 1},        {__NR_unlink, Call::Kind::kWrite, 0},
    {__NR_rmdir, Call::Kind::kWrite, 0},
#endif
};

// --- the filter ---

constexpr unsigned offset_of_flags(const Call& call)
{
    // The low half of the argument; all machines that this runs on are little-endian.
    return static_cast<unsigned>(offsetof(seccomp_data, args) +
                                 sizeof(std::uint64_t) * static_cast<unsigned>(call.flags));
}

/// Reports the calls of the table, of open(2) only those that may make a file, and allows all else.
std::vector<sock_filter> filter()
{
    std::vector<sock_filter> program;
    const sock_filter report = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF);
    const sock_filter allow = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    program.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)));
    for (const Call& call : kCalls) {
        const auto number = static_cast<unsigned>(call.number);
        if (call.kind == Call::Kind::kOpen) {
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 4));
            program.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset_of_flags(call)));
            program.push_back(
                BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_CREAT | (O_TMPFILE & ~O_DIRECTORY), 0, 1));
            program.push_back(report);
            program.push_back(allow);
        } else {
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1));
            program.push_back(report);
        }
    }
    program.push_back(allow);
    return program;
}

int install_filter()
{
    std::vector<sock_filter> program = filter();
    const sock_fprog whole{static_cast<unsigned short>(program.size()), program.data()};
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    return static_cast<int>(
        ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &whole));
}

// --- handing the listener over ---

union Control {
    cmsghdr header;
    std::array<char, CMSG_SPACE(sizeof(int))> bytes;
};

msghdr message_with(iovec& byte, Control& control)
{
    msghdr message = {};
    message.msg_iov = &byte;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes.data();
    message.msg_controllen = control.bytes.size();
    return message;
}

bool send_descriptor(int channel, int descriptor)
{
    char nothing = 0;
    iovec byte{&nothing, 1};
    Control control = {};
    msghdr message = message_with(byte, control);
    cmsghdr* part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(part), &descriptor, sizeof descriptor);
    return ::sendmsg(channel, &message, 0) == 1;
}

Descriptor receive_descriptor(int channel)
{
    char nothing = 0;
    iovec byte{&nothing, 1};
    Control control = {};
    msghdr message = message_with(byte, control);
    if (::recvmsg(channel, &message, MSG_CMSG_CLOEXEC) != 1 || CMSG_FIRSTHDR(&message) == nullptr) {
        throw std::runtime_error("the kernel does not report system calls");
    }
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof descriptor);
    return Descriptor(descriptor);
}

// --- reading the arguments ---

class Memory {
  public:
    explicit Memory(pid_t process)
        : file_(::open(("/proc/" + std::to_string(process) + "/mem").c_str(), O_RDONLY | O_CLOEXEC))
    {
    }

    template <class Value>
    [[nodiscard]] Value value(std::uint64_t address) const
    {
        Value value{};
        if (::pread(file_.get(), &value, sizeof value, static_cast<off_t>(address)) < 0) {
            return {};
        }
        return value;
    }

    /// The text up to its NUL; a page may end before it.
    [[nodiscard]] std::string text(std::uint64_t address) const
    {
        constexpr std::size_t kPage = 4096;
        std::string text;
        for (;;) {
            std::array<char, kPage> piece{};
            const std::uint64_t at = address + text.size();
            const ssize_t length =
                ::pread(file_.get(), piece.data(), kPage - at % kPage, static_cast<off_t>(at));
            if (length <= 0) {
                return text;
            }
            const std::string_view bytes(piece.data(), static_cast<std::size_t>(length));
            text += bytes.substr(0, bytes.find('\0'));
            if (bytes.find('\0') != std::string_view::npos) {
                return text;
            }
        }
    }

    [[nodiscard]] Words texts(std::uint64_t array) const
    {
        Words words;
        while (const auto word = value<std::uint64_t>(array)) {
            words.push_back(text(word));
            array += sizeof word;
        }
        return words;
    }

  private:
    Descriptor file_;
};

std::string folder_of(pid_t process, int descriptor)
{
    const std::string links = "/proc/" + std::to_string(process);
    std::error_code gone;
    return fs::read_symlink(
        descriptor == AT_FDCWD ? links + "/cwd" : links + "/fd/" + std::to_string(descriptor), gone);
}

std::string absolute(pid_t process, int folder, const std::string& path)
{
    return path.starts_with("/") ? path : folder_of(process, folder) + "/" + path;
}

const Call& call_of(int number)
{
    for (const Call& call : kCalls) {
        if (call.number == number) {
            return call;
        }
    }
    throw std::logic_error("a system call that the filter does not report");
}

void note(const seccomp_notif& report, Watched& watched)
{
    const Call& call = call_of(report.data.nr);
    const auto process = static_cast<pid_t>(report.pid);
    const Memory memory(process);
    const std::span<const unsigned long long> arguments(
        reinterpret_cast<const unsigned long long*>(report.data.args), 6);
    const auto argument = [&](int index) { return arguments[static_cast<std::size_t>(index)]; };
    if (call.kind == Call::Kind::kRun) {
        watched.programs.insert(memory.texts(argument(call.path + 1)));
    } else if (call.kind == Call::Kind::kConnect) {
        const int family = memory.value<sa_family_t>(argument(1));
        if (family != AF_UNIX) {
            watched.connections.insert(family);
        }
    } else {
        const int folder = call.folder == kNone ? AT_FDCWD : static_cast<int>(argument(call.folder));
        watched.written.insert(absolute(process, folder, memory.text(argument(call.path))));
    }
}

/// Takes one report and lets the call go on. A process that was killed meanwhile is none of ours.
void take_report(int listener, Watched& watched)
{
    seccomp_notif report = {};
    if (::ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &report) != 0) {
        return;
    }
    note(report, watched);
    seccomp_notif_resp answer = {};
    answer.id = report.id;
    answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    ::ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &answer);
}

/// Until nobody is left whom the filter stops.
void take_reports(int listener, Watched& watched)
{
    for (;;) {
        pollfd waiting{listener, POLLIN, 0};
        if (::poll(&waiting, 1, -1) < 0 && errno != EINTR) {
            fail("poll");
        }
        if ((waiting.revents & POLLIN) != 0) {
            take_report(listener, watched);
        } else if (waiting.revents != 0) {
            return;
        }
    }
}

// --- the child ---

void limit(const Limits& limits)
{
    if (limits.address_space_mebibytes != 0) {
        const rlim_t bytes = limits.address_space_mebibytes << 20U;
        const rlimit both{bytes, bytes};
        ::setrlimit(RLIMIT_AS, &both);
    }
}

[[noreturn]] void run(int channel, const std::function<void()>& body, const Limits& limits)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int listener = install_filter();
    if (listener < 0 || !send_descriptor(channel, listener)) {
        ::_exit(1);
    }
    ::close(listener);
    ::close(channel);
    limit(limits);
    try {
        body();
    } catch (const std::exception& failure) {
        std::cerr << "watched: " << failure.what() << std::endl;
        ::_exit(1);
    }
    std::cout.flush();
    std::fflush(nullptr);
    ::_exit(0);
}

double seconds_of(const timeval& time)
{
    constexpr double kMicroseconds = 1e6;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / kMicroseconds;
}

void reap(pid_t child, Watched& watched)
{
    int status = 0;
    rusage used = {};
    if (::wait4(child, &status, 0, &used) < 0) {
        fail("wait4");
    }
    constexpr long kKibibytes = 1024;
    watched.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    watched.peak_mebibytes = used.ru_maxrss / kKibibytes;
    watched.seconds = seconds_of(used.ru_utime) + seconds_of(used.ru_stime);
}

} // namespace

Watched watch(const std::function<void()>& body, const Limits& limits)
{
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        fail("socketpair");
    }
    const Descriptor ours(ends[0]);
    Descriptor theirs(ends[1]);
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        run(theirs.get(), body, limits);
    }
    theirs = Descriptor();
    Watched watched;
    const Descriptor listener = receive_descriptor(ours.get());
    take_reports(listener.get(), watched);
    reap(child, watched);
    return watched;
}

void become(Words words)
{
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    ::execv(pointers.front(), pointers.data());
    constexpr int kNotFound = 127;
    ::_exit(kNotFound);
}

} // namespace tresk::test
