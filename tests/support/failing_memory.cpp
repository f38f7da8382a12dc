// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/failing_memory.h"

#include "tests/support/framework_double.h"

#include <gtest/gtest.h>
#include <libxml/xmlerror.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ostream>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names are the C library's.
// Its own allocator, under the names by which it lends them to those who stand in for it.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

using tresk::test::RequestObserver;

struct Watch {
    bool active = false;
    bool from_there_on = false;
    long until_refusal = 0;
    long refusals = 0;
    long left = 0;
    RequestObserver* observer = nullptr;
};

// constinit: read by the allocator before any constructor ran.
constinit thread_local Watch watch;
constinit std::atomic<long> blocks = 0;

bool is_main_thread()
{
    constinit static thread_local bool known = false;
    constinit static thread_local bool is_main = false;
    if (!known) {
        is_main = ::gettid() == ::getpid();
        known = true;
    }
    return is_main;
}

/// The blocks that other threads made than the main one; there are few at a time. Each has its place in one
/// of few slots, so that a release by the main thread is no search.
class BlocksOfOthers {
  public:
    void add(void* block)
    {
        for (std::atomic<void*>& slot : places_of(block)) {
            void* none = nullptr;
            if (slot.compare_exchange_strong(none, block)) {
                count_.fetch_add(1);
                return;
            }
        }
        std::abort(); // more than a test can make
    }

    /// Before the block is released: afterwards its address may be another's.
    bool remove(void* block)
    {
        for (std::atomic<void*>& slot : places_of(block)) {
            if (slot.load(std::memory_order_relaxed) == block) {
                slot = nullptr;
                count_.fetch_sub(1);
                return true;
            }
        }
        return false;
    }

    [[nodiscard]] long count() const { return count_; }

  private:
    static constexpr std::size_t kPlaces = 4096;
    static constexpr std::size_t kSlots = 16;
    using Slots = std::array<std::atomic<void*>, kSlots>;

    Slots& places_of(const void* block)
    {
        constexpr std::uintptr_t alignment = 16;
        return places_[reinterpret_cast<std::uintptr_t>(block) / alignment % kPlaces];
    }

    std::array<Slots, kPlaces> places_{};
    std::atomic<long> count_ = 0;
};

constinit BlocksOfOthers others;

/// What an observer itself asks for is neither counted nor refused.
class Unobserved {
  public:
    Unobserved() { watch.active = false; }

    ~Unobserved() { watch.active = true; }

    Unobserved(const Unobserved&) = delete;
    Unobserved& operator=(const Unobserved&) = delete;
};

bool takes_part(const void* caller)
{
    if (watch.observer == nullptr) {
        return true;
    }
    const Unobserved guard;
    return watch.observer->counts(caller);
}

void tell_refusal(const void* caller)
{
    if (watch.observer != nullptr) {
        const Unobserved guard;
        watch.from_there_on = watch.observer->refused(caller) && watch.from_there_on;
    }
}

bool refuse(const void* caller)
{
    if (!watch.active || !takes_part(caller)) {
        return false;
    }
    --watch.until_refusal;
    if (watch.until_refusal == 0 || (watch.until_refusal < 0 && watch.from_there_on)) {
        ++watch.refusals;
        tell_refusal(caller);
        errno = ENOMEM;
        return true;
    }
    return false;
}

void* counted(void* block)
{
    if (block != nullptr) {
        watch.left += watch.active ? 1 : 0;
        blocks.fetch_add(1, std::memory_order_relaxed);
        if (!is_main_thread()) {
            others.add(block);
        }
    }
    return block;
}

} // namespace

extern "C" {

void* malloc(std::size_t size)
{
    return refuse(__builtin_return_address(0)) ? nullptr : counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return refuse(__builtin_return_address(0)) ? nullptr : counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size)
{
    if (refuse(__builtin_return_address(0))) {
        return nullptr;
    }
    if (block == nullptr) {
        return counted(__libc_malloc(size));
    }
    const bool is_others = others.remove(block);
    void* moved = __libc_realloc(block, size);
    if (is_others) {
        others.add(moved == nullptr ? block : moved);
    }
    return moved;
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size)
{
    void* made = refuse(__builtin_return_address(0)) ? nullptr : counted(__libc_memalign(alignment, size));
    if (made == nullptr) {
        return ENOMEM;
    }
    *block = made;
    return 0;
}

void free(void* block)
{
    if (block != nullptr) {
        watch.left -= watch.active ? 1 : 0;
        blocks.fetch_sub(1, std::memory_order_relaxed);
        others.remove(block);
    }
    __libc_free(block);
}

} // extern "C"

namespace tresk::test {

LiveBlocks live_blocks()
{
    const long of_others = others.count();
    return {blocks.load(std::memory_order_relaxed) - of_others, of_others};
}

FailingMemory::FailingMemory(long nth, bool from_there_on, RequestObserver* observer)
{
    watch = {true, from_there_on, nth, 0, 0, observer};
}

FailingMemory::~FailingMemory()
{
    stop();
}

void FailingMemory::stop()
{
    watch.active = false;
}

bool FailingMemory::refused() const
{
    return watch.refusals > 0;
}

long FailingMemory::left() const
{
    return watch.left;
}

std::ostream& operator<<(std::ostream& out, const WatchedCall& watched)
{
    return out << watched.name;
}

long refuse_each(const WatchedCall& watched, bool from_there_on)
{
    ::free(watched.call().given); // what libraries keep for ever is there from now on
    xmlResetLastError();
    long left = 0;
    for (long nth = 1;; ++nth) {
        FailingMemory memory(nth, from_there_on);
        const Outcome outcome = watched.call();
        framework().reset(); // these two let go of what they were told
        xmlResetLastError();
        memory.stop();
        ::free(outcome.given);
        left += memory.left() - (outcome.given == nullptr ? 0 : 1);
        EXPECT_LE(left, watched.may_leave) << "leak at request " << nth;
        if (!memory.refused()) {
            EXPECT_TRUE(outcome.complete);
            return nth - 1;
        }
        EXPECT_TRUE(outcome.failed || outcome.complete) << "neither at request " << nth;
    }
}

} // namespace tresk::test
