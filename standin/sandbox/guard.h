// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Two processes make a sandbox: the guard, which the user started, and the one that runs everything.
// Whichever is killed, the other one sees to it that nothing stays behind.
#ifndef TRESK_STANDIN_SANDBOX_GUARD_H
#define TRESK_STANDIN_SANDBOX_GUARD_H

#include "standin/sandbox/options.h"

namespace tresk::standin {

/// Runs the sandbox in a child process, and returns the status to exit with.
int run_guarded(const Options& options);

} // namespace tresk::standin

#endif
