// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/row.h"

namespace tresk::test {

namespace {

/// Of the white list of tests/faults/policies.cpp, where an entity spells a part of it.
constexpr char kWhite[] = "a package of the white list";

} // namespace

FAULT_ROW(tresk_bwlist_add_zdk) = {
    .call = [] { return by_answer_or_code(tresk_bwlist_add_zdk("white", "package", 1, "name")); },
    .methods = {{"tresk_bwlist_add_zdk"}},
};
FAULT_ROW(tresk_bwlist_del_zdk) = {
    .call = [] { return by_answer_or_code(tresk_bwlist_del_zdk("white", "package", 1, "name")); },
    .methods = {{"tresk_bwlist_del_zdk"}},
};
FAULT_ROW(tresk_bwlist_get_root_distinguish_zdk) = {
    .call = [] { return by_answer_or_code(tresk_bwlist_get_root_distinguish_zdk(1, "name")); },
    .methods = {{"tresk_bwlist_get_root_distinguish_zdk"}},
};
FAULT_ROW(tresk_bwlist_set_root_distinguish_zdk) = {
    .call = [] { return by_answer_or_code(tresk_bwlist_set_root_distinguish_zdk(1, 1, "name")); },
    .methods = {{"tresk_bwlist_set_root_distinguish_zdk"}},
};
FAULT_ROW(tresk_bwlist_clear_policy_zdk) = {
    .call = [] { return by_answer_or_code(tresk_bwlist_clear_policy_zdk(1, "name")); },
    .methods = {{"tresk_bwlist_clear_policy_zdk"}},
};
FAULT_ROW(tresk_bwlist_select_by_rpm_name_zdk) = {
    .call = [] { return by_result(tresk_bwlist_select_by_rpm_name_zdk("bwlist", kWhite, 3, "s"), 2, -1); },
    .cold_too = true,
};
FAULT_ROW(_bwlist_unite_select_by_rpm_name) = {
    .call = [] { return by_result(_bwlist_unite_select_by_rpm_name("white", kWhite), 1, 0); },
};
FAULT_ROW(_bwlist_independence_select_by_rpm_name) = {
    .call = [] { return by_result(_bwlist_independence_select_by_rpm_name("white", kWhite, 1, "s"), 1, 0); },
};

} // namespace tresk::test
