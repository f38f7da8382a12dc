// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the scene library holds, as records in this library's own numbers; and the entry points that do
// nothing in this release.
#include "common/edge.h"
#include "common/framework.h"
#include "common/record_array.h"
#include "devctl/device_types.h"
#include "tresk_extend.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace tresk::devctl {

namespace {

/// What a getter of the scene gave. Without an array there are no records, whatever the count says.
template <class Record>
class SceneRecords {
  public:
    explicit SceneRecords(Record* (*getter)(int* count)) : records_(getter(&count_)) {}

    [[nodiscard]] bool absent() const noexcept { return records_ == nullptr; }

    [[nodiscard]] bool failed() const noexcept { return count_ < 0; }

    [[nodiscard]] std::span<const Record> all() const noexcept
    {
        return {records_.get(), absent() || failed() ? 0 : static_cast<std::size_t>(count_)};
    }

  private:
    int count_ = 0; // before the records, whose getter writes it
    Malloced<Record> records_;
};

using TypeRecords = SceneRecords<type_record>;
using ProductRecords = SceneRecords<pvid_record>;
using Policies = RecordArray<tresk_device_policy>;
using ShortPolicies = RecordArray<tresk_device_policy_short>;

/// Hands @records and their number over to a C caller.
template <class Record>
Record* hand_over(RecordArray<Record>& records, int* count)
{
    *count = static_cast<int>(records.size());
    return records.release();
}

/// The same for the listings that give an array also where it holds nothing.
template <class Record>
Record* hand_over_always(RecordArray<Record>& records, int* count)
{
    Malloced<Record> nothing = records.size() == 0 ? make_record<Record>() : nullptr;
    Record* listed = hand_over(records, count);
    return listed == nullptr ? nothing.release() : listed;
}

void append(Policies& policies, const char* function, const TypeRecords& types)
{
    for (const type_record& type : types.all()) {
        tresk_device_policy& policy = policies.append();
        policy.dtype = library_type(function, {type.device_class, type.subtype});
        policy.dperm = static_cast<std::int32_t>(type.perm);
    }
}

enum class FirstUsbType { left_zero, filled };

void append(Policies& policies, const ProductRecords& products, FirstUsbType first)
{
    for (const pvid_record& product : products.all()) {
        tresk_device_policy& policy = policies.append();
        policy.first_utype = first == FirstUsbType::filled ? product.usb_type : 0;
        policy.dpid = product.product_id;
        policy.dvid = product.vendor_id;
        policy.dperm = static_cast<std::int32_t>(product.perm);
        policy.utype = product.usb_type;
    }
}

tresk_device_policy* list_all(int* count)
{
    if (count == nullptr) {
        return nullptr;
    }
    const TypeRecords types(tresk_scene_get_devctl_all_types);
    if (types.failed()) {
        return nullptr;
    }
    Policies policies;
    append(policies, "tresk_devctl_read_all_dev_data", types);
    const ProductRecords products(tresk_scene_get_devctl_all_pvid);
    if (!products.absent() && products.failed()) {
        return nullptr;
    }
    append(policies, products, FirstUsbType::filled);
    return hand_over_always(policies, count);
}

tresk_device_policy* list_types(int* count)
{
    if (count == nullptr) {
        return nullptr;
    }
    const TypeRecords types(tresk_scene_get_devctl_all_types);
    if (types.all().empty()) {
        return nullptr;
    }
    Policies policies;
    append(policies, "tresk_devctl_read_not_special_data", types);
    return hand_over(policies, count);
}

tresk_device_policy* list_products(int* count)
{
    if (count == nullptr) {
        return nullptr;
    }
    const ProductRecords products(tresk_scene_get_devctl_all_pvid);
    if (products.all().empty()) {
        return nullptr;
    }
    Policies policies;
    append(policies, products, FirstUsbType::left_zero);
    return hand_over(policies, count);
}

tresk_device_policy_short* list_types_short(int* count)
{
    if (count == nullptr) {
        return nullptr;
    }
    const TypeRecords types(tresk_scene_get_devctl_all_types);
    if (types.failed()) {
        return nullptr;
    }
    ShortPolicies policies;
    for (const type_record& type : types.all()) {
        tresk_device_policy_short& policy = policies.append();
        policy.dtype = static_cast<std::uint32_t>(
            library_type("tresk_devctl_sm_get_no_special", {type.device_class, type.subtype}));
        policy.dperm = type.perm;
    }
    return hand_over_always(policies, count);
}

tresk_device_policy_short* list_products_short(int* count)
{
    if (count == nullptr) {
        return nullptr;
    }
    const ProductRecords products(tresk_scene_get_devctl_all_pvid);
    if (products.failed()) {
        return nullptr;
    }
    ShortPolicies policies;
    for (const pvid_record& product : products.all()) {
        tresk_device_policy_short& policy = policies.append();
        policy.dpid = product.product_id;
        policy.dvid = product.vendor_id;
        policy.utype = product.usb_type;
        policy.dperm = product.perm;
    }
    return hand_over(policies, count);
}

tresk_wireless_name* list_networks(int* count)
{
    if (count == nullptr) {
        return nullptr;
    }
    int given = 0;
    const netcard_record* networks = tresk_scene_get_devctl_netcard(&given); // stays the scene library's
    if (networks == nullptr || given < 0) {
        return nullptr;
    }
    RecordArray<tresk_wireless_name> names;
    for (const netcard_record& network : std::span(networks, static_cast<std::size_t>(given))) {
        tresk_wireless_name& entry = names.append();
        std::copy(std::begin(network.name), std::end(network.name) - 1, entry.name); // then comes its NUL
    }
    return hand_over_always(names, count);
}

} // namespace

} // namespace tresk::devctl

using namespace tresk;

TRESK_EXPORT tresk_device_policy* tresk_devctl_read_all_dev_data(int* count)
{
    return at_edge<tresk_device_policy*>(nullptr, [&] { return devctl::list_all(count); });
}

TRESK_EXPORT tresk_device_policy* tresk_devctl_read_not_special_data(int* count)
{
    return at_edge<tresk_device_policy*>(nullptr, [&] { return devctl::list_types(count); });
}

TRESK_EXPORT tresk_device_policy* tresk_devctl_read_special_xmldata(int* count)
{
    return at_edge<tresk_device_policy*>(nullptr, [&] { return devctl::list_products(count); });
}

TRESK_EXPORT tresk_wireless_name* tresk_devctl_read_all_ssid_data(int* count)
{
    return at_edge<tresk_wireless_name*>(nullptr, [&] { return devctl::list_networks(count); });
}

TRESK_EXPORT tresk_device_policy_short* tresk_devctl_sm_get_no_special(int* count)
{
    return at_edge<tresk_device_policy_short*>(nullptr, [&] { return devctl::list_types_short(count); });
}

TRESK_EXPORT tresk_device_policy_short* tresk_devctl_sm_read_special_xmldata(int* count)
{
    return at_edge<tresk_device_policy_short*>(nullptr, [&] { return devctl::list_products_short(count); });
}

TRESK_EXPORT int tresk_devctl_auto_sync_config(void)
{
    return 0;
}

TRESK_EXPORT void* tresk_devctl_read_sys_devinfo(void)
{
    return nullptr;
}

TRESK_EXPORT int tresk_devctl_rebind_usb_device(void)
{
    return 0;
}

TRESK_EXPORT void tresk_devctl_get_sm(void) {}

TRESK_EXPORT void tresk_devctl_sm_clean_all_policies(void) {}

TRESK_EXPORT void tresk_devctl_load_vex_policies(void) {}
