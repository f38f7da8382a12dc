// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What network control of programs and of packages have in common: the options of a rule, and whether rules
// are kept per user. The library's readers and its path hash go by a copy of that setting, which has to be
// read before any of them is asked.
#ifndef TRESK_TRESKCTL_NETCTL_RULES_H
#define TRESK_TRESKCTL_NETCTL_RULES_H

#include "treskctl/policy_records.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

/// The programs' policy, which has the setting also for packages.
inline constexpr Policy kProgramPolicy = {"/etc/tresk/netctl/netctl.xml",
                                          "the file is no network control policy"};

struct RuleOptions {
    std::vector<std::string> subjects;
    std::uint32_t uid = 0;
    int type = 0;
    std::string ico;
    /// Absent where it was not given, which is not the same as empty.
    std::optional<std::string> desktop;
    int server_type = 0;
};

/// Adds "--uid" and the options of a rule.
void add_rule_options(CLI::App& command, RuleOptions& options);

/// Adds an option of one text, of which it counts whether it was given, even if empty.
void add_optional_text(CLI::App& command, const std::string& name, std::optional<std::string>& text,
                       const std::string& help, const std::string& argument);

/// Has the library read whether rules are kept per user; a policy without that setting is none of several
/// users. False, and a failure, when the policy cannot be read.
bool learn_distinction(Run& run);

/// Adds "user-distinct".
void add_distinction_command(CLI::App& netctl, Run& run);

} // namespace tresk::ctl

#endif
