// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A secret that somebody types or a program writes. It is never an argument, where everybody could read it.
#ifndef TRESK_TRESKCTL_CREDENTIAL_H
#define TRESK_TRESKCTL_CREDENTIAL_H

#include "treskctl/run.h"

#include <array>
#include <cstddef>
#include <string>

namespace tresk::ctl {

/// Keeps its text in one place, which is wiped in the end.
class Credential {
  public:
    Credential() = default;
    ~Credential();
    Credential(const Credential&) = delete;
    Credential& operator=(const Credential&) = delete;
    Credential(Credential&&) = delete;
    Credential& operator=(Credential&&) = delete;

    /// Reads the first line of standard input, without its end. At a terminal it asks with @question and
    /// shows nothing of what is typed. False, and a failure, where there is none that can be used.
    bool read(Run& run, const std::string& question);

    [[nodiscard]] const char* text() const { return text_.data(); }

  private:
    static constexpr std::size_t kRoomBytes = 1024;

    /// Nothing, or what is wrong.
    const char* read_line();

    std::array<char, kRoomBytes> text_{};
};

} // namespace tresk::ctl

#endif
