// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the commands about devices have in common.
#ifndef TRESK_TRESKCTL_DEVICE_H
#define TRESK_TRESKCTL_DEVICE_H

#include "treskctl/policy_records.h"

#include <cstdint>

namespace tresk::ctl {

inline constexpr std::uint32_t kLastUsbType = 21;

/// Whether policies for this type of device can be made.
bool has_policy(std::int64_t device_type);

/// What can be said of a device policy that the library refused: nothing but that.
Failure refused_device_policy();

/// What @reader lists: a null pointer is an empty list, for the library does not tell it from a failure.
template <class Reader>
auto device_records(Run& run, Reader reader)
{
    using Record = std::remove_pointer_t<std::invoke_result_t<Reader, int*>>;
    int count = 0;
    Malloced<Record> first(run.ask([&] { return reader(&count); }));
    return Records<Record>{std::move(first), count > 0 ? static_cast<std::size_t>(count) : 0};
}

} // namespace tresk::ctl

#endif
