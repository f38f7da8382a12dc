// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The objects of the command line. Each adds its commands, which do nothing before Run::perform().
#ifndef TRESK_TRESKCTL_COMMANDS_H
#define TRESK_TRESKCTL_COMMANDS_H

#include "treskctl/run.h"

namespace tresk::ctl {

void add_status_commands(CLI::App& app, Run& run);
void add_func_commands(CLI::App& app, Run& run);
void add_conf_commands(CLI::App& app, Run& run);
void add_module_commands(CLI::App& app, Run& run);
void add_security_commands(CLI::App& app, Run& run);
void add_ppro_commands(CLI::App& app, Run& run);
void add_netctl_commands(CLI::App& app, Run& run);
void add_pkg_commands(CLI::App& app, Run& run);
void add_pblk_commands(CLI::App& app, Run& run);
void add_bwlist_commands(CLI::App& app, Run& run);
void add_label_commands(CLI::App& app, Run& run);
void add_hash_commands(CLI::App& app, Run& run);
void add_kmod_commands(CLI::App& app, Run& run);
void add_device_commands(CLI::App& app, Run& run);
void add_wireless_commands(CLI::App& app, Run& run);
void add_user_commands(CLI::App& app, Run& run);
void add_notify_commands(CLI::App& app, Run& run);

/// The part of "ppro" that changes nothing.
void add_ppro_queries(CLI::App& ppro, Run& run);
/// The part of "device" about the devices that were seen.
void add_device_history(CLI::App& device, Run& run);
/// The part of "notify" whose messages carry no hash.
void add_text_notifications(CLI::App& notify, Run& run);

} // namespace tresk::ctl

#endif
