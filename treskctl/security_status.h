// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_SECURITY_STATUS_H
#define TRESK_TRESKCTL_SECURITY_STATUS_H

#include "treskctl/run.h"

namespace tresk::ctl {

/// Numbers of the service; nothing where they could not be asked for.
struct SecurityStatus {
    Value current;
    Value configured;
    /// The state of the defender's module.
    Value module;
};

/// The current status is 0 also when only its own call failed: the library tells no difference.
SecurityStatus ask_security_status(Run& run);

} // namespace tresk::ctl

#endif
