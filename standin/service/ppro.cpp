// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Process protection: the programs in "ppro/ppro.xml".
//
//   <ppro_root>
//     <ppro_node path="..." sm_status="0|1" data_source_name="...">
//       <hash>SHA-256 of the path's text</hash><type>decimal</type>
//     </ppro_node>
//   </ppro_root>
//
// The path stands first among the attributes and the hash first among the children: readers overlook other
// nodes. An entry is named by its path and its data source; sm_status tells who owns it and does not change.
#include "standin/service/argument_check.h"
#include "standin/service/digest.h"
#include "standin/service/families.h"
#include "standin/service/policy_edit.h"
#include "standin/service/policy_path.h"
#include "standin/service/process_lookup.h"

#include <array>
#include <cstdlib>

namespace tresk::service {

namespace {

enum Mode : int { kOrdinary = 0, kSmSide = 1 };

/// Names the entries that a call is about, and who asks.
struct Request {
    std::string path;
    int mode;
    std::string data_source;
};

Request request(GVariant* arguments, int mode, const std::string& data_source)
{
    require(mode == kOrdinary || mode == kSmSide, "the mode is neither 0 nor 1");
    require_storable(data_source);
    return {policy_path(text_at(arguments, 0)), mode, data_source};
}

bool is_sm_owned(const xmlNode* node)
{
    return std::strtol(attribute_of(node, "sm_status").value_or("0").c_str(), nullptr, 10) != 0;
}

bool is_named(const xmlNode* node, const Request& wanted)
{
    return begins_with_attribute(node, "path") && attribute_of(node, "path") == wanted.path &&
           attribute_of(node, "data_source_name").value_or("") == wanted.data_source;
}

/// The entries that the request names and its mode may change. Refused when there are only others.
std::vector<xmlNode*> entries(const PolicyFile& policy, const Request& wanted)
{
    std::vector<xmlNode*> nodes = child_elements(policy.root(), "ppro_node");
    std::erase_if(nodes, [&](const xmlNode* node) { return !is_named(node, wanted); });
    const bool any = !nodes.empty();
    if (wanted.mode == kOrdinary) {
        std::erase_if(nodes, is_sm_owned);
    }
    if (any && nodes.empty()) {
        throw Refusal(error_name::kAuthFailed, "no permission to change sm data.");
    }
    return nodes;
}

PolicyFile open_ppro(const Folders& folders)
{
    return open_policy(folders, "ppro/ppro.xml", "ppro_root");
}

Variant add(const Folders& folders, const Request& wanted, int type)
{
    const PolicyFile policy = open_ppro(folders);
    return add_unless_present(policy, entries(policy, wanted), [&] {
        xmlNode* node = add_element(policy.root(), "ppro_node",
                                    {{"path", wanted.path},
                                     {"sm_status", std::to_string(wanted.mode)},
                                     {"data_source_name", wanted.data_source}});
        add_text_element(node, "hash", sha256_of(wanted.path));
        add_text_element(node, "type", std::to_string(type));
    });
}

template <class Change>
Variant change(const Folders& folders, const Request& wanted, Change change_node)
{
    const PolicyFile policy = open_ppro(folders);
    return change_each(policy, entries(policy, wanted), change_node);
}

Variant remove(const Folders& folders, const Request& wanted)
{
    return change(folders, wanted, remove_element);
}

Variant update(const Folders& folders, const Request& wanted, int type)
{
    return change(folders, wanted,
                  [&](xmlNode* node) { set_text_element(node, "type", std::to_string(type)); });
}

Variant add_zdk(const Folders& folders, GVariant* arguments)
{
    return add(folders, request(arguments, integer_at(arguments, 2), text_at(arguments, 3)),
               integer_at(arguments, 1));
}

Variant remove_zdk(const Folders& folders, GVariant* arguments)
{
    return remove(folders, request(arguments, integer_at(arguments, 1), text_at(arguments, 2)));
}

Variant update_zdk(const Folders& folders, GVariant* arguments)
{
    return update(folders, request(arguments, integer_at(arguments, 2), text_at(arguments, 3)),
                  integer_at(arguments, 1));
}

/// The older forms know no data source: theirs is the empty one.
template <int mode>
Variant remove_as(const Folders& folders, GVariant* arguments)
{
    return remove(folders, request(arguments, mode, ""));
}

template <int mode>
Variant update_as(const Folders& folders, GVariant* arguments)
{
    return update(folders, request(arguments, mode, ""), integer_at(arguments, 1));
}

Variant pid_by_path(const Folders& /*folders*/, GVariant* arguments)
{
    return number(pid_of_program(text_at(arguments, 0)));
}

} // namespace

std::span<const Method> ppro_methods()
{
    static constexpr std::array methods{
        Method{"tresk_ppro_add_zdk", "siis", "i", add_zdk},
        Method{"tresk_ppro_remove_zdk", "sis", "i", remove_zdk},
        Method{"tresk_ppro_update_zdk", "siis", "i", update_zdk},
        Method{"tresk_ppro_remove", "s", "i", remove_as<kOrdinary>},
        Method{"tresk_ppro_remove_sm", "s", "i", remove_as<kSmSide>},
        Method{"tresk_ppro_update", "si", "i", update_as<kOrdinary>},
        Method{"tresk_ppro_update_sm", "si", "i", update_as<kSmSide>},
        Method{"tresk_get_pid_by_path", "s", "i", pid_by_path, Access::kOpen},
    };
    return methods;
}

} // namespace tresk::service
