// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a process protection entry is: the rules over one node of the policy file, apart from any file.
//
//     <ppro_root>
//       <ppro_node path="/usr/bin/a" sm_status="1" data_source_name="source">
//         <hash>...</hash><type>1</type>
//       </ppro_node>
//     </ppro_root>
//
// "path" counts only as the first attribute. "sm_status" and "data_source_name" are optional qualifiers: they
// say who sees the entry and never reach a record.
#ifndef TRESK_PPRO_PPRO_POLICY_H
#define TRESK_PPRO_PPRO_POLICY_H

#include "common/handles.h"
#include "common/policy_document.h"
#include "tresk_extend.h"

#include <functional>
#include <optional>
#include <string_view>

namespace tresk::ppro {

/// Source module of the family's diagnostics.
inline constexpr char kSource[] = "tresk_ppro";
inline constexpr char kPolicyFile[] = "/etc/tresk/ppro/ppro.xml";
/// An empty policy is created in the policy's place, whichever file was asked for.
void create_default(const char* file);

inline constexpr PolicyFormat kFormat = {"ppro_root", kSource, kWrongRoot, create_default};

inline constexpr std::string_view kNode = "ppro_node";
inline constexpr char kPath[] = "path";       ///< attribute
inline constexpr char kOwner[] = "sm_status"; ///< attribute
inline constexpr std::string_view kHash = "hash";
inline constexpr std::string_view kType = "type";

/// Decides by a node's qualifiers alone whether a reader shows it.
using Filter = std::function<bool(const PolicyNode&)>;

/// Mode 0 hides what the "sm" side owns: a node whose "sm_status" is a number other than 0. Any other mode
/// shows all.
Filter numeric_filter(int mode);

/// Shows the nodes whose "sm_status" is @mode in decimal and whose source is @data_source, which may be null
/// and must outlive the filter. An absent "sm_status" counts as 0, an absent source as empty or null.
Filter exact_filter(int mode, const char* data_source);

/// True when the node's first attribute is "path".
bool is_named_by_path(const PolicyNode& node);

/// The path of a node that can become a record; absent for all other nodes.
NodeText entry_path(const PolicyNode& node);

/// An entry's texts; they live as long as its node.
struct Entry {
    std::string_view path;
    std::string_view hash;
    std::string_view type;
};

template <class Visit>
void for_each_text(Entry& entry, Visit visit)
{
    visit(entry.path);
    visit(entry.hash);
    visit(entry.type);
}

/// The node's entry; absent where the node has no path or lacks its hash or type.
std::optional<Entry> complete_entry(const PolicyNode& node);

/// Fills a record of zeros.
void fill_record(ppro_node_info& record, const Entry& entry);

/// A record of its own for a C caller.
Malloced<ppro_node_info> new_record(const Entry& entry);

} // namespace tresk::ppro

#endif
