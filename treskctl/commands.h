// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The objects of the command line. Each adds its commands, which do nothing before Run::perform().
#ifndef TRESK_TRESKCTL_COMMANDS_H
#define TRESK_TRESKCTL_COMMANDS_H

#include "treskctl/run.h"

namespace tresk::ctl {

void add_status_commands(CLI::App& app, Run& run);
void add_conf_commands(CLI::App& app, Run& run);
void add_module_commands(CLI::App& app, Run& run);
void add_ppro_commands(CLI::App& app, Run& run);
void add_netctl_commands(CLI::App& app, Run& run);
void add_pkg_commands(CLI::App& app, Run& run);
void add_pblk_commands(CLI::App& app, Run& run);
void add_bwlist_commands(CLI::App& app, Run& run);
void add_device_commands(CLI::App& app, Run& run);
void add_wireless_commands(CLI::App& app, Run& run);
void add_label_commands(CLI::App& app, Run& run);
void add_hash_commands(CLI::App& app, Run& run);
void add_kmod_commands(CLI::App& app, Run& run);
void add_user_commands(CLI::App& app, Run& run);
void add_notify_commands(CLI::App& app, Run& run);
/// The part of "notify" whose messages carry no hash.
void add_text_notifications(CLI::App& notify, Run& run);
void add_reference_commands(CLI::App& app, Run& run);

/// The commands about all policies at once.
void add_export_command(CLI::App& app, Run& run);
void add_diff_command(CLI::App& app, Run& run);
void add_apply_command(CLI::App& app, Run& run);
void add_verify_command(CLI::App& app, Run& run);
void add_explain_command(CLI::App& app, Run& run);
void add_doctor_command(CLI::App& app, Run& run);

/// "security" below "module".
void add_security_commands(CLI::App& module, Run& run);

/// What the policies' objects have beside the verbs of their entries.
void add_ppro_questions(CLI::App& ppro, Run& run);
void add_netctl_questions(CLI::App& netctl, Run& run);
void add_pkg_questions(CLI::App& pkg, Run& run);
void add_pblk_questions(CLI::App& pblk, Run& run);
void add_bwlist_questions(CLI::App& bwlist, Run& run);
void add_device_edits(CLI::App& device, Run& run);
/// The part of "device" about the devices that were seen.
void add_device_history(CLI::App& device, Run& run);

} // namespace tresk::ctl

#endif
