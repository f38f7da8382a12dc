// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "conf": the service's configuration entries.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/service_answer.h"

#include <memory>

namespace tresk::ctl {

namespace {

struct Entry {
    std::string name;
    int value = 0;
};

void set_entry(Run& run, const Entry& entry)
{
    change(run, {"name", "value"}, {entry.name, entry.value},
           [&] { return tresk_conf_set(entry.name.c_str(), entry.value); });
}

} // namespace

void add_conf_commands(CLI::App& app, Run& run)
{
    CLI::App* const conf = add_group(app, "conf", "The service's configuration entries");
    add_command(*conf, run, "add", "Have the service add its entries",
                [&run] { change(run, {"entries"}, {"added"}, tresk_conf_add); });
    add_command(*conf, run, "remove", "Have the service remove its entries",
                [&run] { change(run, {"entries"}, {"removed"}, tresk_conf_remove); });

    const auto entry = std::make_shared<Entry>();
    CLI::App* const set =
        add_command(*conf, run, "set", "Set one entry", [&run, entry] { set_entry(run, *entry); });
    set->add_option("NAME", entry->name, "The entry's name")->required();
    set->add_option("VALUE", entry->value, "Its new value, an integer")->required();
}

} // namespace tresk::ctl
