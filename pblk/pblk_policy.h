// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a process blocking entry is: the rules over one node of the policy file, apart from any file.
//
//     <pblk_root>
//       <pblk_node path="/usr/bin/a" data_source_type="1" data_source_name="source">
//         <hash>...</hash>
//       </pblk_node>
//     </pblk_root>
//
// The attributes after the path are optional: together they name the data source that asked for the entry.
// The readers differ in what they want of the path, of the source and of the hash, and in nothing else.
#ifndef TRESK_PBLK_PBLK_POLICY_H
#define TRESK_PBLK_PBLK_POLICY_H

#include "common/handles.h"
#include "common/policy_document.h"
#include "common/source_type.h"
#include "tresk_extend.h"

#include <optional>
#include <string_view>

namespace tresk::pblk {

/// Source module of the family's diagnostics.
inline constexpr char kSource[] = "tresk_pblk";
inline constexpr char kPolicyFile[] = "/etc/tresk/pblk/pblk.xml";
/// An empty policy is created in the policy's place, whichever file was asked for.
void create_default(const char* file);

inline constexpr PolicyFormat kFormat = {"pblk_root", kSource, kWrongRoot, create_default};

enum class PathRule { first_attribute, any_attribute };
/// A source is its type and its name. With if_present, each of them may be absent, else it must be the
/// wanted.
enum class SourceRule { ignored, required, if_present };
/// Which of a node's hashes counts: none is looked at, the last, or the first that is the wanted one.
enum class HashRule { unread, last, wanted };

/// Which nodes a reader accepts.
struct Acceptance {
    PathRule path;
    SourceRule source;
    HashRule hash;
};

inline constexpr char kPath[] = "path"; ///< attribute

/// What a reader was asked for; null and absent where its rules do not look at it.
struct Wanted {
    Wanted() = default;

    Wanted(int type, const char* name) : source_type(source_type_text(type)), source_name(name) {}

    SourceTypeText source_type{};
    const char* source_name = nullptr;
    std::optional<std::string_view> path; ///< absent: any
    std::string_view hash;
};

/// An entry's texts; they live as long as its node. The hash is empty where none was looked at.
struct Entry {
    std::string_view path;
    std::string_view hash;
};

template <class Visit>
void for_each_text(Entry& entry, Visit visit)
{
    visit(entry.path);
    visit(entry.hash);
}

/// The node's entry; absent where the reader does not accept the node.
std::optional<Entry> accepted_entry(const PolicyNode& node, const Acceptance& rules, const Wanted& wanted);

/// True when the last hash of an entry, whatever else it lacks, is @hash.
bool carries_hash(const PolicyNode& node, std::string_view hash);

/// Fills a record of zeros.
void fill_record(pblk_node_info& record, const Entry& entry);

} // namespace tresk::pblk

#endif
