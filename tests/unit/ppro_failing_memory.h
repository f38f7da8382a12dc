// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Memory that runs out when a test says so: the process's allocator, which counts and can refuse. It stands
// in for the C library's in the whole process, libraries included, so it goes without sanitizers.
#ifndef TRESK_TESTS_UNIT_PPRO_FAILING_MEMORY_H
#define TRESK_TESTS_UNIT_PPRO_FAILING_MEMORY_H

namespace tresk::test {

/// Watches this thread's allocations while it lives.
class FailingMemory {
  public:
    /// Which requests are refused: the @nth from now (counted from 1), and, with @from_there_on, all after
    /// it.
    FailingMemory(long nth, bool from_there_on);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// From here on nothing is refused or counted.
    void stop();
    /// Whether a request was refused.
    [[nodiscard]] bool refused() const;
    /// Blocks allocated and not released while it watched.
    [[nodiscard]] long left() const;
};

} // namespace tresk::test

#endif
