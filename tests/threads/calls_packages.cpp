// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Network control of packages; the answers of the edits are those of programs.
#include "tests/threads/call_parts.h"

namespace tresk::test {

namespace {

constexpr char kPolicyFile[] = "/etc/tresk/netctl/netctl_pkg.xml";
constexpr char kIcon[] = "icon";
constexpr char kDesktop[] = "desktop";

int type(Random& random)
{
    return between(random, 1, 2);
}

bool is_package(const char* name)
{
    return std::any_of(std::begin(kPackages), std::end(kPackages),
                       [name](const char* one) { return std::strcmp(one, name) == 0; });
}

bool is_kept(const netctl_pkg_node_info& record)
{
    return std::strcmp(record.pkg, kPackages[0]) == 0;
}

bool fits(const netctl_pkg_node_info& record)
{
    return is_package(record.pkg) && (record.type == 1 || record.type == 2) &&
           std::strcmp(record.ico, kIcon) == 0 && std::strcmp(record.desktop, kDesktop) == 0 &&
           record.server_type == 1;
}

/// A rule that never got a program file has none.
bool fits(const netctl_pkg_path_node_info& record)
{
    return is_package(record.pkg) && (is_program(record.path) || std::strcmp(record.path, "unknown") == 0) &&
           (record.type == 1 || record.type == 2);
}

template <class Reader>
std::string rule_of(const char* package, Reader read)
{
    return looked_up(read(kUser, package), package == kPackages[0], [package](const auto& record) {
        return fits(record) && std::strcmp(record.pkg, package) == 0;
    });
}

template <class Reader>
std::string whole_list(Reader read)
{
    std::uint32_t count = 0;
    netctl_pkg_node_info* records = read(&count);
    return listed(
        records, count, [](const netctl_pkg_node_info& record) { return fits(record); }, is_kept);
}

} // namespace

std::vector<Call> package_calls()
{
    constexpr Family packages = Family::packages;
    return {
        {"tresk_netctl_pkg_read_all_data_with_uid_inner",
         packages,
         Cost::reader,
         [](Random&) {
             return whole_list([](std::uint32_t* count) {
                 return tresk_netctl_pkg_read_all_data_with_uid_inner(kUser, kPolicyFile, count);
             });
         },
         {"whole"}},
        {"tresk_netctl_pkg_read_all_data_with_uid",
         packages,
         Cost::reader,
         [](Random&) {
             return whole_list(
                 [](std::uint32_t* count) { return tresk_netctl_pkg_read_all_data_with_uid(kUser, count); });
         },
         {"whole"}},
        {"tresk_netctl_pkg_read_node_with_uid",
         packages,
         Cost::reader,
         [](Random& random) { return rule_of(any_package(random), tresk_netctl_pkg_read_node_with_uid); },
         {"whole", "none"}},
        {"tresk_netctl_pkg_path_read_node_with_uid",
         packages,
         Cost::reader,
         [](Random& random) {
             return rule_of(any_package(random), tresk_netctl_pkg_path_read_node_with_uid);
         },
         {"whole", "none"}},
        {"tresk_netctl_pkg_add",
         packages,
         Cost::bus,
         [](Random& random) {
             return shown(
                 tresk_netctl_pkg_add(kUser, passing_package(random), type(random), kIcon, kDesktop, 1));
         },
         {"0", "-2"}},
        {"tresk_netctl_pkg_remove",
         packages,
         Cost::bus,
         [](Random& random) { return shown(tresk_netctl_pkg_remove(kUser, passing_package(random))); },
         {"0", "-3"}},
        {"tresk_netctl_pkg_update",
         packages,
         Cost::bus,
         [](Random& random) {
             return shown(
                 tresk_netctl_pkg_update(kUser, passing_package(random), type(random), kIcon, kDesktop, 1));
         },
         {"0", "-3"}},
        {"tresk_netctl_pkg_path_update",
         packages,
         Cost::bus,
         [](Random& random) {
             const char* package = passing_package(random);
             return shown(tresk_netctl_pkg_path_update(kUser, package, any_program(random).path, type(random),
                                                       kIcon, kDesktop, 1));
         },
         {"0", "-3"}},
        {"tresk_netctl_pkg_path_add",
         packages,
         Cost::plain,
         [](Random&) { return shown(tresk_netctl_pkg_path_add()); },
         {"-1000"}},
        {"check_pkg_is_install",
         packages,
         Cost::shell,
         [](Random&) { return shown(check_pkg_is_install("no-such-package-anywhere")); },
         {"0"}},
        {"check_program_is_exist",
         packages,
         Cost::plain,
         [](Random& random) { return shown(check_program_is_exist(any_program(random).path)); },
         {"1"}},
    };
}

} // namespace tresk::test
