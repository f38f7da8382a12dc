// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/policies.h"
#include "tests/faults/row.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace tresk::test {

namespace {

constexpr std::uint32_t kUid = 1000;
constexpr char kProgram[] = "/usr/bin/program";

template <class Record>
bool is_last(const Record& record)
{
    if constexpr (requires { record.pkg; }) {
        return std::string_view(record.pkg) == "/c" && record.type == 3;
    } else {
        return std::string_view(record.path) == "/c" && record.type == 3;
    }
}

template <class Count, class Read>
Came all(Read read)
{
    return by_array<Count>(read, 3, [](const auto& record) { return is_last(record); });
}

/// Rules are left out whose programs cannot be seen; then there is none.
template <class Read>
Came all_of_packages(Read read)
{
    std::uint32_t count = static_cast<std::uint32_t>(kUnwritten);
    auto* records = read(&count);
    const Malloced<void> owner(records);
    const bool failed = records == nullptr && (count == 0 || count == static_cast<std::uint32_t>(kUnwritten));
    const bool complete =
        records != nullptr && count >= 1 && count <= 3 &&
        std::all_of(records, records + count, [](const auto& one) { return one.type == 3; });
    return verdict(complete, failed);
}

template <class Record>
Came one(Record* record)
{
    return by_record(record, is_last<Record>);
}

/// The setting of the policy is 1; a call that fails leaves the variable alone.
Came distinction()
{
    user_distinguish = 0;
    const int setting = tresk_netctl_get_user_distinguish();
    const int variable = user_distinguish;
    user_distinguish = 0;
    return verdict(setting == 1 && variable == 1, setting == -1 && variable == 0);
}

Came path_hash()
{
    user_distinguish = 1;
    const Malloced<char> hash(tresk_netctl_get_path_hash("a path that no text holds within itself", 1000));
    user_distinguish = 0;
    return verdict(hash && std::strlen(hash.get()) == 64, !hash);
}

} // namespace

FAULT_ROW(tresk_netctl_read_all_data_inner) = {
    .call =
        [] {
            return all<std::uint32_t>(
                [](std::uint32_t* n) { return tresk_netctl_read_all_data_inner(kNetctlFile, n); });
        },
};
FAULT_ROW(tresk_netctl_read_all_data) = {
    .call = [] { return all<std::uint32_t>(tresk_netctl_read_all_data); }, .makes_policy = true};
FAULT_ROW(tresk_netctl_read_all_data_with_uid_inner) = {
    .call =
        [] {
            return all<std::uint32_t>([](std::uint32_t* n) {
                return tresk_netctl_read_all_data_with_uid_inner(kUid, kNetctlFile, n);
            });
        },
};
FAULT_ROW(tresk_netctl_read_all_data_with_uid) = {
    .call =
        [] {
            return all<std::uint32_t>(
                [](std::uint32_t* n) { return tresk_netctl_read_all_data_with_uid(kUid, n); });
        },
};
FAULT_ROW(tresk_netctl_ext_read_all_data_with_uid_inner) = {
    .call =
        [] {
            return all<std::int32_t>([](std::int32_t* n) {
                return tresk_netctl_ext_read_all_data_with_uid_inner(kUid, kNetctlFile, n);
            });
        },
};
FAULT_ROW(tresk_netctl_ext_read_all_data_with_uid) = {
    .call =
        [] {
            return all<std::int32_t>(
                [](std::int32_t* n) { return tresk_netctl_ext_read_all_data_with_uid(kUid, n); });
        },
};
FAULT_ROW(tresk_netctl_read_node_with_uid) = {
    .call = [] { return one(tresk_netctl_read_node_with_uid(kUid, "/c")); },
};
FAULT_ROW(tresk_netctl_ext_read_node_with_uid) = {
    .call = [] { return one(tresk_netctl_ext_read_node_with_uid(kUid, "/c")); },
};
FAULT_ROW(tresk_netctl_get_path_hash) = {.call = path_hash};
FAULT_ROW(tresk_netctl_get_user_distinguish) = {.call = distinction};
FAULT_ROW(tresk_netctl_add) = {
    .call = [] { return by_edit(tresk_netctl_add(kUid, kProgram, 2, "name", "ico", 0), 1); },
    .methods = {{"tresk_netctl_add"}},
};
FAULT_ROW(tresk_netctl_ext_add) = {
    .call = [] { return by_edit(tresk_netctl_ext_add(kUid, kProgram, 2, "name", "ico", "desktop", 0), 1); },
    .methods = {{"tresk_netctl_ext_add"}},
};
FAULT_ROW(tresk_netctl_remove) = {
    .call = [] { return by_edit(tresk_netctl_remove(kUid, kProgram), 1); },
    .methods = {{"tresk_netctl_remove"}},
};
FAULT_ROW(tresk_netctl_update) = {
    .call = [] { return by_edit(tresk_netctl_update(kUid, kProgram, 1, "name", "ico", 0), 1); },
    .methods = {{"tresk_netctl_update"}},
};
FAULT_ROW(tresk_netctl_ext_update) = {
    .call =
        [] { return by_edit(tresk_netctl_ext_update(kUid, kProgram, 2, "name", "ico", "desktop", 0), 1); },
    .methods = {{"tresk_netctl_ext_update"}},
};
FAULT_ROW(tresk_netctl_set_user_distinguish) = {
    .call = [] { return by_edit(tresk_netctl_set_user_distinguish(1), 0); },
    .methods = {{"tresk_netctl_set_user_distinguish"}},
};
FAULT_ROW(tresk_netctl_pkg_read_all_data_with_uid_inner) = {
    .call =
        [] {
            return all_of_packages([](std::uint32_t* n) {
                return tresk_netctl_pkg_read_all_data_with_uid_inner(kUid, kPackagesFile, n);
            });
        },
};
FAULT_ROW(tresk_netctl_pkg_read_all_data_with_uid) = {
    .call =
        [] {
            return all_of_packages(
                [](std::uint32_t* n) { return tresk_netctl_pkg_read_all_data_with_uid(kUid, n); });
        },
};
FAULT_ROW(tresk_netctl_pkg_read_node_with_uid) = {
    .call = [] { return one(tresk_netctl_pkg_read_node_with_uid(kUid, "/c")); },
};
FAULT_ROW(tresk_netctl_pkg_path_read_node_with_uid) = {
    .call = [] { return one(tresk_netctl_pkg_path_read_node_with_uid(kUid, "/c")); },
};
FAULT_ROW(tresk_netctl_pkg_add) = {
    .call = [] { return by_edit(tresk_netctl_pkg_add(kUid, "package", 2, "ico", "desktop", 0), 1); },
    .methods = {{"tresk_netctl_pkg_add"}},
};
FAULT_ROW(tresk_netctl_pkg_remove) = {
    .call = [] { return by_edit(tresk_netctl_pkg_remove(kUid, "package"), 1); },
    .methods = {{"tresk_netctl_pkg_remove"}},
};
FAULT_ROW(tresk_netctl_pkg_update) = {
    .call = [] { return by_edit(tresk_netctl_pkg_update(kUid, "package", 1, "ico", "desktop", 0), 1); },
    .methods = {{"tresk_netctl_pkg_update"}},
};
FAULT_ROW(tresk_netctl_pkg_path_update) = {
    .call =
        [] {
            return by_edit(tresk_netctl_pkg_path_update(kUid, "package", kProgram, 1, "ico", "desktop", 0),
                           0);
        },
    .methods = {{"tresk_netctl_pkg_path_update"}},
};
FAULT_ROW(tresk_netctl_pkg_path_add) = {
    .call = [] { return by_result(tresk_netctl_pkg_path_add(), -1000, -1000); },
};
FAULT_ROW(check_pkg_is_install) = {.call = [] {
    const int result = check_pkg_is_install("package");
    // A pipeline that lacks a part says nothing about the package.
    return verdict(result == 1, result == -1 || result == 0);
}};
FAULT_ROW(check_program_is_exist) = {
    .call = [] { return by_result(check_program_is_exist(kNetctlFile), 1, 0); },
};

} // namespace tresk::test
