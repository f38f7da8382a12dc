// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/memory_watch.h"

#include <algorithm>

namespace tresk::test {

bool Refusals::has(std::string_view site) const noexcept
{
    return std::any_of(names.begin(), names.begin() + sites,
                       [site](const auto& name) { return std::string_view(name.data()) == site; });
}

void Refusals::add(std::string_view site) noexcept
{
    if (static_cast<std::size_t>(sites) < names.size() && !has(site)) {
        site.copy(names[static_cast<std::size_t>(sites++)].data(), kNameBytes - 1);
    }
}

} // namespace tresk::test
