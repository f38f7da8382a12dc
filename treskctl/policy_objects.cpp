// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The objects that are policies: their entries' verbs, and what each can be asked beside.
#include "treskctl/commands.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/object_commands.h"

namespace tresk::ctl {

void add_ppro_commands(CLI::App& app, Run& run)
{
    add_ppro_questions(*add_object(app, run, ppro_kind()), run);
}

void add_netctl_commands(CLI::App& app, Run& run)
{
    add_netctl_questions(*add_object(app, run, netctl_kind()), run);
}

void add_pkg_commands(CLI::App& app, Run& run)
{
    add_pkg_questions(*add_object(app, run, pkg_kind()), run);
}

void add_pblk_commands(CLI::App& app, Run& run)
{
    add_pblk_questions(*add_object(app, run, pblk_kind()), run);
}

void add_bwlist_commands(CLI::App& app, Run& run)
{
    add_bwlist_questions(*add_object(app, run, bwlist_kind()), run);
}

void add_device_commands(CLI::App& app, Run& run)
{
    add_device_edits(*add_object(app, run, device_kind()), run);
}

void add_wireless_commands(CLI::App& app, Run& run)
{
    add_object(app, run, wireless_kind());
}

} // namespace tresk::ctl
