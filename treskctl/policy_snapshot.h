// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The process protection entries with their owners. A record does not tell who owns it, but the readers can
// hide the "sm" side's entries: what one reading has more than the other is the "sm" side's. Both readings
// are made of one opened file, since the service replaces the policy file as a whole at any time.
#ifndef TRESK_TRESKCTL_POLICY_SNAPSHOT_H
#define TRESK_TRESKCTL_POLICY_SNAPSHOT_H

#include "treskctl/run.h"

#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

struct Entry {
    std::string path;
    std::string hash;
    int type = 0;
    bool sm = false;
    bool operator==(const Entry&) const = default;
};

/// Which entries are wanted.
struct EntryFilter {
    bool all = false;
    bool sm = false;
    /// Only entries of exactly this source; "" for those of none.
    std::optional<std::string> source;
};

/// The policy's entries in its order, ordinary ones first where a source is given; nothing when the policy
/// cannot be read. A missing policy counts as an empty one (and is created where the caller may do that).
std::optional<std::vector<Entry>> read_entries(Run& run, const EntryFilter& filter);

} // namespace tresk::ctl

#endif
