// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "conf": the service's configuration entries.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/simple_change.h"

#include <memory>

namespace tresk::ctl {

namespace {

struct ConfEntry {
    std::string name;
    int value = 0;
};

void set_entry(Run& run, const ConfEntry& entry)
{
    make_simple_change(run, {{"name", "value"},
                             {entry.name, entry.value},
                             TRESKCTL_CALL(tresk_conf_set, entry.name, entry.value)});
}

} // namespace

void add_conf_commands(CLI::App& app, Run& run)
{
    CLI::App* const conf = add_group(app, "conf", "The service's configuration entries");
    add_command(*conf, run, "add", "Have the service add its entries", [&run] {
        make_simple_change(run, {{"entries"}, {"added"}, TRESKCTL_CALL(tresk_conf_add)});
    });
    add_command(*conf, run, "remove", "Have the service remove its entries", [&run] {
        make_simple_change(run, {{"entries"}, {"removed"}, TRESKCTL_CALL(tresk_conf_remove)});
    });

    const auto entry = std::make_shared<ConfEntry>();
    CLI::App* const set =
        add_command(*conf, run, "set", "Set one entry", [&run, entry] { set_entry(run, *entry); });
    set->add_option("NAME", entry->name, "The entry's name")->required();
    set->add_option("VALUE", entry->value, "Its new value, an integer")->required();
}

} // namespace tresk::ctl
