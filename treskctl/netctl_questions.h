// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_NETCTL_QUESTIONS_H
#define TRESK_TRESKCTL_NETCTL_QUESTIONS_H

#include "treskctl/run.h"

namespace tresk::ctl {

/// Has the library read whether rules are kept per user, by which its path hash goes; a policy without that
/// setting, or none, is none of several users. False, and a failure, where the policy cannot be read.
bool learn_distinction(Run& run);

} // namespace tresk::ctl

#endif
