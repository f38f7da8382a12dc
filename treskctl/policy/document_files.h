// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Documents where they are kept: one file, a directory of drop-ins, or standard input.
#ifndef TRESK_TRESKCTL_POLICY_DOCUMENT_FILES_H
#define TRESK_TRESKCTL_POLICY_DOCUMENT_FILES_H

#include "treskctl/policy/document.h"
#include "treskctl/run.h"

#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

/// Reads the document @name: a file, "-" for standard input, or a directory, whose files ".json", ".yaml" and
/// ".yml" are merged in the order of their names. What is wrong fails the run; nothing then.
std::optional<Document> load_document(Run& run, const std::string& name);

/// Fails the run with each of them; whether there is one.
bool fail_with(Run& run, std::vector<Failure> failures);

} // namespace tresk::ctl

#endif
