// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "device" beside the verbs of its entries: many policies in one step, and the "sm" side's edits in the scene
// library's own numbers.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/json_lines.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/object_commands.h"
#include "treskctl/simple_change.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <span>

namespace tresk::ctl {

namespace {

constexpr std::int64_t kLastUsbType = 21;

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
    if (!has_device_policies(policy.dtype)) {
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

/// The policy as the machine's listing has it.
Entry entry_of(const tresk_device_policy& policy)
{
    const bool by_type = is_by_type(policy);
    return {{by_type ? Value(std::int64_t{policy.dtype}) : Value(),
             by_type ? Value() : Value(id_text(policy.dvid)), by_type ? Value() : Value(id_text(policy.dpid)),
             std::int64_t{policy.utype},
             policy.serial[0] == '\0' ? Value() : Value(std::string(policy.serial)),
             std::int64_t{policy.dperm}},
            {},
            {}};
}

/// Takes those away that are there already: a batch of nothing else fails.
void leave_present(Run& run, std::vector<tresk_device_policy>& policies)
{
    const Kind& kind = device_kind();
    const auto machine = read_machine(run, kind);
    const EntryIndex index(kind, machine ? machine->entries : std::span<const Entry>());
    std::erase_if(policies, [&](const tresk_device_policy& policy) {
        const Entry wanted = entry_of(policy);
        const Entry* const present = index.find(wanted);
        return present != nullptr && same_settings(kind, wanted, *present);
    });
}

/// The library adds policies by ids only where the first of all policies is one.
void add_batch(Run& run, const std::string& file)
{
    SimpleChanges results(run, {"result", "policies"});
    const auto lines = read_json_lines(run, file);
    if (!lines) {
        return;
    }
    std::vector<tresk_device_policy> policies;
    std::ranges::transform(*lines, std::back_inserter(policies), policy_of);
    leave_present(run, policies);
    (void)std::stable_partition(policies.begin(), policies.end(),
                                [](const auto& policy) { return !is_by_type(policy); });
    const int count = static_cast<int>(policies.size());
    const LibraryCall call = {"tresk_devctl_batch_add_perm({" + std::to_string(count) + " policies}, " +
                                  std::to_string(count) + ")",
                              [&] { return tresk_devctl_batch_add_perm(policies.data(), count); }};
    results.make({"added", count}, call, count == 0);
}

struct SmPolicy {
    std::uint32_t device_class = 0;
    std::uint32_t subtype = 0;
    std::uint32_t perm = 0;
};

/// An edit of the "sm" side's.
struct SmEdit {
    const char* name;
    const char* help;
    const char* function;
    int (*call)(std::uint32_t device_class, std::uint32_t subtype, std::uint32_t perm);
    const char* done;
    /// What the scene library answers where things are so already.
    int settled;
};

constexpr std::array kSmEdits = {
    SmEdit{"add", "Add a policy by class, as the \"sm\" side", "tresk_devctl_sm_add_perm",
           tresk_devctl_sm_add_perm, "added", -100},
    SmEdit{"remove", "Remove a policy by class, as the \"sm\" side", "tresk_devctl_sm_remove_perm",
           tresk_devctl_sm_remove_perm, "removed", -3},
};

void edit_sm(Run& run, const SmEdit& edit, const SmPolicy& policy)
{
    SimpleChanges results(run, {"result", "class", "subtype", "perm"});
    const Row row = {edit.done, std::int64_t{policy.device_class}, std::int64_t{policy.subtype},
                     std::int64_t{policy.perm}};
    const LibraryCall call =
        call_of(edit.function, edit.call, policy.device_class, policy.subtype, policy.perm);
    if (results.is_only_shown(row, call)) {
        return;
    }
    const int answer = run.ask(call.make);
    if (answer == 0) {
        results.note(row, true);
    } else if (answer == edit.settled) {
        results.leave(row);
    } else {
        run.fail(
            {Cause::Scene, "the scene library failed with code " + std::to_string(answer), answer, {}, {}});
    }
}

void add_sm_edits(CLI::App& device, Run& run)
{
    CLI::App* const sm =
        add_group(device, "sm", "The \"sm\" side's policies, in the scene library's numbers");
    for (const SmEdit& edit : kSmEdits) {
        const auto policy = std::make_shared<SmPolicy>();
        CLI::App* const command = add_command(*sm, run, edit.name, edit.help,
                                              [&run, &edit, policy] { edit_sm(run, edit, *policy); });
        command->add_option("CLASS", policy->device_class, "1 interface, 2 device, 3 USB")
            ->required()
            ->check(CLI::Range(1, 3));
        command->add_option("SUBTYPE", policy->subtype, "Type within the class")->required();
        command->add_option("PERM", policy->perm, "Permission")->required();
    }
}

} // namespace

void add_device_edits(CLI::App& device, Run& run)
{
    const auto file = std::make_shared<std::string>();
    add_lines_option(*add_command(device, run, "batch", "Add many policies in one step",
                                  [&run, file] { add_batch(run, *file); }),
                     *file);
    add_sm_edits(device, run);
    add_device_history(device, run);
}

} // namespace tresk::ctl
