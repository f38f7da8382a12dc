// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/threads/calls.h"

#include <iterator>

namespace tresk::test {

namespace {

std::vector<Call> gather()
{
    std::vector<Call> calls;
    for (const auto table : {switch_calls, label_calls, kernel_calls, ppro_calls, pblk_calls, netctl_calls,
                             package_calls, device_calls, bwlist_calls}) {
        std::vector<Call> rows = table();
        std::move(rows.begin(), rows.end(), std::back_inserter(calls));
    }
    return calls;
}

template <class Wanted>
std::vector<const Call*> calls_that(Wanted wanted)
{
    std::vector<const Call*> found;
    for (const Call& call : all_calls()) {
        if (wanted(call)) {
            found.push_back(&call);
        }
    }
    return found;
}

} // namespace

const std::vector<Call>& all_calls()
{
    static const std::vector<Call> calls = gather();
    return calls;
}

std::vector<const Call*> calls_of(Family family)
{
    return calls_that([family](const Call& call) { return call.family == family; });
}

std::vector<const Call*> calls_of(Cost cost)
{
    return calls_that([cost](const Call& call) { return call.cost == cost; });
}

const char* name_of(Family family)
{
    static constexpr const char* kNames[] = {
        "Switches", "Bus",  "Labels", "Hashes",   "KernelModules", "KernelChannel",
        "Ppro",     "Pblk", "Netctl", "Packages", "Devctl",        "Bwlist",
    };
    static_assert(std::size(kNames) == std::size(kFamilies));
    return kNames[static_cast<std::size_t>(family)];
}

} // namespace tresk::test
