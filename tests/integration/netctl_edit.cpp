// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/netctl_edit.h"

#include <string_view>

namespace tresk::test {

namespace {

using Given = NetctlArguments;

constexpr char kRemoveByPath[] = "tresk_scene_netctl_remove_by_path";
constexpr char kRemoveByPackage[] = "tresk_scene_netctl_remove_by_package";

const std::vector<NetctlEdit> kEdits = {
    {"tresk_netctl_add", "usissi", "utynis", nullptr,
     [](const Given& g) { return tresk_netctl_add(g.uid, g.target, g.type, g.name, g.ico, g.server_type); }},
    {"tresk_netctl_ext_add", "usisssi", "utynids", nullptr,
     [](const Given& g) {
         return tresk_netctl_ext_add(g.uid, g.target, g.type, g.name, g.ico, g.desktop, g.server_type);
     }},
    {"tresk_netctl_remove", "us", "ut", kRemoveByPath,
     [](const Given& g) { return tresk_netctl_remove(g.uid, g.target); }},
    {"tresk_netctl_update", "usissi", "utynis", nullptr,
     [](const Given& g) {
         return tresk_netctl_update(g.uid, g.target, g.type, g.name, g.ico, g.server_type);
     }},
    {"tresk_netctl_ext_update", "usisssi", "utynids", nullptr,
     [](const Given& g) {
         return tresk_netctl_ext_update(g.uid, g.target, g.type, g.name, g.ico, g.desktop, g.server_type);
     }},
    {"tresk_netctl_set_user_distinguish", "u", "u", nullptr,
     [](const Given& g) { return tresk_netctl_set_user_distinguish(g.uid); }},
    {"tresk_netctl_pkg_add", "usissi", "utyids", nullptr,
     [](const Given& g) {
         return tresk_netctl_pkg_add(g.uid, g.target, g.type, g.ico, g.desktop, g.server_type);
     }},
    {"tresk_netctl_pkg_remove", "us", "ut", kRemoveByPackage,
     [](const Given& g) { return tresk_netctl_pkg_remove(g.uid, g.target); }},
    {"tresk_netctl_pkg_update", "usissi", "utyids", nullptr,
     [](const Given& g) {
         return tresk_netctl_pkg_update(g.uid, g.target, g.type, g.ico, g.desktop, g.server_type);
     }},
    {"tresk_netctl_pkg_path_update", "ussissi", "utpyids", nullptr,
     [](const Given& g) {
         return tresk_netctl_pkg_path_update(g.uid, g.target, g.path, g.type, g.ico, g.desktop,
                                             g.server_type);
     }},
};

std::string printed(char member, const NetctlArguments& given)
{
    switch (member) {
    case 'u':
        return std::to_string(given.uid);
    case 'y':
        return std::to_string(given.type);
    case 's':
        return std::to_string(given.server_type);
    default:
        for (const NetctlText& text : kNetctlTexts) {
            if (text.letter == member) {
                return "'" + std::string(given.*text.member) + "'";
            }
        }
        return "no such member";
    }
}

} // namespace

std::ostream& operator<<(std::ostream& out, const NetctlEdit& edit)
{
    return out << edit.function;
}

const std::vector<NetctlEdit>& netctl_edits()
{
    return kEdits;
}

ServiceCall sent(const NetctlEdit& edit, const NetctlArguments& given)
{
    const std::string_view members = edit.members;
    std::string arguments = "(";
    for (const char member : members) {
        arguments += printed(member, given) + ", ";
    }
    arguments.resize(arguments.size() - (members.size() == 1 ? 1 : 2)); // a tuple of one keeps its comma
    return {"/netctl", "com.meron.tresk.netctl", edit.function, edit.signature, arguments + ")"};
}

} // namespace tresk::test
