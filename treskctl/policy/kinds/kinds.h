// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_POLICY_KINDS_KINDS_H
#define TRESK_TRESKCTL_POLICY_KINDS_KINDS_H

#include "treskctl/policy/kind.h"

#include <cstdint>

namespace tresk::ctl {

const Kind& ppro_kind();
const Kind& netctl_kind();
const Kind& pkg_kind();
const Kind& pblk_kind();
const Kind& bwlist_kind();
const Kind& device_kind();
const Kind& wireless_kind();

/// Whether policies for this type of device can be made.
bool has_device_policies(std::int64_t device_type);

} // namespace tresk::ctl

#endif
