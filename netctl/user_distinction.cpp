// SPDX-License-Identifier: LGPL-2.1-or-later
#include "netctl/user_distinction.h"

#include "common/edge.h"
#include "common/text.h"
#include "netctl/netctl_policy.h"
#include "tresk_extend.h"

#include <optional>

__attribute__((visibility("default"))) std::int32_t user_distinguish = 0;

namespace tresk::netctl {

namespace {

int read_user_distinction()
{
    std::optional<std::int32_t> setting;
    const PolicyWalk take_setting{[&](const PolicyNode& root) {
                                      const NodeText text = root.first_attribute(kUserDistinction);
                                      setting = text ? std::optional(to_int32(*text)) : std::nullopt;
                                  },
                                  nullptr, [](const PolicyNode& /*node*/) { return Walk::stop; }};
    if (!read_policy(kFormat, kPrograms.file, "tresk_netctl_get_user_distinguish", take_setting) ||
        !setting) {
        return -1;
    }
    const int distinguished = *setting == 0 ? 0 : 1;
    __atomic_store_n(&user_distinguish, distinguished, __ATOMIC_RELAXED);
    return distinguished;
}

} // namespace

std::int32_t user_distinction() noexcept
{
    return __atomic_load_n(&user_distinguish, __ATOMIC_RELAXED);
}

} // namespace tresk::netctl

using namespace tresk;

TRESK_EXPORT int tresk_netctl_get_user_distinguish(void)
{
    return at_edge(-1, [] { return netctl::read_user_distinction(); });
}
