// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/policies.h"
#include "tests/faults/row.h"

#include <cstring>

namespace tresk::test {

namespace {

constexpr int kType = 5;

template <class Read>
Came all(Read read, int expected, const char* last)
{
    return by_array<int>(read, expected, [last](const pblk_node_info& record) {
        return std::string_view(record.path) == last;
    });
}

Came one(pblk_node_info* record, const char* path, const char* hash)
{
    return by_record(record, [=](const pblk_node_info& found) {
        return std::string_view(found.path) == path && std::string_view(found.hash) == hash;
    });
}

Came same_nodes()
{
    int count = 0;
    const int result = tresk_pblk_get_same_node_by_hash("hb", &count);
    return verdict(result == 0 && count == 1, result == -1 && count == 0);
}

/// An edit of @path, which has no beginning to be cut.
template <class Change>
Came edit(Change change)
{
    char path[] = "/usr/bin/program";
    const Came came = by_edit(change(path), 1);
    return std::strcmp(path, "/usr/bin/program") == 0 ? came : Came::neither;
}

} // namespace

FAULT_ROW(tresk_pblk_get_path_hash) = {
    .call =
        [] {
            const Malloced<char> hash(tresk_pblk_get_path_hash("abc"));
            return verdict(hash && std::strncmp(hash.get(), "ba7816bf", 8) == 0, !hash);
        },
};
FAULT_ROW(tresk_pblk_read_all_data_with_file) = {
    .call =
        [] { return all([](int* n) { return tresk_pblk_read_all_data_with_file(kPblkFile, n); }, 4, "/u"); },
};
FAULT_ROW(tresk_pblk_read_all_data) = {.call = [] { return all(tresk_pblk_read_all_data, 4, "/u"); },
                                       .makes_policy = true};
FAULT_ROW(tresk_pblk_read_all_data_with_file_zdk) = {
    .call =
        [] {
            return all(
                [](int* n) { return tresk_pblk_read_all_data_with_file_zdk(kPblkFile, kType, kSource, n); },
                3, "/c");
        },
};
FAULT_ROW(tresk_pblk_read_all_data_zdk) = {
    .call =
        [] { return all([](int* n) { return tresk_pblk_read_all_data_zdk(kType, kSource, n); }, 3, "/c"); },
};
FAULT_ROW(tresk_pblk_read_node_with_path_zdk) = {
    .call = [] { return one(tresk_pblk_read_node_with_path_zdk("/b", kType, kSource), "/b", "hb"); },
};
FAULT_ROW(tresk_pblk_read_node_with_path) = {
    .call = [] { return one(tresk_pblk_read_node_with_path("/u"), "/u", "hu"); },
};
FAULT_ROW(tresk_pblk_read_node_with_hash_zdk) = {
    .call = [] { return one(tresk_pblk_read_node_with_hash_zdk("hb", kType, kSource), "/b", "hb"); },
};
FAULT_ROW(tresk_pblk_get_same_node_by_hash) = {.call = same_nodes};
FAULT_ROW(tresk_pblk_add_zdk) = {
    .call = [] { return edit([](char* path) { return tresk_pblk_add_zdk(path, kType, kSource); }); },
    .methods = {{"tresk_pblk_add_zdk"}},
};
FAULT_ROW(tresk_pblk_add) = {
    .call = [] { return edit(tresk_pblk_add); },
    .methods = {{"tresk_pblk_add_zdk"}},
};
FAULT_ROW(tresk_pblk_remove_zdk) = {
    .call = [] { return edit([](char* path) { return tresk_pblk_remove_zdk(path, kType, kSource); }); },
    .methods = {{"tresk_pblk_remove_zdk"}},
};
FAULT_ROW(tresk_pblk_remove) = {
    .call = [] { return edit(tresk_pblk_remove); },
    .methods = {{"tresk_pblk_remove_zdk"}},
};

} // namespace tresk::test
