// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What this process holds at the moment.
#ifndef TRESK_TESTS_THREADS_PROCESS_STATE_H
#define TRESK_TESTS_THREADS_PROCESS_STATE_H

#include <cstddef>

namespace tresk::test {

struct ProcessState {
    std::ptrdiff_t descriptors = 0;
    std::ptrdiff_t threads = 0;
    std::size_t heap = 0;     ///< bytes that were allocated and not released
    std::size_t resident = 0; ///< bytes of memory that the kernel keeps for it
};

/// What it holds at rest: threads that were joined and connections that were let go of leave the listings a
/// moment later, so this looks until nothing has left for a while.
ProcessState state_at_rest();

/// The same, waiting up to five seconds for no more descriptors and threads than @before.
ProcessState state_at_rest(const ProcessState& before);

} // namespace tresk::test

#endif
