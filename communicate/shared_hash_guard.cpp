// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/shared_hash_guard.h"

#include "common/report.h"
#include "communicate/kernel_channel.h"

#include <cerrno>

namespace tresk {

Verdict ask_guard(const SharedHashGuard& guard, std::uint32_t type, const char* function,
                  const HashedEntry& entry)
{
    if (type != guard.guarded_type) {
        return Verdict::send;
    }
    const bool exists = guard.exists(entry);
    int count = 0;
    if (guard.count(entry.hash, &count) != 0) {
        const int cause = errno;
        log_error(kCommunicateSource, function, guard.count_failure, entry.hash);
        errno = cause;
        return Verdict::failed;
    }
    return may_send(exists, count) ? Verdict::send : Verdict::keep_quiet;
}

} // namespace tresk
