// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A policy file as it is written, with the place of each element: the library's readers forgive and do not
// tell places, so what explains and verifies policies reads them here. The parser and its options are the
// library's, so that both see the same document.
#ifndef TRESK_TRESKCTL_POLICY_XML_FILE_H
#define TRESK_TRESKCTL_POLICY_XML_FILE_H

#include "treskctl/policy/kind.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tresk::ctl {

struct XmlElement {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes; ///< in document order
    std::vector<XmlElement> children;                            ///< elements alone
    std::string text;                                            ///< all text below it, concatenated
    bool has_own_text = false;                                   ///< more than blanks directly in it
    Place place;

    /// The attribute's value, or nothing where there is none.
    [[nodiscard]] std::optional<std::string> attribute(std::string_view wanted) const;
    /// The same where it is the element's first attribute.
    [[nodiscard]] std::optional<std::string> first_attribute(std::string_view wanted) const;
    /// The last child element of that name, or null.
    [[nodiscard]] const XmlElement* last_child(std::string_view wanted) const;
};

struct XmlFile {
    /// Nothing where the file is missing or empty, or holds no document.
    std::optional<XmlElement> root;
    /// What the parser complained about, and forgave.
    std::vector<Problem> problems;
    /// That the parser had to repair the document, so that more of it may be missing; its subject is the
    /// place.
    std::optional<Failure> damage;
    /// Why there is no root, other than that there is no file; its subject is the place.
    std::optional<Failure> failure;
};

/// Reads @file. A root of another name than @root_name is a failure.
XmlFile read_xml(const std::string& file, std::string_view root_name);

} // namespace tresk::ctl

#endif
