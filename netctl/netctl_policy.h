// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The two policy files of network control, one of programs and one of packages, and the rules over their
// nodes. Both files have the same shape:
//
//     <tresk_root user_dist="1">
//       <tresk_user userID="1000">
//         <tresk_node path="/usr/bin/a">               (programs; the hash is theirs alone)
//           <type>2</type><hash>...</hash><name>A</name>
//           <ico>a.png</ico><desktop>a.desktop</desktop><server_type>1</server_type>
//         </tresk_node>
//         <tresk_node pkg="a">                         (packages; "path" is one of their programs)
//           <path>/usr/bin/a</path><type>2</type>...
//         </tresk_node>
//       </tresk_user>
//     </tresk_root>
//
// Each attribute counts only as the first of its element. Only the type and a program's hash are required.
#ifndef TRESK_NETCTL_NETCTL_POLICY_H
#define TRESK_NETCTL_NETCTL_POLICY_H

#include "common/policy_document.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace tresk::netctl {

/// Source module of the family's diagnostics.
inline constexpr char kSource[] = "tresk_netctl";
/// Attribute of the root that says whether the policy is kept per user.
inline constexpr char kUserDistinction[] = "user_dist";

/// Creates an empty policy with the user distinction as it stands under the name @file.
void create_default(const char* file);

/// The root's name in the message is part of its text.
inline constexpr PolicyFormat kFormat = {
    "tresk_root", kSource, "%s: document of the wrong type, root node != tresk_root\n", create_default};

/// What tells the nodes of one file from the other's.
struct RuleKind {
    const char* file;
    const char* identity; ///< the attribute that names a node
    bool has_hash;        ///< whether a node needs one
};

inline constexpr RuleKind kPrograms = {"/etc/tresk/netctl/netctl.xml", "path", true};
inline constexpr RuleKind kPackages = {"/etc/tresk/netctl/netctl_pkg.xml", "pkg", false};

/// A node's texts; they live as long as the node. The children are absent where they are missing.
struct Rule {
    std::string_view identity;
    NodeText type;
    NodeText hash;
    NodeText name;
    NodeText path;
    NodeText ico;
    NodeText desktop;
    NodeText server_type;
};

template <class Visit>
void for_each_text(Rule& rule, Visit visit)
{
    visit(rule.identity);
    for (NodeText* text :
         {&rule.type, &rule.hash, &rule.name, &rule.path, &rule.ico, &rule.desktop, &rule.server_type}) {
        visit(*text);
    }
}

/// The node's texts; absent where the node is none of @kind.
std::optional<Rule> rule_of(const PolicyNode& node, const RuleKind& kind);

/// True when @rule has what a record needs.
bool is_complete(const Rule& rule, const RuleKind& kind);

/// True when one of the node's programs does not exist.
bool names_missing_program(const PolicyNode& node);

/// The user whose nodes a reader gives; absent: every user's.
using UserFilter = std::optional<std::int32_t>;

/// The filter for a caller who asks for @uid: it counts only while users are distinguished.
UserFilter filter_for(std::int32_t uid);

/// Reads @file as read_policy() does and hands the nodes of the users that @filter lets through to @visit, in
/// document order, until it answers stop. Of several elements for the filter's user only the first is read.
/// @begin comes before the first node, and again where all of them come once more.
bool read_nodes_of(const char* file, const char* function, const UserFilter& filter,
                   const std::function<void()>& begin, const std::function<Walk(const PolicyNode&)>& visit,
                   NodeSieve sieve = {});

} // namespace tresk::netctl

#endif
