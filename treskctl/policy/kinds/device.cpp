// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Device control: a policy is named by its type of device, or by vendor, product and USB type. The scene
// library keeps the policies, so no root directory has any. Serial numbers are written and never told: a
// policy that has one is listed as if it had none.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/kinds/kinds.h"

#include <algorithm>
#include <array>
#include <span>

namespace tresk::ctl {

namespace {

Entry entry_of(const tresk_device_policy& policy)
{
    const bool by_type = policy.dtype != 0;
    return {{by_type ? Value(std::int64_t{policy.dtype}) : Value(),
             by_type ? Value() : Value(id_text(policy.dvid)), by_type ? Value() : Value(id_text(policy.dpid)),
             std::int64_t{policy.utype}, Value(), std::int64_t{policy.dperm}},
            {},
            {}};
}

Reading read(const std::string& root)
{
    Reading reading;
    int count = 0;
    const Malloced<tresk_device_policy> policies(root.empty() ? tresk_devctl_read_all_dev_data(&count)
                                                              : nullptr);
    for (const tresk_device_policy& policy :
         std::span(policies.get(), policies ? static_cast<std::size_t>(count) : 0)) {
        if (policy.dtype < 0) {
            reading.problems.push_back({{}, "a device policy of a type that has no number"});
        } else {
            reading.entries.push_back(entry_of(policy));
        }
    }
    return reading;
}

void normalise(Entry& entry, const Reading& /*machine*/)
{
    const Kind& kind = device_kind();
    Value& serial = entry.values[index_of(kind, "serial")];
    if (serial == Value("")) {
        serial = Value();
    }
    const bool typed = !std::holds_alternative<std::monostate>(entry.values[index_of(kind, "type")]);
    const bool with_vendor = !text_at(kind, entry, "vendor").empty();
    const bool with_product = !text_at(kind, entry, "product").empty();
    if (typed == with_vendor || with_vendor != with_product) {
        throw WrongUsage("a device policy goes by --type, or by --vendor and --product");
    }
    if (typed && !has_device_policies(number_at(kind, entry, "type"))) {
        throw WrongUsage("there are no policies for a type " +
                         std::to_string(number_at(kind, entry, "type")));
    }
}

std::vector<LibraryCall> calls(Operation operation, const Entry& wanted)
{
    const Kind& kind = device_kind();
    const auto type = static_cast<std::uint32_t>(number_at(kind, wanted, "type"));
    const auto usb_type = static_cast<std::uint32_t>(number_at(kind, wanted, "usb_type"));
    const std::uint32_t vendor = id_in(text_at(kind, wanted, "vendor"));
    const std::uint32_t product = id_in(text_at(kind, wanted, "product"));
    const std::string& serial = text_at(kind, wanted, "serial");
    const int perm = static_cast<int>(number_at(kind, wanted, "perm"));
    const std::string no_name;
    switch (operation) {
    case Operation::Add:
        return {TRESKCTL_CALL(tresk_devctl_add_perm, type, usb_type, product, vendor, usb_type, serial,
                              no_name, perm)};
    case Operation::Update:
        return {
            TRESKCTL_CALL(tresk_devctl_update_perm, type, usb_type, product, vendor, serial, no_name, perm)};
    default:
        return {TRESKCTL_CALL(tresk_devctl_remove_perm, type, usb_type, product, vendor, serial, perm)};
    }
}

} // namespace

const Kind& device_kind()
{
    static const Kind kind = {
        .name = "device",
        .title = "device control",
        .fields =
            {
                {.name = "type",
                 .role = Role::Key,
                 .type = FieldType::Unsigned,
                 .option = "--type",
                 .help = "A type of device, a number of the framework",
                 .standard = Value()},
                {.name = "vendor",
                 .role = Role::Key,
                 .type = FieldType::Hexadecimal,
                 .option = "--vendor",
                 .help = "Vendor id, in hexadecimal",
                 .standard = Value()},
                {.name = "product",
                 .role = Role::Key,
                 .type = FieldType::Hexadecimal,
                 .option = "--product",
                 .help = "Product id, in hexadecimal",
                 .standard = Value()},
                {.name = "usb_type",
                 .role = Role::Key,
                 .type = FieldType::Unsigned,
                 .option = "--usb-type",
                 .help = "USB type of a policy by ids, a number of the framework; 0 if not said",
                 .standard = Value(std::int64_t{0})},
                {.name = "serial",
                 .role = Role::Key,
                 .type = FieldType::Text,
                 .option = "--serial",
                 .help = "Serial number of a policy by ids, which listings do not tell",
                 .standard = Value(),
                 .longest = 255,
                 .untold = true},
                {.name = "perm",
                 .role = Role::Setting,
                 .type = FieldType::Number,
                 .option = "--perm",
                 .help = "Permission, a number of the framework; an update takes 1, 2 and 5"},
            },
        .file = "",
        .read = read,
        .stream = nullptr,
        .normalise = normalise,
        .calls = calls,
        .added = "added",
        .updated = "updated",
        .removed = "removed",
    };
    return kind;
}

bool has_device_policies(std::int64_t device_type)
{
    struct Range {
        std::int64_t first;
        std::int64_t last;
    };

    constexpr std::array ranges = {Range{2, 16}, Range{19, 31}, Range{42, 43}};
    return std::ranges::any_of(
        ranges, [&](const Range& range) { return device_type >= range.first && device_type <= range.last; });
}

} // namespace tresk::ctl
