// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/e2e/terminal_session.h"

#include "tests/e2e/program.h"

#include <chrono>
#include <stdexcept>

namespace tresk::test {

namespace {

constexpr const char* kTmux = "/usr/bin/tmux";
constexpr std::chrono::seconds kPatience{20};

} // namespace

TerminalSession::TerminalSession(const std::vector<std::string>& words)
{
    std::vector<std::string> start = {"-f", "/dev/null", "new-session", "-d", "-x", "120", "-y", "40", "--"};
    start.insert(start.end(), words.begin(), words.end());
    tell(start);
}

TerminalSession::~TerminalSession()
{
    try {
        tell({"kill-server"});
    } catch (const std::exception&) { // the program has ended, and its terminal with it
        return;
    }
}

void TerminalSession::type(const std::string& text) const
{
    tell({"send-keys", "-l", "--", text});
}

void TerminalSession::press(const std::string& key) const
{
    tell({"send-keys", key});
}

bool TerminalSession::shows(const std::string& text) const
{
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (screen().find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
    }
    return true;
}

/// Lines that were wrapped are joined.
std::string TerminalSession::screen() const
{
    return tell({"capture-pane", "-p", "-J"});
}

std::string TerminalSession::tell(const std::vector<std::string>& words) const
{
    Invocation invocation{{kTmux, "-u", "-S", (folder_ / "socket").string()}, {}, {}};
    invocation.words.insert(invocation.words.end(), words.begin(), words.end());
    const Outcome outcome = run_program(invocation);
    if (outcome.exit_status != 0) {
        throw std::runtime_error("the terminal: " + outcome.error);
    }
    return outcome.output;
}

} // namespace tresk::test
