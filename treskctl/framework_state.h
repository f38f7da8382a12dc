// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The states of the framework's switches. The library sets them and has no word for asking, but the
// framework's own libraries, which it stands on, tell them in this process.
#ifndef TRESK_TRESKCTL_FRAMEWORK_STATE_H
#define TRESK_TRESKCTL_FRAMEWORK_STATE_H

#include <span>
#include <string>
#include <string_view>

namespace tresk::ctl {

/// One switch: the framework as a whole, or one of its protection functions.
struct Switch {
    std::string_view name;
    /// The function's number; negative: the framework's own.
    int index;
    std::string_view about;
};

inline constexpr int kWholeFramework = -1;

std::span<const Switch> switches();

/// By name or number; null where there is none.
const Switch* find_switch(std::string_view word);

bool is_on(const Switch& one);

/// The framework's version of a kind, as the kernel module has it; empty: unknown.
std::string framework_version(int kind);

} // namespace tresk::ctl

#endif
