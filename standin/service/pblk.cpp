// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Process blocking: the programs in "pblk/pblk.xml".
//
//   <pblk_root>
//     <pblk_node path="..." data_source_type="decimal" data_source_name="...">
//       <hash>SHA-256 of the path's text</hash>
//     </pblk_node>
//   </pblk_root>
//
// The path stands first among the attributes, since the reader of all entries overlooks other nodes. An entry
// is named by its path and its data source. One that does not say its source belongs to every source, as for
// lookups: after a removal that reports success no lookup of the same source finds the program.
#include "standin/service/digest.h"
#include "standin/service/families.h"
#include "standin/service/policy_edit.h"
#include "standin/service/policy_path.h"

#include <array>

namespace tresk::service {

namespace {

struct Request {
    std::string path;
    std::string source_type;
    std::string source_name;
};

Request request(GVariant* arguments)
{
    Request wanted{.path = policy_path(text_at(arguments, 0)),
                   .source_type = source_type_text(integer_at(arguments, 1)),
                   .source_name = text_at(arguments, 2)};
    require_storable(wanted.source_name);
    return wanted;
}

bool is_named(const xmlNode* node, const Request& wanted)
{
    return attribute_of(node, "path") == wanted.path &&
           attribute_of(node, "data_source_type").value_or(wanted.source_type) == wanted.source_type &&
           attribute_of(node, "data_source_name").value_or(wanted.source_name) == wanted.source_name;
}

std::vector<xmlNode*> entries(const PolicyFile& policy, const Request& wanted)
{
    std::vector<xmlNode*> nodes = child_elements(policy.root(), "pblk_node");
    std::erase_if(nodes, [&](const xmlNode* node) { return !is_named(node, wanted); });
    return nodes;
}

PolicyFile open_pblk(const Folders& folders)
{
    return open_policy(folders, "pblk/pblk.xml", "pblk_root");
}

Variant add(const Folders& folders, GVariant* arguments)
{
    const Request wanted = request(arguments);
    const PolicyFile policy = open_pblk(folders);
    return add_unless_present(policy, entries(policy, wanted), [&] {
        xmlNode* node = add_element(policy.root(), "pblk_node",
                                    {{"path", wanted.path},
                                     {"data_source_type", wanted.source_type},
                                     {"data_source_name", wanted.source_name}});
        add_text_element(node, "hash", sha256_of(wanted.path));
    });
}

Variant remove(const Folders& folders, GVariant* arguments)
{
    const Request wanted = request(arguments);
    const PolicyFile policy = open_pblk(folders);
    return change_each(policy, entries(policy, wanted), remove_element);
}

} // namespace

std::span<const Method> pblk_methods()
{
    static constexpr std::array methods{
        Method{"tresk_pblk_add_zdk", "sis", "i", add},
        Method{"tresk_pblk_remove_zdk", "sis", "i", remove},
    };
    return methods;
}

} // namespace tresk::service
