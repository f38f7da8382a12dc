// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/authorisation/caller.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace tresk::test {

namespace {

constexpr int kCannotBecome = 127;
constexpr std::size_t kLongest = 65536;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// One packet: "call NUMBER", or "become" and the words, each behind a NUL.
std::string receive(int channel)
{
    std::string packet(kLongest, '\0');
    const ssize_t length = ::recv(channel, packet.data(), packet.size(), 0);
    packet.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return packet;
}

void send(int channel, const std::string& packet)
{
    if (::send(channel, packet.data(), packet.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(packet.size())) {
        fail("a caller's channel");
    }
}

void become_user(const passwd& user)
{
    if (::setgroups(0, nullptr) != 0 || ::setresgid(user.pw_gid, user.pw_gid, user.pw_gid) != 0 ||
        ::setresuid(user.pw_uid, user.pw_uid, user.pw_uid) != 0) {
        ::_exit(kCannotBecome);
    }
    // What the framework's stand-ins keep for all callers, all may write.
    ::umask(0);
}

[[noreturn]] void execute(std::string words)
{
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(nothing, stream);
    }
    std::vector<char*> pointers;
    for (std::size_t at = 0; at < words.size(); at = words.find('\0', at) + 1) {
        pointers.push_back(words.data() + at);
    }
    pointers.push_back(nullptr);
    ::execv(pointers.front(), pointers.data());
    ::_exit(kCannotBecome);
}

constexpr std::string_view kBecome{"become\0", 7};

[[noreturn]] void serve(int channel, const Caller::Calls& calls)
{
    for (std::string packet = receive(channel); !packet.empty(); packet = receive(channel)) {
        if (packet.starts_with(kBecome)) {
            execute(packet.substr(kBecome.size()));
        }
        send(channel, "=" + calls(std::stoul(packet)));
    }
    ::_exit(0);
}

} // namespace

Caller::Caller(const char* user, const Calls& calls)
{
    const passwd* entry = ::getpwnam(user);
    if (entry == nullptr) {
        throw std::runtime_error(std::string("no user ") + user);
    }
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        fail("socketpair");
    }
    channel_ = Descriptor(ends[0]);
    const Descriptor other_end(ends[1]);
    process_ = ::fork();
    if (process_ < 0) {
        fail("fork");
    }
    if (process_ == 0) {
        channel_ = Descriptor();
        become_user(*entry);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve(other_end.get(), calls);
    }
}

Caller::~Caller()
{
    channel_ = Descriptor();
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
}

std::string Caller::call(std::size_t number)
{
    send(channel_.get(), std::to_string(number));
    const std::string answer = receive(channel_.get());
    if (answer.empty()) {
        throw std::runtime_error("a caller ended");
    }
    return answer.substr(1);
}

int Caller::become(const std::vector<std::string>& words)
{
    std::string packet(kBecome);
    for (const std::string& word : words) {
        packet.append(word).push_back('\0');
    }
    send(channel_.get(), packet);
    int status = 0;
    if (::waitpid(std::exchange(process_, -1), &status, 0) < 0) {
        fail("waitpid");
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

} // namespace tresk::test
