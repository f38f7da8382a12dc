// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Network control of programs, while the distinction of users changes. All entries are of one user, so that
// it hides none. Additions of control type 2 pass on what the scene says of a program that it has already
// (-2).
#include "tests/threads/call_parts.h"

namespace tresk::test {

namespace {

constexpr char kPolicyFile[] = "/etc/tresk/netctl/netctl.xml";
constexpr char kName[] = "name";
constexpr char kIcon[] = "icon";
constexpr char kDesktop[] = "desktop";
constexpr std::int32_t kSignedUser = 0;

int type(Random& random)
{
    return between(random, 1, 2);
}

template <class Record>
bool fits(const Record& record)
{
    return is_program(record.path) && is_hash(record.hash) && (record.type == 1 || record.type == 2);
}

bool fits(const netctl_node_info& record)
{
    return fits<netctl_node_info>(record) && std::strcmp(record.name, kName) == 0 &&
           std::strcmp(record.ico, kIcon) == 0 && record.server_type == 1;
}

/// Entries that were not added with a desktop entry have none.
bool fits(const netctl_ext_node_info& record)
{
    return fits<netctl_ext_node_info>(record) && std::strcmp(record.name, kName) == 0 &&
           (std::strcmp(record.desktop, kDesktop) == 0 || std::strcmp(record.desktop, "unknown") == 0);
}

template <class Count, class Reader>
std::string whole_list(Reader read)
{
    Count count = 0;
    auto* records = read(&count);
    using Record = std::remove_pointer_t<decltype(records)>;
    return listed(
        records, count, [](const Record& record) { return fits(record); },
        [](const Record& record) { return std::strcmp(record.path, kKeptProgram.path) == 0; });
}

template <class Reader>
std::string entry_of(const Program& program, Reader read)
{
    return looked_up(read(kUser, program.path), &program == &kKeptProgram, [&program](const auto& record) {
        return fits(record) && std::strcmp(record.path, program.path) == 0;
    });
}

} // namespace

std::vector<Call> netctl_calls()
{
    constexpr Family netctl = Family::netctl;
    return {
        // Programs that share the variable with other threads look at it like this.
        {"user_distinguish",
         netctl,
         Cost::plain,
         [](Random&) { return shown(__atomic_load_n(&user_distinguish, __ATOMIC_RELAXED)); },
         {"0", "1"}},
        {"tresk_netctl_get_user_distinguish",
         netctl,
         Cost::reader,
         [](Random&) { return shown(tresk_netctl_get_user_distinguish()); },
         {"0", "1"}},
        {"tresk_netctl_set_user_distinguish",
         netctl,
         Cost::bus,
         [](Random& random) {
             return shown(
                 tresk_netctl_set_user_distinguish(static_cast<std::uint32_t>(between(random, 0, 1))));
         },
         {"0"}},
        {"tresk_netctl_get_path_hash",
         netctl,
         Cost::plain,
         [](Random& random) {
             return hash_shown(tresk_netctl_get_path_hash(any_program(random).path, kSignedUser));
         },
         {"right"}},
        {"tresk_netctl_read_all_data_inner",
         netctl,
         Cost::reader,
         [](Random&) {
             return whole_list<std::uint32_t>(
                 [](std::uint32_t* count) { return tresk_netctl_read_all_data_inner(kPolicyFile, count); });
         },
         {"whole"}},
        {"tresk_netctl_read_all_data",
         netctl,
         Cost::reader,
         [](Random&) { return whole_list<std::uint32_t>(tresk_netctl_read_all_data); },
         {"whole"}},
        {"tresk_netctl_read_all_data_with_uid_inner",
         netctl,
         Cost::reader,
         [](Random&) {
             return whole_list<std::uint32_t>([](std::uint32_t* count) {
                 return tresk_netctl_read_all_data_with_uid_inner(kSignedUser, kPolicyFile, count);
             });
         },
         {"whole"}},
        {"tresk_netctl_read_all_data_with_uid",
         netctl,
         Cost::reader,
         [](Random&) {
             return whole_list<std::uint32_t>(
                 [](std::uint32_t* count) { return tresk_netctl_read_all_data_with_uid(kUser, count); });
         },
         {"whole"}},
        {"tresk_netctl_ext_read_all_data_with_uid_inner",
         netctl,
         Cost::reader,
         [](Random&) {
             return whole_list<std::int32_t>([](std::int32_t* count) {
                 return tresk_netctl_ext_read_all_data_with_uid_inner(kSignedUser, kPolicyFile, count);
             });
         },
         {"whole"}},
        {"tresk_netctl_ext_read_all_data_with_uid",
         netctl,
         Cost::reader,
         [](Random&) {
             return whole_list<std::int32_t>(
                 [](std::int32_t* count) { return tresk_netctl_ext_read_all_data_with_uid(kUser, count); });
         },
         {"whole"}},
        {"tresk_netctl_read_node_with_uid",
         netctl,
         Cost::reader,
         [](Random& random) { return entry_of(any_program(random), tresk_netctl_read_node_with_uid); },
         {"whole", "none"}},
        {"tresk_netctl_ext_read_node_with_uid",
         netctl,
         Cost::reader,
         [](Random& random) { return entry_of(any_program(random), tresk_netctl_ext_read_node_with_uid); },
         {"whole", "none"}},
        {"tresk_netctl_add",
         netctl,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_netctl_add(kUser, passing_program(random), type(random), kName, kIcon, 1));
         },
         {"0", "-2"}},
        {"tresk_netctl_ext_add",
         netctl,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_netctl_ext_add(kUser, passing_program(random), type(random), kName, kIcon,
                                               kDesktop, 1));
         },
         {"0", "-2"}},
        {"tresk_netctl_update",
         netctl,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_netctl_update(kUser, passing_program(random), type(random), kName, kIcon, 1));
         },
         {"0", "-3"}},
        {"tresk_netctl_ext_update",
         netctl,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_netctl_ext_update(kUser, passing_program(random), type(random), kName, kIcon,
                                                  kDesktop, 1));
         },
         {"0", "-3"}},
        {"tresk_netctl_remove",
         netctl,
         Cost::bus,
         [](Random& random) { return shown(tresk_netctl_remove(kUser, passing_program(random))); },
         {"0", "-3"}},
    };
}

} // namespace tresk::test
