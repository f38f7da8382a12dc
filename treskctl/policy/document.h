// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A document says what a machine's policies are to be, or were:
//
//     {"version": 1, "policy": {"ppro": [{"path": "/usr/bin/cat", "type": 1, "note": "why"}], "netctl": []}}
//
// or the same in YAML. A kind that is not named is none of the document's business; one with an empty list
// has no entries. Of an entry there are the fields that name it and its settings, never what follows from
// them; what has its standard value may be left out, and is left out in what is written here. A text that is
// not UTF-8 stands in hexadecimal under its field's name with "_hex" behind.
#ifndef TRESK_TRESKCTL_POLICY_DOCUMENT_H
#define TRESK_TRESKCTL_POLICY_DOCUMENT_H

#include "treskctl/failure.h"
#include "treskctl/policy/kind.h"
#include "treskctl/settings.h"

#include <string>
#include <vector>

namespace tresk::ctl {

/// The number that every document carries as "version".
inline constexpr int kDocumentVersion = 1;

struct KindEntries {
    const Kind* kind;
    std::vector<Entry> entries;
};

struct Document {
    /// The kinds that it names, in the order of all kinds.
    std::vector<KindEntries> kinds;

    /// What it says of the kind, or null.
    [[nodiscard]] const KindEntries* find(const Kind& kind) const;
};

/// Reads @text, whose name in failures is @file: what is wrong in it is added to @failures, with its line.
/// A name that ends in ".json", ".yaml" or ".yml" tells the form; else JSON begins with "{".
Document read_document(const std::string& text, const std::string& file, std::vector<Failure>& failures);

/// One document of several. Entries that are equal become one; those that contradict each other are added to
/// @failures with both places.
Document merged(const std::vector<Document>& parts, std::vector<Failure>& failures);

/// Equal policies in one order: sorted by name, and of entries with one name the first.
Document sorted(Document document);

/// The document's text with a line feed.
std::string written_json(const Document& document, const Settings& settings);
std::string written_yaml(const Document& document);

} // namespace tresk::ctl

#endif
