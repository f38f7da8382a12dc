// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/framework_state.h"

#include "common/framework.h"
#include "common/handles.h"

#include <algorithm>
#include <array>

namespace tresk::ctl {

namespace {

/// Number 7 is no function.
constexpr std::array kSwitches = {
    Switch{"framework", kWholeFramework, "all of it"},
    Switch{"exectl", 0, "execution control"},
    Switch{"netctl", 1, "network control"},
    Switch{"fpro", 2, "file protection"},
    Switch{"kmodpro", 3, "kernel module protection"},
    Switch{"3adm", 4, "administrators' roles"},
    Switch{"ppro", 5, "process protection"},
    Switch{"devctl", 6, "device control"},
    Switch{"tpm", 8, "trusted platform module"},
    Switch{"sm", 9, "the \"sm\" side"},
    Switch{"pblk", 10, "process blocking"},
};

} // namespace

std::span<const Switch> switches()
{
    return kSwitches;
}

const Switch* find_switch(std::string_view word)
{
    const auto* const found = std::ranges::find_if(kSwitches, [word](const Switch& one) {
        return word == one.name || (one.index >= 0 && word == std::to_string(one.index));
    });
    return found == kSwitches.end() ? nullptr : found;
}

bool is_on(const Switch& one)
{
    return one.index == kWholeFramework ? tresk_is_disabled() == 0 : tresk_get_func_status(one.index) != 0;
}

std::string framework_version(int kind)
{
    char* version = nullptr;
    (void)tresk_version_get(kind, &version);
    const Malloced<char> owner(version);
    return owner ? owner.get() : "";
}

} // namespace tresk::ctl
