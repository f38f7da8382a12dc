// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A message that makes the kernel forget a hash must not be sent while another policy entry needs the hash.
// Each family has one such message type; the guard looks the entry up, counts the entries with its hash, and
// decides by both.
#ifndef TRESK_COMMUNICATE_SHARED_HASH_GUARD_H
#define TRESK_COMMUNICATE_SHARED_HASH_GUARD_H

#include "common/handles.h"

#include <cstdint>
#include <type_traits>

namespace tresk {

enum class Verdict { send, keep_quiet, failed };

/// An entry's hash, and who asks for it.
struct HashedEntry {
    const char* hash;
    int mode;
    const char* data_source;
};

/// What the families' guards differ in.
struct SharedHashGuard {
    std::uint32_t guarded_type;
    bool (*exists)(const HashedEntry& entry);
    /// Adds to the counter and returns 0; other results are failures.
    int (*count)(const char* hash, int* count);
    /// Log format; gets the hash, which it may leave unused.
    const char* count_failure;
};

/// SharedHashGuard::exists over a family's reader: of the record it matters only whether there is one.
template <auto ReadNode>
bool entry_exists(const HashedEntry& entry)
{
    auto* const record = ReadNode(entry.hash, entry.mode, entry.data_source);
    return Malloced<std::remove_pointer_t<decltype(record)>>(record) != nullptr;
}

/// An entry alone with its hash, or a hash that no entry has any more.
constexpr bool may_send(bool entry_exists, int count) noexcept
{
    return count == (entry_exists ? 1 : 0);
}

/// Asks the guard about a message of @type on behalf of @function, under whose name a failed count is logged.
/// Types that it does not guard are sent.
Verdict ask_guard(const SharedHashGuard& guard, std::uint32_t type, const char* function,
                  const HashedEntry& entry);

} // namespace tresk

#endif
