// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/record_array.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace tresk::detail {

namespace {

/// Below this the allocator has the memory at hand, or nearly so.
constexpr std::size_t kWorthAsking = std::size_t{1024} * 1024;

/// The kernel hands out a range of pages for far less than as many faults cost. It may decline: then they
/// come one by one.
void ask_for_pages(void* memory, std::size_t bytes) noexcept
{
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t into_page = reinterpret_cast<std::uintptr_t>(memory) % page;
    const std::size_t before = (page - into_page) % page;
    const int kept = errno;
    (void)::madvise(static_cast<char*>(memory) + before, (bytes - before) / page * page, MADV_POPULATE_WRITE);
    errno = kept;
}

} // namespace

Malloced<void> zeroed_records(std::size_t count, std::size_t bytes_of_one)
{
    Malloced<void> records(count > kMostRecords ? nullptr : std::calloc(count, bytes_of_one));
    if (!records) {
        throw std::bad_alloc();
    }
    if (count * bytes_of_one >= kWorthAsking) {
        ask_for_pages(records.get(), count * bytes_of_one);
    }
    return records;
}

} // namespace tresk::detail
