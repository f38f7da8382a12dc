// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a machine has of several kinds, and documents brought to the form in which it has them.
#ifndef TRESK_TRESKCTL_POLICY_MACHINE_H
#define TRESK_TRESKCTL_POLICY_MACHINE_H

#include "treskctl/policy/document.h"
#include "treskctl/run.h"

#include <map>
#include <optional>
#include <span>
#include <vector>

namespace tresk::ctl {

/// What was read of each kind; of those that matter alone.
using Machine = std::map<const Kind*, Reading>;

/// Reads these kinds; a failure of the run, and nothing, where one of them cannot be read.
std::optional<Machine> read_kinds(Run& run, std::span<const Kind* const> wanted);

std::vector<const Kind*> kinds_of(const Document& document);

/// Sorted, as documents are written.
Document document_of(const Machine& machine);

/// The document's entries in the machine's form, in which it has all the kinds. What is there as it is
/// written stays so; of the rest paths are resolved, and users completed or left out. Entries that are one
/// then have to be equal: what is wrong is added to @failures.
Document fitted(const Document& document, const Machine& machine, std::vector<Failure>& failures);

} // namespace tresk::ctl

#endif
