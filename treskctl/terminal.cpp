// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/terminal.h"

#include <termios.h>
#include <unistd.h>

#include <optional>

namespace tresk::ctl {

namespace {

/// What the terminal was before it was silenced. One question is asked at a time.
std::optional<termios> before; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

} // namespace

SilentTerminal::SilentTerminal()
{
    termios found{};
    if (::tcgetattr(STDIN_FILENO, &found) != 0) {
        return;
    }
    before = found;
    termios silent = found;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) != 0) {
        before.reset();
    }
}

SilentTerminal::~SilentTerminal()
{
    restore_terminal();
}

bool SilentTerminal::silenced() const
{
    return before.has_value();
}

void restore_terminal()
{
    if (before) {
        (void)::tcsetattr(STDIN_FILENO, TCSAFLUSH, &*before);
        before.reset();
    }
}

} // namespace tresk::ctl
