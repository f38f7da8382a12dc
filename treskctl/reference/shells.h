// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What teaches shells to complete treskctl's command lines: they hand the line to "treskctl complete".
#ifndef TRESK_TRESKCTL_REFERENCE_SHELLS_H
#define TRESK_TRESKCTL_REFERENCE_SHELLS_H

#include <span>
#include <string_view>

namespace tresk::ctl {

struct Shell {
    std::string_view name;
    std::string_view script;
};

std::span<const Shell> shells();

/// What "treskctl complete" says instead of a word, behind a tab, where the shell is to propose names of its
/// file system as well.
inline constexpr std::string_view kWantFiles = "files";
inline constexpr std::string_view kWantDirectories = "directories";

} // namespace tresk::ctl

#endif
