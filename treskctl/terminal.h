// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_TERMINAL_H
#define TRESK_TRESKCTL_TERMINAL_H

namespace tresk::ctl {

/// Switches the echo of standard input's terminal off until it ends.
class SilentTerminal {
  public:
    SilentTerminal();
    ~SilentTerminal();
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;
    SilentTerminal(SilentTerminal&&) = delete;
    SilentTerminal& operator=(SilentTerminal&&) = delete;

    [[nodiscard]] bool silenced() const;
};

/// Gives a terminal its echo back; for a process that ends in the middle of a question.
void restore_terminal();

} // namespace tresk::ctl

#endif
