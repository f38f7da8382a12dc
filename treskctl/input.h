// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Files that a command line names, "-" for standard input.
#ifndef TRESK_TRESKCTL_INPUT_H
#define TRESK_TRESKCTL_INPUT_H

#include "common/handles.h"
#include "treskctl/run.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tresk::ctl {

/// The name that means standard input.
inline constexpr const char* kStandardInput = "-";

/// Reads up to @room from @descriptor: the number of bytes, 0 at the end, -1 with errno.
ssize_t read_some(int descriptor, std::span<char> room);

/// All bytes of @file; nothing, and a failure, when it cannot be read.
std::optional<std::string> read_input(Run& run, const std::string& file);

/// The texts of a list: one a line, or with a NUL behind each where the settings say so; blank ones are left
/// out. Nothing, and a failure, when it cannot be read; throws WrongUsage for a NUL within a line.
std::optional<std::vector<std::string>> read_list(Run& run, const std::string& file);

} // namespace tresk::ctl

#endif
