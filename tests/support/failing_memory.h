// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Memory that runs out when a test says so: the process's allocator, which counts and can refuse. It stands
// in for the C library's in the whole process, libraries included, so it goes without sanitizers.
#ifndef TRESK_TESTS_SUPPORT_FAILING_MEMORY_H
#define TRESK_TESTS_SUPPORT_FAILING_MEMORY_H

#include <iosfwd>

namespace tresk::test {

/// Looks at requests for memory while they are made. What it asks for itself is not watched.
class RequestObserver {
  public:
    RequestObserver() = default;
    virtual ~RequestObserver() = default;
    RequestObserver(const RequestObserver&) = delete;
    RequestObserver& operator=(const RequestObserver&) = delete;

    /// Whether a request counts that the code at @caller makes; one that does not is granted.
    virtual bool counts(const void* caller) = 0;
    /// A request was refused to the code at @caller. False: no later one is, whatever was wanted.
    virtual bool refused(const void* caller) = 0;
};

/// Blocks of the whole process at this moment.
struct LiveBlocks {
    long main = 0;   ///< made by the main thread, whoever releases them
    long others = 0; ///< made by the other threads
};

LiveBlocks live_blocks();

/// Watches this thread's allocations while it lives.
class FailingMemory {
  public:
    /// Which requests are refused: the @nth from now (counted from 1), and, with @from_there_on, all after
    /// it. Only what @observer counts is counted, where there is one.
    FailingMemory(long nth, bool from_there_on, RequestObserver* observer = nullptr);
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

/// What came of one call: whether it failed with its outputs untouched, did all of its work, or neither; and
/// the block that it gave to its caller.
struct Outcome {
    bool failed = false;
    bool complete = false;
    void* given = nullptr;
};

/// libxml2's decompressing file reader leaves its two buffers behind where zlib's state finds no memory, and
/// a policy that is no ordinary one is read twice.
inline constexpr long kLeftByParser = 4;

/// A function whose requests for memory are refused one after the other.
struct WatchedCall {
    const char* name;
    Outcome (*call)();
    long may_leave = kLeftByParser; ///< blocks, over all refusals
};

std::ostream& operator<<(std::ostream& out, const WatchedCall& watched);

/// Calls with ever later requests refused until none is, and expects each call to fail or to do all of its
/// work and to leave nothing behind. Answers how many calls met a refusal.
long refuse_each(const WatchedCall& watched, bool from_there_on);

} // namespace tresk::test

#endif
