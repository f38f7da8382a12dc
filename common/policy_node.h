// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One node of a policy document as plain values: what the families' rules are written against, so that they
// know nothing of the parser behind them.
#ifndef TRESK_COMMON_POLICY_NODE_H
#define TRESK_COMMON_POLICY_NODE_H

#include <optional>
#include <string_view>
#include <vector>

namespace tresk {

enum class NodeKind { element, text, comment, instruction, other };

/// An attribute's or element's text; absent where it exists but cannot be read (no memory, or an entity that
/// expands past all measure).
using NodeText = std::optional<std::string_view>;

struct PolicyAttribute {
    std::string_view name;
    NodeText value;
    /// True when the attribute stands in the element itself, false when only the document type gives it.
    bool written = true;
};

struct PolicyChild {
    NodeKind kind = NodeKind::other;
    /// The element's name without prefix; empty for other kinds.
    std::string_view name;
    /// All text, CDATA and entity text below an element; empty for an empty element and for other kinds.
    NodeText text;
};

/// A node of a policy, its root, or the head of a group. The values live until the next one is handed out.
struct PolicyNode {
    NodeKind kind = NodeKind::other;
    std::string_view name;                   ///< without prefix; empty for other kinds than elements
    std::vector<PolicyAttribute> attributes; ///< in document order, those of the document type last
    std::vector<PolicyChild> children;       ///< in document order, of every kind

    [[nodiscard]] bool is_element(std::string_view wanted) const noexcept;
    /// Null when there is no such attribute.
    [[nodiscard]] const PolicyAttribute* find_attribute(std::string_view wanted) const noexcept;
    /// The attribute's value; absent when there is no such attribute.
    [[nodiscard]] NodeText attribute(std::string_view wanted) const noexcept;
    /// The value of an attribute that counts only when it is the element's first.
    [[nodiscard]] NodeText first_attribute(std::string_view wanted) const noexcept;
    /// The text of the last child element of that name; absent when there is none.
    [[nodiscard]] NodeText last_child(std::string_view wanted) const noexcept;
};

} // namespace tresk

#endif
