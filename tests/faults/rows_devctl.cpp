// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/row.h"
#include "tests/support/held_devices.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

namespace tresk::test {

namespace {

Came all_policies()
{
    int count = kUnwritten;
    const Malloced<tresk_device_policy> records(tresk_devctl_read_all_dev_data(&count));
    const int expected = products_given ? 5 : 3;
    return verdict(records && count == expected, !records && count == kUnwritten);
}

constexpr tresk_device_policy policy(std::int32_t dtype, std::uint32_t id)
{
    tresk_device_policy made = {};
    made.dtype = dtype;
    made.dpid = made.dvid = id;
    return made;
}

const tresk_device_policy kBatch[] = {policy(0, 5), policy(2, 0), policy(0, 7), policy(3, 0)};

const tresk_device_record* seen_device()
{
    static const tresk_device_record record = [] {
        tresk_device_record made = {};
        std::strcpy(made.text_1, "name");
        std::strcpy(made.time, "2024-01-01 00:00:00");
        return made;
    }();
    return &record;
}

Came by_scene(int result, std::size_t calls = 1)
{
    return by_result_and_scene(result, 0, -1, calls);
}

bool is_type(const tresk_device_policy& record)
{
    return record.dtype == 2;
}

bool is_product(const tresk_device_policy& record)
{
    return record.utype == 8;
}

Came nothing(void (*function)())
{
    function();
    return Came::complete;
}

} // namespace

FAULT_ROW(tresk_devctl_add_perm) = {
    .call = [] { return by_scene(tresk_devctl_add_perm(0, 1, 3, 4, 7, "serial", "name", 1)); },
};
FAULT_ROW(tresk_devctl_remove_perm) = {
    .call = [] { return by_scene(tresk_devctl_remove_perm(0, 1, 3, 4, "serial", 1)); },
};
FAULT_ROW(tresk_devctl_update_perm) = {
    .call = [] { return by_scene(tresk_devctl_update_perm(0, 1, 3, 4, "serial", "name", 1), 3); },
};
FAULT_ROW(tresk_devctl_wireless_ctl_add) = {
    .call = [] { return by_scene(tresk_devctl_wireless_ctl_add("network")); },
};
FAULT_ROW(tresk_devctl_wireless_ctl_del) = {
    .call = [] { return by_scene(tresk_devctl_wireless_ctl_del("network")); },
};
FAULT_ROW(tresk_devctl_batch_add_perm) = {
    .call = [] { return by_scene(tresk_devctl_batch_add_perm(kBatch, std::size(kBatch)), 2); },
};
FAULT_ROW(tresk_devctl_sm_add_perm) = {.call = [] { return by_scene(tresk_devctl_sm_add_perm(1, 1, 1)); }};
FAULT_ROW(tresk_devctl_sm_remove_perm) = {
    .call = [] { return by_scene(tresk_devctl_sm_remove_perm(1, 1, 1)); },
};
FAULT_ROW(tresk_devctl_read_all_dev_data) = {.call = all_policies, .prepare = hold_policies};
FAULT_ROW(tresk_devctl_read_not_special_data) = {
    .call = [] { return by_array<int>(tresk_devctl_read_not_special_data, 3, is_type); },
    .prepare = hold_policies,
};
FAULT_ROW(tresk_devctl_read_special_xmldata) = {
    .call = [] { return by_array<int>(tresk_devctl_read_special_xmldata, 2, is_product); },
    .prepare = hold_policies,
};
FAULT_ROW(tresk_devctl_read_all_ssid_data) = {
    .call =
        [] {
            return by_array<int>(tresk_devctl_read_all_ssid_data, 2, [](const tresk_wireless_name& record) {
                return std::string_view(record.name) == "office";
            });
        },
    .prepare = hold_policies,
};
FAULT_ROW(tresk_devctl_sm_get_no_special) = {
    .call =
        [] {
            return by_array<int>(tresk_devctl_sm_get_no_special, 3,
                                 [](const tresk_device_policy_short& record) { return record.dtype == 2; });
        },
    .prepare = hold_policies,
};
FAULT_ROW(tresk_devctl_sm_read_special_xmldata) = {
    .call =
        [] {
            return by_array<int>(tresk_devctl_sm_read_special_xmldata, 2,
                                 [](const tresk_device_policy_short& record) { return record.utype == 8; });
        },
    .prepare = hold_policies,
};
FAULT_ROW(device_record_get) = {
    .call =
        [] {
            return by_array<int>(device_record_get, 3,
                                 [](const tresk_device_record& record) { return record.first == 3; });
        },
    .cold_too = true,
};
FAULT_ROW(tresk_devctl_xdg_insert_record) = {
    .call = [] { return by_edit(tresk_devctl_xdg_insert_record(seen_device(), 1), 0); },
    .methods = {{"tresk_devctl_insert_record"}},
};
FAULT_ROW(tresk_devctl_auto_sync_config) = {
    .call = [] { return by_result(tresk_devctl_auto_sync_config(), 0, 0); },
};
FAULT_ROW(tresk_devctl_read_sys_devinfo) = {
    .call = [] { return verdict(tresk_devctl_read_sys_devinfo() == nullptr, false); },
};
FAULT_ROW(tresk_devctl_rebind_usb_device) = {
    .call = [] { return by_result(tresk_devctl_rebind_usb_device(), 0, 0); },
};
FAULT_ROW(tresk_devctl_get_sm) = {.call = [] { return nothing(tresk_devctl_get_sm); }};
FAULT_ROW(tresk_devctl_sm_clean_all_policies) = {
    .call = [] { return nothing(tresk_devctl_sm_clean_all_policies); },
};
FAULT_ROW(tresk_devctl_load_vex_policies) = {
    .call = [] { return nothing(tresk_devctl_load_vex_policies); },
};

} // namespace tresk::test
