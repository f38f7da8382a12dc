// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The one way to read a policy file. Families say what their file looks like in a PolicyFormat and write
// their rules over the plain values of PolicyNode; libxml2 stays behind this door.
#ifndef TRESK_COMMON_POLICY_DOCUMENT_H
#define TRESK_COMMON_POLICY_DOCUMENT_H

#include "common/policy_walk.h"
#include "common/report.h"
#include "common/xml_error.h"

namespace tresk {

/// What tells one family's policy file from another's.
struct PolicyFormat {
    /// The root element's name.
    const char* root;
    /// Source module of the family's diagnostics.
    const char* source;
    /// Log format for another root, given the function's name and the root's; null: not logged.
    const char* wrong_root;
    /// Creates an empty policy after @file was found missing or empty; null: none is created.
    void (*create_default)(const char* file);
};

/// The wrong-root format of the families whose message takes the root's name as an argument.
inline constexpr char kWrongRoot[] = "%s: document of the wrong type, root node != %s\n";

/// Reads @file as read_policy() does, but without a reset before: an error that earlier work on this
/// thread left behind counts as well. True when there is none.
bool reads_without_error(const char* file);

/// Reads @file in recovery mode and walks it in @reader's hands, leaving libxml2's last-error state as the
/// parser left it. False where this fails: a missing or empty file has then been created anew and another
/// root been logged with @function's name and @expected (null: the root's name), as the format says.
///
/// An ordinary policy is walked while it is parsed (common/policy_events.h), any other as a tree
/// (common/policy_tree.h), with the same outcome; what the first found in a policy that turns out to be no
/// ordinary one is void, and the reader's walk begins again.
bool read_policy(const PolicyFormat& format, const char* file, const char* function, const PolicyWalk& reader,
                 const char* expected = nullptr);

} // namespace tresk

#endif
