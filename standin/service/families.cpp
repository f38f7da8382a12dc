// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/families.h"

#include <array>

namespace tresk::service {

std::span<const MethodTable> method_tables()
{
    static const std::array tables{
        MethodTable{"xattr", status_methods()},
        MethodTable{"conf", configuration_methods()},
        MethodTable{"module", module_methods()},
        MethodTable{"netflow", netflow_methods()},
        MethodTable{"ppro", ppro_methods()},
        MethodTable{"netctl", netctl_methods()},
        MethodTable{"netctl", netctl_pkg_methods()},
        MethodTable{"pblk", pblk_methods()},
        MethodTable{"bwlist", bwlist_methods()},
        MethodTable{"xattr", file_hash_methods()},
        MethodTable{"xattr", user_check_methods()},
        MethodTable{"xattr", kmod_methods()},
        MethodTable{"devctl", device_record_methods()},
    };
    return tables;
}

} // namespace tresk::service
