// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The packages' black and white lists: "bwlist/bwlist.xml".
//
//   <tresk_root>
//     <tresk_bwlist bw_value="white">
//       <tresk_node rpm_name="..." data_source_type="decimal" data_source_name="..."/>
//     </tresk_bwlist>
//   </tresk_root>
//
// An entry is named by its list, its package and its data source, all of them as they are written: lookups
// overlook an entry that does not say its source. A file may hold several elements of one list; additions go
// to the first, the rest of the edits to all.
//
// Each data source also has a switch, the lists' distinction, of which the policy file says nothing: it is a
// line "TYPE NAME VALUE" of the state file "bwlist_distinguish", 0 where there is no line. Clearing a source
// takes away its entries on every list and its switch.
#include "standin/service/argument_check.h"
#include "standin/service/families.h"
#include "standin/service/number_table.h"
#include "standin/service/policy_edit.h"
#include "standin/service/policy_path.h"

#include <array>

namespace tresk::service {

namespace {

struct Source {
    std::string type;
    std::string name;
};

Source source_at(GVariant* arguments, gsize index)
{
    Source source{.type = source_type_text(integer_at(arguments, index)),
                  .name = text_at(arguments, index + 1)};
    require_storable(source.name);
    return source;
}

bool is_of(const xmlNode* entry, const Source& source)
{
    return attribute_of(entry, "data_source_type") == source.type &&
           attribute_of(entry, "data_source_name") == source.name;
}

PolicyFile open_bwlist(const Folders& folders)
{
    return open_policy(folders, "bwlist/bwlist.xml", "tresk_root");
}

/// The entries of @lists that satisfy @wanted.
template <class Wanted>
std::vector<xmlNode*> entries_of(const std::vector<xmlNode*>& lists, Wanted wanted)
{
    std::vector<xmlNode*> entries;
    for (const xmlNode* list : lists) {
        std::ranges::copy_if(child_elements(list, "tresk_node"), std::back_inserter(entries), wanted);
    }
    return entries;
}

std::vector<xmlNode*> all_lists(const PolicyFile& policy)
{
    return child_elements(policy.root(), "tresk_bwlist");
}

// --- packages on lists ---

struct Request {
    std::string list;
    std::string package;
    Source source;
};

std::string name_at(GVariant* arguments, gsize index, const char* what)
{
    std::string name = text_at(arguments, index);
    require(!name.empty(), std::string(what) + " is empty");
    require_storable(name);
    return name;
}

Request request(GVariant* arguments)
{
    return {.list = name_at(arguments, 0, "the list's name"),
            .package = name_at(arguments, 1, "the package's name"),
            .source = source_at(arguments, 2)};
}

std::vector<xmlNode*> lists_named(const PolicyFile& policy, const std::string& name)
{
    std::vector<xmlNode*> lists = all_lists(policy);
    std::erase_if(lists, [&](const xmlNode* list) { return attribute_of(list, "bw_value") != name; });
    return lists;
}

std::vector<xmlNode*> entries(const PolicyFile& policy, const Request& wanted)
{
    return entries_of(lists_named(policy, wanted.list), [&](const xmlNode* entry) {
        return attribute_of(entry, "rpm_name") == wanted.package && is_of(entry, wanted.source);
    });
}

/// Adds the list when there is none of that name.
xmlNode* list_for(const PolicyFile& policy, const std::string& name)
{
    const std::vector<xmlNode*> lists = lists_named(policy, name);
    return lists.empty() ? add_element(policy.root(), "tresk_bwlist", {{"bw_value", name}}) : lists.front();
}

Variant add(const Folders& folders, GVariant* arguments)
{
    const Request wanted = request(arguments);
    const PolicyFile policy = open_bwlist(folders);
    return add_unless_present(policy, entries(policy, wanted), [&] {
        add_element(list_for(policy, wanted.list), "tresk_node",
                    {{"rpm_name", wanted.package},
                     {"data_source_type", wanted.source.type},
                     {"data_source_name", wanted.source.name}});
    });
}

Variant remove(const Folders& folders, GVariant* arguments)
{
    const Request wanted = request(arguments);
    const PolicyFile policy = open_bwlist(folders);
    return change_each(policy, entries(policy, wanted), remove_element);
}

// --- the sources' switches ---

std::filesystem::path switches_file(const Folders& folders)
{
    return folders.state / "bwlist_distinguish";
}

/// The name of a source's line.
std::string switch_of(const Source& source)
{
    require(source.name.find('\n') == std::string::npos, "the data source's name is more than a line");
    return source.type + " " + source.name;
}

Variant get_distinction(const Folders& folders, GVariant* arguments)
{
    const std::string source = switch_of(source_at(arguments, 0));
    const NumberTable switches = read_numbers(switches_file(folders));
    const auto found = switches.find(source);
    return number(found == switches.end() ? 0 : found->second);
}

Variant set_distinction(const Folders& folders, GVariant* arguments)
{
    const int value = require_within(integer_at(arguments, 0), 1, "the distinction");
    const std::string source = switch_of(source_at(arguments, 1));
    require_enabled(folders);
    NumberTable switches = read_numbers(switches_file(folders));
    switches[source] = value;
    write_numbers(switches_file(folders), switches);
    return number(kDone);
}

/// Done also where there was nothing to clear. Both files are read before either is written.
Variant clear(const Folders& folders, GVariant* arguments)
{
    const Source source = source_at(arguments, 0);
    const std::string line = switch_of(source);
    const PolicyFile policy = open_bwlist(folders);
    NumberTable switches = read_numbers(switches_file(folders));
    const auto is_cleared = [&](const xmlNode* entry) { return is_of(entry, source); };
    change_each(policy, entries_of(all_lists(policy), is_cleared), remove_element);
    if (switches.erase(line) != 0) {
        write_numbers(switches_file(folders), switches);
    }
    return number(kDone);
}

} // namespace

std::span<const Method> bwlist_methods()
{
    static constexpr std::array methods{
        Method{"tresk_bwlist_add_zdk", "ssis", "i", add},
        Method{"tresk_bwlist_del_zdk", "ssis", "i", remove},
        Method{"tresk_bwlist_get_root_distinguish_zdk", "is", "i", get_distinction, Access::kOpen},
        Method{"tresk_bwlist_set_root_distinguish_zdk", "iis", "i", set_distinction},
        Method{"tresk_bwlist_clear_policy_zdk", "is", "i", clear},
    };
    return methods;
}

} // namespace tresk::service
