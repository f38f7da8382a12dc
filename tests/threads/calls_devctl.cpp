// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Device control. What is present already, or gone already, is a failure (-1) for these edits.
#include "tests/threads/call_parts.h"

#include <ctime>

namespace tresk::test {

namespace {

constexpr int kPermissions[] = {1, 2, 5};
constexpr char kSeen[] = "device";

int permission(Random& random)
{
    return one_of<int>(random, kPermissions);
}

bool is_permission(std::int64_t number)
{
    return std::find(std::begin(kPermissions), std::end(kPermissions), number) != std::end(kPermissions);
}

/// Types of devices that come and go; kKeptDeviceType is kept.
std::uint32_t type(Random& random)
{
    return static_cast<std::uint32_t>(between(random, 2, 4));
}

std::uint32_t product(Random& random)
{
    return static_cast<std::uint32_t>(between(random, 1, 3));
}

template <class Record>
bool fits(const Record& record)
{
    return is_permission(record.dperm);
}

bool is_kept_type(const tresk_device_policy& record)
{
    return record.dtype == static_cast<std::int32_t>(kKeptDeviceType);
}

bool is_kept_short_type(const tresk_device_policy_short& record)
{
    return record.dtype == kKeptDeviceType;
}

template <class Record>
bool is_kept_product(const Record& record)
{
    return record.dpid == kKeptProduct && record.dvid == kKeptVendor;
}

template <class Record, class Reader>
std::string whole_list(Reader read, bool (*is_kept)(const Record& record))
{
    int count = 0;
    Record* records = read(&count);
    return listed(records, count, fits<Record>, is_kept);
}

std::string networks(Random&)
{
    int count = 0;
    tresk_wireless_name* names = tresk_devctl_read_all_ssid_data(&count);
    return listed(
        names, count,
        [](const tresk_wireless_name& one) {
            return std::any_of(std::begin(kNetworks), std::end(kNetworks),
                               [&one](const char* known) { return std::strcmp(known, one.name) == 0; });
        },
        [](const tresk_wireless_name& one) { return std::strcmp(one.name, kNetworks[0]) == 0; });
}

const char* passing_network(Random& random)
{
    return one_of<const char*>(random, std::span(kNetworks).subspan(1));
}

std::string batch(Random& random)
{
    const auto policies = zeroed<tresk_device_policy>(2);
    policies.get()[0].dpid = product(random);
    policies.get()[0].dvid = 1;
    policies.get()[0].dperm = permission(random);
    policies.get()[1].dtype = static_cast<std::int32_t>(type(random));
    policies.get()[1].dperm = permission(random);
    return shown(tresk_devctl_batch_add_perm(policies.get(), 2));
}

bool is_seen_device(const tresk_device_record& record)
{
    return std::strcmp(record.text_1, kSeen) == 0 && record.third == 0xab && record.time[18] != '\0';
}

std::string devices_seen(Random&)
{
    int count = 0;
    tresk_device_record* records = device_record_get(&count);
    return listed(records, count, is_seen_device, is_seen_device);
}

std::string nothing_done(void (*do_nothing)())
{
    do_nothing();
    return "done";
}

} // namespace

int insert_seen_device()
{
    const auto record = zeroed<tresk_device_record>();
    const std::time_t seen = std::time(nullptr) - 60;
    std::tm local{};
    ::localtime_r(&seen, &local);
    std::strftime(record->time, sizeof record->time, "%F %T", &local);
    std::strcpy(record->text_1, kSeen);
    record->third = 0xab;
    return tresk_devctl_xdg_insert_record(record.get(), 1);
}

std::vector<Call> device_calls()
{
    constexpr Family devctl = Family::devctl;
    return {
        {"tresk_devctl_add_perm",
         devctl,
         Cost::scene,
         [](Random& random) {
             return shown(
                 tresk_devctl_add_perm(type(random), 0, 0, 0, 0, nullptr, nullptr, permission(random)));
         },
         {"0", "-1"}},
        {"tresk_devctl_remove_perm",
         devctl,
         Cost::scene,
         [](Random& random) {
             return shown(tresk_devctl_remove_perm(type(random), 0, 0, 0, nullptr, permission(random)));
         },
         {"0", "-1"}},
        {"tresk_devctl_update_perm",
         devctl,
         Cost::scene,
         [](Random& random) {
             return shown(
                 tresk_devctl_update_perm(0, 0, product(random), 1, nullptr, nullptr, permission(random)));
         },
         {"0"}},
        {"tresk_devctl_wireless_ctl_add",
         devctl,
         Cost::scene,
         [](Random& random) { return shown(tresk_devctl_wireless_ctl_add(passing_network(random))); },
         {"0", "-1"}},
        {"tresk_devctl_wireless_ctl_del",
         devctl,
         Cost::scene,
         [](Random& random) { return shown(tresk_devctl_wireless_ctl_del(passing_network(random))); },
         {"0", "-1"}},
        {"tresk_devctl_batch_add_perm", devctl, Cost::scene, batch, {"0", "-1"}},
        {"tresk_devctl_sm_add_perm",
         devctl,
         Cost::scene,
         [](Random&) { return shown(tresk_devctl_sm_add_perm(1, 1, 1)); },
         {"0", "-100"}},
        {"tresk_devctl_sm_remove_perm",
         devctl,
         Cost::scene,
         [](Random&) { return shown(tresk_devctl_sm_remove_perm(1, 1, 1)); },
         {"0", "-3"}},
        {"tresk_devctl_read_all_dev_data",
         devctl,
         Cost::scene,
         [](Random&) {
             return whole_list<tresk_device_policy>(tresk_devctl_read_all_dev_data, is_kept_product);
         },
         {"whole"}},
        {"tresk_devctl_read_not_special_data",
         devctl,
         Cost::scene,
         [](Random&) {
             return whole_list<tresk_device_policy>(tresk_devctl_read_not_special_data, is_kept_type);
         },
         {"whole"}},
        {"tresk_devctl_read_special_xmldata",
         devctl,
         Cost::scene,
         [](Random&) {
             return whole_list<tresk_device_policy>(tresk_devctl_read_special_xmldata, is_kept_product);
         },
         {"whole"}},
        {"tresk_devctl_read_all_ssid_data", devctl, Cost::scene, networks, {"whole"}},
        {"tresk_devctl_sm_get_no_special",
         devctl,
         Cost::scene,
         [](Random&) {
             return whole_list<tresk_device_policy_short>(tresk_devctl_sm_get_no_special, is_kept_short_type);
         },
         {"whole"}},
        {"tresk_devctl_sm_read_special_xmldata",
         devctl,
         Cost::scene,
         [](Random&) {
             return whole_list<tresk_device_policy_short>(tresk_devctl_sm_read_special_xmldata,
                                                          is_kept_product);
         },
         {"whole"}},
        // A database that is just being written is locked, and its reader does not wait.
        {"device_record_get", devctl, Cost::reader, devices_seen, {"whole", "none"}},
        {"tresk_devctl_xdg_insert_record",
         devctl,
         Cost::bus,
         [](Random&) { return shown(insert_seen_device()); },
         {"0"}},
        {"tresk_devctl_auto_sync_config",
         devctl,
         Cost::plain,
         [](Random&) { return shown(tresk_devctl_auto_sync_config()); },
         {"0"}},
        {"tresk_devctl_read_sys_devinfo",
         devctl,
         Cost::plain,
         [](Random&) { return right(tresk_devctl_read_sys_devinfo() == nullptr); },
         {"right"}},
        {"tresk_devctl_rebind_usb_device",
         devctl,
         Cost::plain,
         [](Random&) { return shown(tresk_devctl_rebind_usb_device()); },
         {"0"}},
        {"tresk_devctl_get_sm",
         devctl,
         Cost::plain,
         [](Random&) { return nothing_done(tresk_devctl_get_sm); },
         {"done"}},
        {"tresk_devctl_sm_clean_all_policies",
         devctl,
         Cost::plain,
         [](Random&) { return nothing_done(tresk_devctl_sm_clean_all_policies); },
         {"done"}},
        {"tresk_devctl_load_vex_policies",
         devctl,
         Cost::plain,
         [](Random&) { return nothing_done(tresk_devctl_load_vex_policies); },
         {"done"}},
    };
}

} // namespace tresk::test
