// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/ppro_failing_memory.h"

#include <cerrno>
#include <cstddef>
#include <limits>

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

} // namespace tresk::test
