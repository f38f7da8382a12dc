// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The fence at the C edge: every exported function runs its body inside at_edge(), so that no C++ exception
// ever reaches a caller. Nothing is constructed outside it.
#ifndef TRESK_COMMON_EDGE_H
#define TRESK_COMMON_EDGE_H

#include <cerrno>
#include <new>

/// Marks an exported function's definition; include/tresk_extend.map lists the same names.
#define TRESK_EXPORT extern "C" __attribute__((visibility("default")))

namespace tresk {

/// Runs @body and returns its result; @failure with errno ENOMEM when memory ran out, with EIO otherwise.
template <class R, class Body>
R at_edge(R failure, Body body) noexcept
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    } catch (...) {
        errno = EIO;
    }
    return failure;
}

} // namespace tresk

#endif
