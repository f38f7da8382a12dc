// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/policies.h"
#include "tests/faults/row.h"

#include <cstring>

namespace tresk::test {

namespace {

constexpr char kPath[] = "/usr/bin/program";

bool is_last(const ppro_node_info& record)
{
    return std::string_view(record.path) == "/c" && record.type == 3;
}

bool is_second(const ppro_node_info& record)
{
    return std::string_view(record.path) == "/b" && std::string_view(record.hash) == "hb" && record.type == 2;
}

template <class Read>
Came all(Read read, int expected, bool sm_last = false)
{
    return by_array<int>(read, expected, [sm_last](const ppro_node_info& record) {
        return sm_last ? std::string_view(record.path) == "/s" : is_last(record);
    });
}

Came same_nodes()
{
    int count = 5;
    const int result = tresk_ppro_get_same_node_by_hash("hb", &count);
    return verdict(result == 0 && count == 6, result == -1 && count == 5);
}

Came action()
{
    char untouched = 0;
    char* text = &untouched;
    if (tresk_ppro_get_action(&text) == 0) {
        return by_text(text, "log");
    }
    return verdict(false, text == &untouched);
}

/// The policy's name in a text of its own, as these readers want it.
template <auto Read>
ppro_node_info* read_file(int* count)
{
    char file[] = "/etc/tresk/ppro/ppro.xml";
    return Read(file, count);
}

Came blacklisted()
{
    char path[] = "/usr/bin/a";
    return by_result(ppro_path_in_blacklist(path), 1, -1);
}

} // namespace

FAULT_ROW(tresk_ppro_get_path_hash) = {
    .call =
        [] {
            const Malloced<char> hash(tresk_ppro_get_path_hash("abc"));
            return verdict(hash && std::strncmp(hash.get(), "ba7816bf", 8) == 0, !hash);
        },
};
FAULT_ROW(tresk_ppro_read_all_data_with_file) = {
    .call = [] { return all(read_file<tresk_ppro_read_all_data_with_file>, 3); },
};
FAULT_ROW(tresk_ppro_read_all_data_with_file_sm) = {
    .call = [] { return all(read_file<tresk_ppro_read_all_data_with_file_sm>, 4, true); },
};
FAULT_ROW(tresk_ppro_read_all_data_internal) = {
    .call = [] { return all([](int* n) { return tresk_ppro_read_all_data_internal(n, 0); }, 3); },
};
FAULT_ROW(tresk_ppro_read_all_data) = {
    .call = [] { return all(tresk_ppro_read_all_data, 3); },
    .cold_too = true,
};
FAULT_ROW(tresk_ppro_read_all_data_sm) = {.call = [] { return all(tresk_ppro_read_all_data_sm, 4, true); },
                                          .makes_policy = true};
FAULT_ROW(tresk_ppro_read_all_data_with_file_zdk) = {
    .call =
        [] {
            return all(
                [](int* n) { return tresk_ppro_read_all_data_with_file_zdk(kPproFile, n, 0, kSource); }, 3);
        },
};
FAULT_ROW(tresk_ppro_read_all_data_zdk) = {
    .call = [] { return all([](int* n) { return tresk_ppro_read_all_data_zdk(n, 0, kSource); }, 3); },
};
FAULT_ROW(tresk_ppro_read_node_with_path_internal) = {
    .call = [] { return by_record(tresk_ppro_read_node_with_path_internal("/b", 0), is_second); },
};
FAULT_ROW(tresk_ppro_read_node_with_path) = {
    .call = [] { return by_record(tresk_ppro_read_node_with_path("/b"), is_second); },
};
FAULT_ROW(tresk_ppro_read_node_with_path_sm) = {
    .call = [] { return by_record(tresk_ppro_read_node_with_path_sm("/b"), is_second); },
};
FAULT_ROW(tresk_ppro_read_node_with_path_zdk) = {
    .call = [] { return by_record(tresk_ppro_read_node_with_path_zdk("/b", 0, kSource), is_second); },
};
FAULT_ROW(tresk_ppro_read_node_with_hash_zdk) = {
    .call = [] { return by_record(tresk_ppro_read_node_with_hash_zdk("ha", 0, kSource), is_second); },
};
FAULT_ROW(tresk_ppro_check_in_sm) = {.call = [] { return by_result(tresk_ppro_check_in_sm("hs"), 0, -1); }};
FAULT_ROW(tresk_ppro_get_same_node_by_hash) = {.call = same_nodes};
FAULT_ROW(tresk_ppro_get_action) = {.call = action};
FAULT_ROW(ppro_path_in_blacklist) = {.call = blacklisted};
FAULT_ROW(tresk_ppro_add_zdk) = {
    .call = [] { return by_edit(tresk_ppro_add_zdk(kPath, 1, 0, kSource), 1); },
    .methods = {{"tresk_ppro_add_zdk"}},
};
FAULT_ROW(tresk_ppro_remove_zdk) = {
    .call = [] { return by_edit(tresk_ppro_remove_zdk(kPath, 0, kSource), 1); },
    .methods = {{"tresk_ppro_remove_zdk"}},
};
FAULT_ROW(tresk_ppro_update_zdk) = {
    .call = [] { return by_edit(tresk_ppro_update_zdk(kPath, 1, 0, kSource), 0); },
    .methods = {{"tresk_ppro_update_zdk"}},
};
FAULT_ROW(tresk_ppro_add) = {
    .call = [] { return by_edit(tresk_ppro_add(kPath, 1), 1); },
    .methods = {{"tresk_ppro_add_zdk"}},
};
FAULT_ROW(tresk_ppro_add_sm) = {
    .call = [] { return by_edit(tresk_ppro_add_sm(kPath, 1), 1); },
    .methods = {{"tresk_ppro_add_zdk"}},
};
FAULT_ROW(tresk_ppro_remove) = {
    .call = [] { return by_edit(tresk_ppro_remove(kPath), 1); },
    .methods = {{"tresk_ppro_remove_zdk"}},
};
FAULT_ROW(tresk_ppro_remove_sm) = {
    .call = [] { return by_edit(tresk_ppro_remove_sm(kPath), 1); },
    .methods = {{"tresk_ppro_remove_zdk"}},
};
FAULT_ROW(tresk_ppro_update) = {
    .call = [] { return by_edit(tresk_ppro_update(kPath, 1), 0); },
    .methods = {{"tresk_ppro_update_zdk"}},
};
FAULT_ROW(tresk_ppro_update_sm) = {
    .call = [] { return by_edit(tresk_ppro_update_sm(kPath, 1), 0); },
    .methods = {{"tresk_ppro_update_zdk"}},
};
FAULT_ROW(tresk_ppro_remove_internal) = {
    .call = [] { return by_edit(tresk_ppro_remove_internal(kPath, 0), 0); },
    .methods = {{"tresk_ppro_remove"}},
};
FAULT_ROW(tresk_ppro_update_internal) = {
    .call = [] { return by_edit(tresk_ppro_update_internal(kPath, 1, 0), 0); },
    .methods = {{"tresk_ppro_update"}},
};
FAULT_ROW(tresk_get_pid_by_path) = {
    .call = [] { return by_edit(tresk_get_pid_by_path(kPath), 0); },
    .methods = {{"tresk_get_pid_by_path"}},
};

} // namespace tresk::test
