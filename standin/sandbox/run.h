// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One run of the sandbox: namespace, root, background programs, command, and all of it down again.
#ifndef TRESK_STANDIN_SANDBOX_RUN_H
#define TRESK_STANDIN_SANDBOX_RUN_H

#include "standin/sandbox/options.h"
#include "standin/sandbox/process.h"

namespace tresk::standin {

/// Returns the status to exit with. @guard is the parent; when it is gone, the run ends at once.
int run_sandbox(const Options& options, const SignalQueue& signals, pid_t guard);

} // namespace tresk::standin

#endif
