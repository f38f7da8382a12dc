// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/row.h"

namespace tresk::test {

namespace {

constexpr char kFile[] = TRESK_MODULE_FILES "/file-name.ko";

/// By file: -2 where the name could not be read, -3 where the rest failed.
Came by_file(int result)
{
    const bool complete = result == 0 && framework().scene_calls.size() == 1 &&
                          framework().scene_calls[0].argument == "real_name";
    return verdict(complete, result == -2 || result == -3);
}

Came by_name(int result)
{
    return by_result_and_scene(result, 0, -1, 1);
}

} // namespace

FAULT_ROW(get_kmod_name_from_ko) = {
    .call = [] { return by_text(get_kmod_name_from_ko(kFile), "real_name"); },
    .cold_too = true,
};
FAULT_ROW(add_to_kmod_protect) = {.call = [] { return by_file(add_to_kmod_protect(kFile)); }};
FAULT_ROW(add_to_kmod_protect_sm) = {.call = [] { return by_file(add_to_kmod_protect_sm(kFile)); }};
FAULT_ROW(add_to_kmod_protect_zdk) = {.call = [] { return by_file(add_to_kmod_protect_zdk(kFile)); }};
FAULT_ROW(remove_from_kmod_protect) = {.call = [] { return by_file(remove_from_kmod_protect(kFile)); }};
FAULT_ROW(remove_from_kmod_protect_sm) = {.call = [] { return by_file(remove_from_kmod_protect_sm(kFile)); }};
FAULT_ROW(remove_from_kmod_protect_zdk) = {
    .call = [] { return by_file(remove_from_kmod_protect_zdk(kFile)); },
};
FAULT_ROW(add_kmod_to_kmod_protect) = {.call = [] { return by_name(add_kmod_to_kmod_protect("module")); }};
FAULT_ROW(add_kmod_to_kmod_protect_sm) = {
    .call = [] { return by_name(add_kmod_to_kmod_protect_sm("module")); },
};
FAULT_ROW(add_kmod_to_kmod_protect_zdk) = {
    .call = [] { return by_name(add_kmod_to_kmod_protect_zdk("module")); },
};
FAULT_ROW(remove_kmod_from_kmod_protect) = {
    .call = [] { return by_name(remove_kmod_from_kmod_protect("module")); },
};
FAULT_ROW(remove_kmod_from_kmod_protect_sm) = {
    .call = [] { return by_name(remove_kmod_from_kmod_protect_sm("module")); },
};
FAULT_ROW(remove_kmod_from_kmod_protect_zdk) = {
    .call = [] { return by_name(remove_kmod_from_kmod_protect_zdk("module")); },
};
FAULT_ROW(check_kmod_in_sm) = {
    .call = [] { return by_result(check_kmod_in_sm("module"), kAnswer, -1); },
    .methods = {{"tresk_xattr_protect_check_kmod_in_sm"}},
};
FAULT_ROW(tresk_xattr_check_kmod_del_from_kernel) = {
    .call = [] { return by_result(tresk_xattr_check_kmod_del_from_kernel("module", 0, ""), -1000, -1000); },
};

} // namespace tresk::test
