// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Failures of the sandbox itself, as opposed to those of the command in it.
#ifndef TRESK_STANDIN_SANDBOX_FAILURE_H
#define TRESK_STANDIN_SANDBOX_FAILURE_H

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tresk::standin {

constexpr int SANDBOX_FAILED = 125;
constexpr int COMMAND_NOT_RUNNABLE = 126;
constexpr int COMMAND_NOT_FOUND = 127;
constexpr int ENDED_BY_SIGNAL = 128;

/// Throws what errno says about @what.
[[noreturn]] inline void fail_with_errno(const std::string& what)
{
    throw std::system_error{errno, std::generic_category(), what};
}

/// Throws unless @result, a system call's, says success.
inline void require(long result, const std::string& what)
{
    if (result < 0) {
        fail_with_errno(what);
    }
}

} // namespace tresk::standin

#endif
