// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The library and those below it write lines of their own to standard output and standard error: printed
// refusals, parser errors, log lines. Around a library call both are led into memory, so that standard
// output stays one document and nothing of what was said is lost.
#ifndef TRESK_TRESKCTL_LIBRARY_OUTPUT_H
#define TRESK_TRESKCTL_LIBRARY_OUTPUT_H

#include "common/handles.h"

#include <string>

namespace tresk::ctl {

/// What was written during a call; any bytes.
struct Said {
    std::string output;
    std::string error;
};

/// Leads one standard stream into memory from construction to the end.
class CapturedStream {
  public:
    /// @stream: stdout or stderr. Throws std::system_error.
    explicit CapturedStream(std::FILE* stream);
    ~CapturedStream();
    CapturedStream(const CapturedStream&) = delete;
    CapturedStream& operator=(const CapturedStream&) = delete;
    CapturedStream(CapturedStream&&) = delete;
    CapturedStream& operator=(CapturedStream&&) = delete;

    /// All that was written so far. Throws std::system_error.
    [[nodiscard]] std::string text() const;

  private:
    std::FILE* stream_;
    Descriptor memory_;
    Descriptor original_;
};

/// What a call returned, and what was written while it ran.
template <class Result>
struct Heard {
    Result result;
    Said said;
};

template <class Call>
auto listen_to(Call call) -> Heard<decltype(call())>
{
    const CapturedStream output(stdout);
    const CapturedStream error(stderr);
    auto result = call();
    return {std::move(result), {output.text(), error.text()}};
}

} // namespace tresk::ctl

#endif
