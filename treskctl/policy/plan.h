// SPDX-License-Identifier: LGPL-2.1-or-later
//
// From what a machine has to what a document wants: which entries differ, and which changes lead there.
// Nothing is read or changed here.
//
// The order of changes: the kinds in their order; of each first the removals, in the order of the machine's
// file, then the updates, then the additions, both in the document's order. An entry with another value of a
// setting that no update changes is removed and added.
#ifndef TRESK_TRESKCTL_POLICY_PLAN_H
#define TRESK_TRESKCTL_POLICY_PLAN_H

#include "treskctl/policy/change.h"
#include "treskctl/policy/machine.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tresk::ctl {

/// What becomes of entries that the document does not have.
enum class Others { Removed, Kept };

struct Plan {
    std::vector<Change> changes;
    /// The machine's entries of the kinds that the document names.
    std::size_t present = 0;
    /// Those of them that are gone afterwards.
    std::size_t leaving = 0;

    /// More than half of what is there.
    [[nodiscard]] bool leaves_little() const { return leaving * 2 > present; }
};

/// The changes that make the kinds of @wanted, which is fitted to @machine, what it says.
Plan plan_of(const Machine& machine, const Document& wanted, Others others);

/// Why some of the changes cannot be made, as far as that is known without the service.
std::vector<Failure> obstacles_to(const Plan& plan);

struct Difference {
    /// "added": in the second alone; "removed": in the first alone; "changed".
    const char* change;
    const Kind* kind;
    /// Null where the kind itself, without entries, is what only one of both names.
    const Entry* entry;
    /// The setting that differs; null where the whole entry does, whose settings then follow it.
    const Field* field;
    Value from;
    Value to;
};

/// In the order of changes, with the removals first. Both documents must outlive it. A kind that only one of
/// them names is without entries in the other.
std::vector<Difference> differences(const Document& from, const Document& to);

} // namespace tresk::ctl

#endif
