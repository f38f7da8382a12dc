// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/credential.h"

#include "treskctl/input.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace tresk::ctl {

namespace {

/// Holds back the signals that would end or stop the process, so that a terminal is never left without its
/// echo. One that came meanwhile does its work when this ends.
class HeldSignals {
  public:
    HeldSignals()
    {
        ::sigemptyset(&held_);
        for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGTSTP}) {
            ::sigaddset(&held_, signal);
        }
        (void)::pthread_sigmask(SIG_BLOCK, &held_, &before_);
        arrived_ = Descriptor(::signalfd(-1, &held_, SFD_CLOEXEC));
    }

    ~HeldSignals() { (void)::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    HeldSignals(HeldSignals&&) = delete;
    HeldSignals& operator=(HeldSignals&&) = delete;

    /// Waits for input on @descriptor; false when a signal arrived first.
    [[nodiscard]] bool wait_for(int descriptor) const
    {
        std::array<pollfd, 2> events = {pollfd{arrived_.get(), POLLIN, 0}, pollfd{descriptor, POLLIN, 0}};
        return ::poll(events.data(), events.size(), -1) > 0 && events[0].revents == 0;
    }

  private:
    sigset_t held_{};
    sigset_t before_{};
    Descriptor arrived_;
};

/// Switches the echo of standard input's terminal off until it ends.
class SilentTerminal {
  public:
    SilentTerminal()
    {
        silenced_ = ::tcgetattr(STDIN_FILENO, &before_) == 0;
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silenced_ = silenced_ && ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0;
    }

    ~SilentTerminal()
    {
        if (silenced_) {
            (void)::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
        }
    }

    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;
    SilentTerminal(SilentTerminal&&) = delete;
    SilentTerminal& operator=(SilentTerminal&&) = delete;

    [[nodiscard]] bool silenced() const { return silenced_; }

  private:
    termios before_{};
    bool silenced_ = false;
};

void say(const std::string& text)
{
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
}

/// Asks for a line, which is there to be read when this returns null; else it says what is wrong.
template <class Read>
const char* ask_at_terminal(const std::string& question, Read read)
{
    const HeldSignals signals;
    const SilentTerminal terminal;
    if (!terminal.silenced()) {
        return "the terminal cannot be silenced";
    }
    say(question);
    const char* const complaint = signals.wait_for(STDIN_FILENO) ? read() : "interrupted";
    say("\n");
    return complaint;
}

} // namespace

Credential::~Credential()
{
    ::explicit_bzero(text_.data(), text_.size());
}

const char* Credential::read_line()
{
    std::size_t length = 0;
    bool ended = false;
    while (!ended && length < text_.size()) {
        const auto room = std::span(text_).subspan(length);
        const ssize_t got = read_some(STDIN_FILENO, room);
        if (got < 0) {
            return "cannot be read";
        }
        ended = got == 0 || std::memchr(room.data(), '\n', static_cast<std::size_t>(got)) != nullptr;
        length += static_cast<std::size_t>(got);
    }
    if (length == 0) {
        return "there is no credential";
    }
    char* const end = std::find(text_.data(), text_.data() + length, '\n');
    if (end == text_.data() + text_.size()) {
        return "longer than 1023 bytes";
    }
    const auto used = static_cast<std::size_t>(end - text_.data());
    ::explicit_bzero(end, text_.size() - used);
    return std::memchr(text_.data(), '\0', used) == nullptr ? nullptr : "there is a null character in it";
}

bool Credential::read(Run& run, const std::string& question)
{
    const bool asked = ::isatty(STDIN_FILENO) == 1;
    const char* const complaint =
        asked ? ask_at_terminal(question, [this] { return read_line(); }) : read_line();
    if (complaint != nullptr) {
        run.fail({Cause::Input, complaint, {}, "standard input"});
    }
    return complaint == nullptr;
}

} // namespace tresk::ctl
