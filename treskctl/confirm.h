// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_CONFIRM_H
#define TRESK_TRESKCTL_CONFIRM_H

#include "treskctl/run.h"

#include <cstddef>
#include <string>

namespace tresk::ctl {

/// More deletions than these are many.
inline constexpr std::size_t kFewDeletions = 10;

/// Asks on the terminal whether @what is to be done. Without a terminal, and without "yes" as answer, the run
/// fails and nothing is to be done. The settings may have answered before; a dry run asks nothing.
bool confirm(Run& run, const std::string& what);

} // namespace tresk::ctl

#endif
