// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_MODULE_STATE_H
#define TRESK_TRESKCTL_MODULE_STATE_H

#include "treskctl/run.h"

#include <vector>

namespace tresk::ctl {

/// The modules that a change of module states names, which is as many as are listed.
inline const std::vector<int> kListedModules = {0, 1, 2, 3, 4};

/// Adds the table "modules": the configured and the real state of each of @numbers.
void add_module_table(Run& run, const std::vector<int>& numbers);

} // namespace tresk::ctl

#endif
