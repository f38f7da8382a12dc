// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "wireless": the networks that may be used, by their names.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/device.h"
#include "treskctl/edit.h"

#include <cstring>

namespace tresk::ctl {

namespace {

/// The library takes one byte more and registers an empty name then.
constexpr std::size_t kLongestName = 126;

struct NetworkOptions {
    std::vector<std::string> subjects;
};

int add_network(const NetworkOptions& /*options*/, const std::string& name)
{
    return tresk_devctl_wireless_ctl_add(name.c_str());
}

int remove_network(const NetworkOptions& /*options*/, const std::string& name)
{
    return tresk_devctl_wireless_ctl_del(name.c_str());
}

Failure failure_of_network(Run& /*run*/, const Heard<int>& /*answer*/, const NetworkOptions& /*options*/,
                           const std::string& /*name*/)
{
    return refused_device_policy();
}

void add_no_options(CLI::App& /*command*/, NetworkOptions& /*options*/) {}

constexpr EditFamily<NetworkOptions> kFamily = {
    "name", "NAME", "Names of wireless networks", failure_of_network, nullptr, kLongestName};

constexpr std::array kEdits = {
    Edit<NetworkOptions>{"add", "Permit wireless networks", add_network, "permitted", nullptr,
                         add_no_options},
    Edit<NetworkOptions>{"remove", "No longer permit wireless networks", remove_network, "removed", nullptr,
                         add_no_options},
};

void list_networks(Run& run)
{
    Table& table = run.table("networks", {"name"});
    const auto networks = device_records(run, tresk_devctl_read_all_ssid_data);
    for (const tresk_wireless_name& network : networks.all()) {
        table.rows.push_back({std::string(network.name, ::strnlen(network.name, sizeof(network.name)))});
    }
}

} // namespace

void add_wireless_commands(CLI::App& app, Run& run)
{
    CLI::App* const wireless = add_group(app, "wireless", "Permitted wireless networks");
    add_command(*wireless, run, "list", "List the permitted wireless networks",
                [&run] { list_networks(run); });
    add_edits(*wireless, run, kFamily, kEdits);
}

} // namespace tresk::ctl
