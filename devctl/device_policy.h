// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a device policy applies to, decided by its numbers alone.
#ifndef TRESK_DEVCTL_DEVICE_POLICY_H
#define TRESK_DEVCTL_DEVICE_POLICY_H

#include "common/report.h"

#include <cstdint>

namespace tresk::devctl {

/// Source module of the family's diagnostics.
inline constexpr char kSource[] = "tresk_devctl";

inline constexpr int kFailed = -1;

enum class PolicyKind {
    type,    ///< all devices of a type
    product, ///< the devices with a product and a vendor id
    invalid,
};

constexpr PolicyKind kind_of(std::int64_t dtype, std::uint32_t dpid, std::uint32_t dvid) noexcept
{
    if (dtype > 0 && dpid == 0 && dvid == 0) {
        return PolicyKind::type;
    }
    return dtype < 1 && dpid != 0 && dvid != 0 ? PolicyKind::product : PolicyKind::invalid;
}

} // namespace tresk::devctl

#endif
