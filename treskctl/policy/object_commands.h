// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The verbs that every kind of policy entries has, written once: list, show, check, add, set, update, remove
// and clear.
#ifndef TRESK_TRESKCTL_POLICY_OBJECT_COMMANDS_H
#define TRESK_TRESKCTL_POLICY_OBJECT_COMMANDS_H

#include "treskctl/policy/kind.h"
#include "treskctl/run.h"

#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

/// Adds the kind's object with all of its verbs, and returns it: an object may have more.
CLI::App* add_object(CLI::App& app, Run& run, const Kind& kind);

/// What the machine has of the kind; a failure of the run, and nothing, where it cannot be read or is
/// damaged.
std::optional<Reading> read_machine(Run& run, const Kind& kind);
/// The same, with what a damaged file still tells.
std::optional<Reading> read_as_far_as_possible(Run& run, const Kind& kind);

/// What is asked about before it is done: "delete 3 entries of process protection".
std::string deletion_of(const Kind& kind, std::size_t count);

} // namespace tresk::ctl

#endif
