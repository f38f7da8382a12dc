// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A program in a terminal of its own, with somebody who types.
#ifndef TRESK_TESTS_E2E_TERMINAL_SESSION_H
#define TRESK_TESTS_E2E_TERMINAL_SESSION_H

#include "tests/support/temp_dir.h"

#include <string>
#include <vector>

namespace tresk::test {

class TerminalSession {
  public:
    /// Starts @words in a terminal of 120 columns and 40 lines.
    explicit TerminalSession(const std::vector<std::string>& words);
    ~TerminalSession();
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;
    TerminalSession(TerminalSession&&) = delete;
    TerminalSession& operator=(TerminalSession&&) = delete;

    /// Types @text, letter by letter.
    void type(const std::string& text) const;

    /// Presses a key: "Tab", "Enter", "C-u".
    void press(const std::string& key) const;

    /// True as soon as the terminal shows @text; false when it does not after a long while.
    [[nodiscard]] bool shows(const std::string& text) const;

    /// What the terminal shows now.
    [[nodiscard]] std::string screen() const;

  private:
    std::string tell(const std::vector<std::string>& words) const;

    TempDir folder_;
};

} // namespace tresk::test

#endif
