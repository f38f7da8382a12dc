// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/failing_memory.h"

#include "tests/support/framework_double.h"

#include <gtest/gtest.h>
#include <libxml/xmlerror.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <ostream>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names are the C library's.
// Its own allocator, under the names by which it lends them to those who stand in for it.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

struct Watch {
    bool active = false;
    bool from_there_on = false;
    long until_refusal = 0;
    long refusals = 0;
    long left = 0;
};

// constinit: read by the allocator before any constructor ran.
constinit thread_local Watch watch;

bool refuse()
{
    if (!watch.active) {
        return false;
    }
    --watch.until_refusal;
    if (watch.until_refusal == 0 || (watch.until_refusal < 0 && watch.from_there_on)) {
        ++watch.refusals;
        errno = ENOMEM;
        return true;
    }
    return false;
}

void* counted(void* block)
{
    watch.left += watch.active && block != nullptr ? 1 : 0;
    return block;
}

} // namespace

extern "C" {

void* malloc(std::size_t size)
{
    return refuse() ? nullptr : counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return refuse() ? nullptr : counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size)
{
    if (refuse()) {
        return nullptr;
    }
    void* moved = __libc_realloc(block, size);
    return block == nullptr ? counted(moved) : moved;
}

void free(void* block)
{
    watch.left -= watch.active && block != nullptr ? 1 : 0;
    __libc_free(block);
}

} // extern "C"

namespace tresk::test {

FailingMemory::FailingMemory(long nth, bool from_there_on)
{
    watch = {true, from_there_on, nth, 0, 0};
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
