// SPDX-License-Identifier: LGPL-2.1-or-later
//
// How the nodes of a policy reach a reader, whichever source they come from.
#ifndef TRESK_COMMON_POLICY_WALK_H
#define TRESK_COMMON_POLICY_WALK_H

#include "common/policy_node.h"

#include <functional>
#include <string_view>

namespace tresk {

/// A reader's answer after each node.
enum class Walk { on, stop };

/// A reader's answer to the head of a group of nodes.
enum class Group { enter, pass, stop };

/// Tells from one attribute which nodes a reader has no use for, so that a source need not make them up.
struct NodeSieve {
    const char* attribute = nullptr; ///< null: every node is of use
    std::function<bool(std::string_view text)> passes;
};

/// Lets through the nodes whose @attribute has the text @wanted, which has to outlive the sieve.
inline NodeSieve only_with(const char* attribute, std::string_view wanted)
{
    return {attribute, [wanted](std::string_view text) { return text == wanted; }};
}

/// What a reader does with a policy. It may throw.
struct PolicyWalk {
    /// Handed the root without its children, before any node. It comes a second time where the nodes have to
    /// come once more from the first on: it forgets whatever came before.
    std::function<void(const PolicyNode& root)> begin = {};
    /// Handed the root's child elements, without their children, where the nodes stand in groups; null where
    /// the root's own children are the nodes.
    std::function<Group(const PolicyNode& head)> group = {};
    /// Handed the nodes, of every kind and in document order: the root's children, or those of the groups
    /// that were entered. A stop of either ends the walk.
    std::function<Walk(const PolicyNode& node)> node = {};
    /// A source may leave out elements whose attribute does not pass; it hands out those without the
    /// attribute, and any others that it likes, so that the reader's own rules hold without the sieve.
    NodeSieve sieve = {};
};

/// What became of a walk.
enum class Walked {
    done,
    wrong_root,  ///< nothing was handed out
    no_document, ///< the same: the file cannot be read as one, not even in recovery
    no_root,     ///< the same: a document without any element
    unusual,     ///< this source gives way to the other, and what it handed out is void
};

} // namespace tresk

#endif
