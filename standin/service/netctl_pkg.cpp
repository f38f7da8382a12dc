// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Network control of packages: "netctl/netctl_pkg.xml". An entry's children are the values of the call, in
// the call's order; an update leaves those that its call does not carry. The package's program, "path", comes
// by an update alone; whether the file exists is the readers' to ask.
#include "standin/service/argument_check.h"
#include "standin/service/families.h"
#include "standin/service/policy_path.h"
#include "standin/service/user_policy.h"

#include <array>

namespace tresk::service {

namespace {

constexpr std::array kPlain{"type", "ico", "desktop", "server_type"};
constexpr std::array kWithPath{"path", "type", "ico", "desktop", "server_type"};
constexpr std::array<const char*, 0> kNone{};

UserEntry package(GVariant* arguments, std::span<const char* const> children)
{
    UserEntry entry = user_entry(arguments, children);
    require(!entry.name.empty(), "the package's name is empty");
    require_field(entry.name);
    return entry;
}

Variant add(const Folders& folders, GVariant* arguments)
{
    const UserEntry entry = package(arguments, kPlain);
    return UserPolicy(folders, kPackages).add(entry);
}

Variant remove(const Folders& folders, GVariant* arguments)
{
    const UserEntry entry = package(arguments, kNone);
    return UserPolicy(folders, kPackages).remove(entry);
}

Variant update(const Folders& folders, GVariant* arguments)
{
    const UserEntry entry = package(arguments, kPlain);
    return UserPolicy(folders, kPackages).update(entry);
}

Variant update_path(const Folders& folders, GVariant* arguments)
{
    require_path(text_at(arguments, 2));
    const UserEntry entry = package(arguments, kWithPath);
    return UserPolicy(folders, kPackages).update(entry);
}

} // namespace

std::span<const Method> netctl_pkg_methods()
{
    static constexpr std::array methods{
        Method{"tresk_netctl_pkg_add", "usissi", "i", add},
        Method{"tresk_netctl_pkg_remove", "us", "i", remove},
        Method{"tresk_netctl_pkg_update", "usissi", "i", update},
        Method{"tresk_netctl_pkg_path_update", "ussissi", "i", update_path},
    };
    return methods;
}

} // namespace tresk::service
