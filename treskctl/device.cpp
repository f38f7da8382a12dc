// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "device": what may be used: policies for types of devices, and for devices by their vendor and product ids.
// The sm side's policies go by the scene library's own numbers.
#include "treskctl/device.h"

#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/json_lines.h"
#include "treskctl/shared_options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <memory>

namespace tresk::ctl {

namespace {

constexpr std::size_t kLongestSerial = 255;

// --- lists ---

struct ListOptions {
    bool types = false;
    bool ids = false;
    bool sm_view = false;
};

/// What both kinds of records say of a policy.
struct PolicyLine {
    std::int32_t dtype;
    std::uint32_t utype;
    std::uint32_t vendor;
    std::uint32_t product;
    std::int64_t perm;
};

PolicyLine line_of(const tresk_device_policy& policy)
{
    return {policy.dtype, policy.utype, policy.dvid, policy.dpid, policy.dperm};
}

PolicyLine line_of(const tresk_device_policy_short& policy)
{
    return {static_cast<std::int32_t>(policy.dtype), policy.utype, policy.dvid, policy.dpid, policy.dperm};
}

/// A policy goes by its type or by its ids; the fields of the other kind hold zeros.
Row row_of(const PolicyLine& policy)
{
    if (policy.dtype == 0) {
        return {
            {}, DeviceId{policy.vendor}, DeviceId{policy.product}, std::int64_t{policy.utype}, policy.perm};
    }
    return {policy.dtype < 0 ? Value() : Value(policy.dtype), {}, {}, {}, policy.perm};
}

template <class Reader>
void add_policies(Run& run, Table& table, Reader reader)
{
    const auto policies = device_records(run, reader);
    for (const auto& policy : policies.all()) {
        table.rows.push_back(row_of(line_of(policy)));
    }
}

void list_short(Run& run, Table& table, const ListOptions& options)
{
    if (!options.ids) {
        add_policies(run, table, tresk_devctl_sm_get_no_special);
    }
    if (!options.types) {
        add_policies(run, table, tresk_devctl_sm_read_special_xmldata);
    }
}

void list_policies(Run& run, const ListOptions& options)
{
    Table& table = run.table("policies", {"type", "vendor", "product", "utype", "perm"});
    if (options.sm_view) {
        list_short(run, table, options);
    } else if (options.types) {
        add_policies(run, table, tresk_devctl_read_not_special_data);
    } else if (options.ids) {
        add_policies(run, table, tresk_devctl_read_special_xmldata);
    } else {
        add_policies(run, table, tresk_devctl_read_all_dev_data);
    }
}

void add_list(CLI::App& device, Run& run)
{
    const auto options = std::make_shared<ListOptions>();
    CLI::App* const command = add_command(device, run, "list", "List the device policies",
                                          [&run, options] { list_policies(run, *options); });
    CLI::Option* const types = command->add_flag("--types", options->types, "Policies by type alone");
    command->add_flag("--ids", options->ids, "Policies by vendor and product id alone")->excludes(types);
    command->add_flag("--sm-view", options->sm_view, "As the sm side's own listings tell them");
}

// --- one policy ---

struct PolicyOptions {
    std::uint32_t type = 0;
    std::uint32_t vendor = 0;
    std::uint32_t product = 0;
    std::uint32_t utype = 0;
    std::optional<std::uint32_t> record_utype;
    std::optional<std::string> serial;
    std::optional<std::string> name;
    /// The scene library's own numbers.
    std::optional<std::uint32_t> sm_class;
    std::optional<std::uint32_t> sm_subtype;
    int perm = 0;
};

const char* text_or_null(const std::optional<std::string>& text)
{
    return text ? text->c_str() : nullptr;
}

/// The library looks for a policy under the type that an addition stores as a number of its own.
int add_policy(const PolicyOptions& options)
{
    return tresk_devctl_add_perm(options.type, options.utype, options.product, options.vendor,
                                 options.record_utype.value_or(options.utype), text_or_null(options.serial),
                                 text_or_null(options.name), options.perm);
}

int remove_policy(const PolicyOptions& options)
{
    return tresk_devctl_remove_perm(options.type, options.utype, options.product, options.vendor,
                                    text_or_null(options.serial), options.perm);
}

int update_policy(const PolicyOptions& options)
{
    return tresk_devctl_update_perm(options.type, options.utype, options.product, options.vendor,
                                    text_or_null(options.serial), text_or_null(options.name), options.perm);
}

void add_name_option(CLI::App& command, PolicyOptions& options)
{
    command.add_option("--name", options.name, "The device's name, for the framework's log alone")
        ->option_text("TEXT");
}

void add_addition_options(CLI::App& command, PolicyOptions& options)
{
    command.add_option("--record-utype", options.record_utype, "USB type to store, where it is not --utype")
        ->option_text("N")
        ->check(CLI::Range(std::uint32_t{0}, kLastUsbType));
    add_name_option(command, options);
}

void add_no_options(CLI::App& /*command*/, PolicyOptions& /*options*/) {}

struct PolicyEdit {
    const char* name;
    const char* help;
    int (*call)(const PolicyOptions& options);
    /// The sm side's call; null where it has none.
    int (*sm_call)(std::uint32_t device_class, std::uint32_t subtype, std::uint32_t perm);
    const char* done;
    void (*add_options)(CLI::App& command, PolicyOptions& options);
    /// The permissions that the library takes; any where there is none.
    std::vector<int> perms;
};

const std::array kEdits = {
    PolicyEdit{
        "add", "Add a policy", add_policy, tresk_devctl_sm_add_perm, "added", add_addition_options, {}},
    PolicyEdit{"remove",
               "Remove a policy",
               remove_policy,
               tresk_devctl_sm_remove_perm,
               "removed",
               add_no_options,
               {}},
    PolicyEdit{"update",
               "Replace a policy's permission",
               update_policy,
               nullptr,
               "updated",
               add_name_option,
               {1, 2, 5}},
};

struct SceneAnswer {
    int code;
    const char* meaning;
};

constexpr std::array kSceneAnswers = {
    SceneAnswer{-100, "the policy is present already"},
    SceneAnswer{-3, "the policy is not present"},
};

Failure failure_of_scene(int code)
{
    const auto* const known = std::ranges::find(kSceneAnswers, code, &SceneAnswer::code);
    return {Cause::Scene,
            known != kSceneAnswers.end()
                ? known->meaning
                : "the framework's scene library failed with code " + std::to_string(code),
            code,
            {}};
}

void edit_sm_policy(Run& run, const PolicyEdit& edit, const PolicyOptions& options)
{
    Table& results = run.table("results", {"result", "sm_class", "sm_subtype", "perm"});
    const auto perm = static_cast<std::uint32_t>(options.perm);
    const int code = run.ask([&] { return edit.sm_call(*options.sm_class, *options.sm_subtype, perm); });
    if (code != 0) {
        run.fail(failure_of_scene(code));
    } else {
        results.rows.push_back(
            {edit.done, std::int64_t{*options.sm_class}, std::int64_t{*options.sm_subtype}, options.perm});
    }
}

void edit_policy(Run& run, const PolicyEdit& edit, const PolicyOptions& options)
{
    Table& results = run.table("results", {"result", "type", "vendor", "product", "perm"});
    if (run.ask([&] { return edit.call(options); }) != 0) {
        run.fail(refused_device_policy());
        return;
    }
    Row row = {edit.done, std::int64_t{options.type}, {}, {}, options.perm};
    if (options.type == 0) {
        row = {edit.done, {}, DeviceId{options.vendor}, DeviceId{options.product}, options.perm};
    }
    results.rows.push_back(std::move(row));
}

void edit_any(Run& run, const PolicyEdit& edit, const PolicyOptions& options)
{
    if (options.sm_class) {
        edit_sm_policy(run, edit, options);
    } else if (options.type != 0 || options.vendor != 0) {
        edit_policy(run, edit, options);
    } else {
        throw CLI::RequiredError("--type or --vendor");
    }
}

std::string number_of_id(const std::string& text)
{
    const auto number = id_of(text);
    if (!number || *number == 0) {
        throw CLI::ValidationError("\"" + text + "\" is no id (1 to 8 hexadecimal digits, not 0)");
    }
    return std::to_string(*number);
}

std::string complaint_about_type(const std::string& text)
{
    const bool known = text.size() <= 2 && text.find_first_not_of("0123456789") == std::string::npos &&
                       !text.empty() && has_policy(std::stoi(text));
    return known ? "" : "there are no policies for a type \"" + text + "\"";
}

CLI::Option* add_id_option(CLI::App& command, const char* name, std::uint32_t& id, const char* help)
{
    return command.add_option(name, id, help)->option_text("HEX")->transform(number_of_id);
}

void add_id_options(CLI::App& command, PolicyOptions& options, CLI::Option* type)
{
    CLI::Option* const vendor = add_id_option(command, "--vendor", options.vendor, "The device's vendor id");
    CLI::Option* const product = add_id_option(command, "--product", options.product, "Its product id");
    vendor->needs(product)->excludes(type);
    product->needs(vendor);
    command.add_option("--utype", options.utype, "Its USB type, 0 to 21; 0")
        ->option_text("N")
        ->check(CLI::Range(std::uint32_t{0}, kLastUsbType));
    command.add_option("--serial", options.serial, "Its serial number")
        ->option_text("TEXT")
        ->check(at_most(kLongestSerial))
        ->needs(vendor);
}

void add_sm_options(CLI::App& command, PolicyOptions& options, CLI::Option* type)
{
    CLI::Option* const device_class =
        command.add_option("--sm-class", options.sm_class, "As the sm side: the scene library's class")
            ->option_text("N");
    CLI::Option* const subtype =
        command.add_option("--sm-subtype", options.sm_subtype, "As the sm side: the type within the class")
            ->option_text("N");
    device_class->needs(subtype)->excludes(type)->excludes(command.get_option("--vendor"));
    subtype->needs(device_class);
}

void add_edit(CLI::App& device, Run& run, const PolicyEdit& edit)
{
    const auto options = std::make_shared<PolicyOptions>();
    CLI::App* const command = add_command(device, run, edit.name, edit.help,
                                          [&run, &edit, options] { edit_any(run, edit, *options); });
    CLI::Option* const type = command->add_option("--type", options->type, "A type of device")
                                  ->option_text("N")
                                  ->check(CLI::Validator(complaint_about_type, ""));
    add_id_options(*command, *options, type);
    if (edit.sm_call != nullptr) {
        add_sm_options(*command, *options, type);
    }
    CLI::Option* const perm =
        command->add_option("--perm", options->perm, "The permission")->required()->option_text("N REQUIRED");
    if (!edit.perms.empty()) {
        perm->check(CLI::IsMember(edit.perms));
    }
    edit.add_options(*command, *options);
}

// --- many policies ---

constexpr std::int64_t kLastNumber = std::numeric_limits<std::int32_t>::max();

bool is_by_type(const tresk_device_policy& policy)
{
    return policy.dtype != 0;
}

/// The library stores no more than the first character of a batch's serial numbers: another device's.
void read_serial(const JsonLine& line, tresk_device_policy& policy)
{
    constexpr std::size_t kRoom = 2;
    if (line.has("serial")) {
        line.text("serial", std::span(policy.serial).first(kRoom));
    }
}

void read_type(const JsonLine& line, tresk_device_policy& policy)
{
    policy.dtype = static_cast<std::int32_t>(line.integer("type", 1, kLastNumber));
    if (!has_policy(policy.dtype)) {
        line.refuse("there are no policies for a type " + std::to_string(policy.dtype));
    }
    if (line.has("vendor") || line.has("product") || line.has("serial")) {
        line.refuse("a policy goes by its type or by its ids");
    }
}

void read_ids(const JsonLine& line, tresk_device_policy& policy)
{
    policy.dvid = line.id("vendor");
    policy.dpid = line.id("product");
    if (policy.dvid == 0 || policy.dpid == 0) {
        line.refuse("an id is 0");
    }
    if (line.has("utype")) {
        policy.utype = static_cast<std::uint32_t>(line.integer("utype", 0, kLastUsbType));
    }
    read_serial(line, policy);
}

tresk_device_policy policy_of(const JsonLine& line)
{
    line.allow({"type", "vendor", "product", "utype", "serial", "perm"});
    tresk_device_policy policy{};
    policy.dperm = static_cast<std::int32_t>(line.integer("perm", 0, kLastNumber));
    if (line.has("type")) {
        read_type(line, policy);
    } else {
        read_ids(line, policy);
    }
    return policy;
}

/// The library adds policies by ids only where the first of all policies is one.
void add_batch(Run& run, const std::string& file)
{
    Table& results = run.table("results", {"result", "policies"});
    const auto lines = read_json_lines(run, file);
    if (!lines) {
        return;
    }
    std::vector<tresk_device_policy> policies;
    std::ranges::transform(*lines, std::back_inserter(policies), policy_of);
    (void)std::stable_partition(policies.begin(), policies.end(),
                                [](const auto& policy) { return !is_by_type(policy); });
    const int count = static_cast<int>(policies.size());
    if (count != 0 && run.ask([&] { return tresk_devctl_batch_add_perm(policies.data(), count); }) != 0) {
        run.fail(refused_device_policy());
    } else {
        results.rows.push_back({"added", count});
    }
}

void add_batch_command(CLI::App& device, Run& run)
{
    const auto file = std::make_shared<std::string>();
    add_lines_option(*add_command(device, run, "batch", "Add many policies in one step",
                                  [&run, file] { add_batch(run, *file); }),
                     *file);
}

} // namespace

bool has_policy(std::int64_t device_type)
{
    struct Range {
        std::int64_t first;
        std::int64_t last;
    };

    constexpr std::array kRanges = {Range{2, 16}, Range{19, 31}, Range{42, 43}};
    return std::ranges::any_of(
        kRanges, [&](const Range& range) { return device_type >= range.first && device_type <= range.last; });
}

Failure refused_device_policy()
{
    return {Cause::NoAnswer, "the library refused; the framework's log has the reason", -1, {}};
}

void add_device_commands(CLI::App& app, Run& run)
{
    CLI::App* const device = add_group(app, "device", "Device control");
    add_list(*device, run);
    for (const PolicyEdit& edit : kEdits) {
        add_edit(*device, run, edit);
    }
    add_batch_command(*device, run);
    add_device_history(*device, run);
}

} // namespace tresk::ctl
