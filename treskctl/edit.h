// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_EDIT_H
#define TRESK_TRESKCTL_EDIT_H

#include "treskctl/run.h"

#include <string>

namespace tresk::ctl {

/// How one edit of a policy ended, from the library's result and what it printed.
/// @answer: the edit's result; must not be 0
/// @path, @source: what was to be sent
Failure failure_of_edit(Run& run, const Heard<int>& answer, const std::string& path,
                        const std::string& source);

} // namespace tresk::ctl

#endif
