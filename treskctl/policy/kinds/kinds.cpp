// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/kinds/kinds.h"

#include <array>

namespace tresk::ctl {

std::span<const Kind* const> kinds()
{
    static const std::array all = {&ppro_kind(),   &netctl_kind(), &pkg_kind(),     &pblk_kind(),
                                   &bwlist_kind(), &device_kind(), &wireless_kind()};
    return all;
}

} // namespace tresk::ctl
