// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/row.h"

#include <cstring>
#include <string>

namespace tresk::test {

namespace {

const std::string kLongName(300, 'n');
const std::string kPath = "/data/home/" + kLongName;
constexpr char kHash[] = "(\"0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef\",)";
constexpr char kHashes[] = "(['0123456789abcdef', 'fedcba9876543210'],)";
const char* const kPaths[] = {"/a", "/b", "/c"};

const char* path()
{
    return kPath.c_str();
}

void list_directory()
{
    framework().path_is_dir = [](const char*) { return 1; };
    framework().path_is_same = [](const char*, const char*) { return 1; };
    framework().paths_in_dir = [](const char*) { return std::vector<std::string>{kPath, kLongName, "/c"}; };
}

/// Whether the scene gave its list when it was last asked: a list that found no memory is an empty one.
bool listed = false;

void protect_files()
{
    framework().protected_files = [](int* count) {
        char** list = malloced_list({kPath, kLongName, "/c"});
        listed = list != nullptr;
        *count = 3;
        return list;
    };
}

Came by_setting(int result, std::size_t calls = 1)
{
    return by_result_and_scene(result, 0, -1, calls);
}

Came clear()
{
    listed = false;
    const int result = tresk_fpro_clear_policy_zdk();
    return by_result_and_scene(result, 0, -1, listed ? 3 : 0);
}

/// Records whose path no text holds within itself.
template <class Record>
std::vector<Record> make_records(std::size_t count, [[maybe_unused]] const char* label)
{
    std::vector<Record> made(count);
    for (Record& record : made) {
        std::strcpy(record.path, path());
        if constexpr (requires { record.label; }) {
            std::strcpy(record.label, label);
        }
    }
    return made;
}

template <class Record>
const Record* three_records(const char* label)
{
    static const std::vector<Record> records = make_records<Record>(3, label);
    return records.data();
}

const tresk_label_record* records()
{
    return three_records<tresk_label_record>("secadm");
}

Came by_hash(char* hash)
{
    const Malloced<char> owner(hash);
    return verdict(hash != nullptr && std::strlen(hash) == 64, hash == nullptr);
}

/// The service answers two of three.
Came by_hashes(char** hashes)
{
    const Malloced<char*> owner(hashes);
    if (hashes == nullptr) {
        return Came::failed;
    }
    const Malloced<char> first(hashes[0]);
    const Malloced<char> second(hashes[1]);
    const Malloced<char> third(hashes[2]);
    return verdict(first && second && !third && std::strcmp(second.get(), "fedcba9876543210") == 0, false);
}

} // namespace

FAULT_ROW(tresk_label_set) = {.call = [] { return by_setting(tresk_label_set(path())); }};
FAULT_ROW(tresk_protect_set_zdk) = {
    .call = [] { return by_setting(tresk_protect_set_zdk(path(), "readonly", 0, "")); },
};
FAULT_ROW(tresk_protect_set) = {.call = [] { return by_setting(tresk_protect_set(path(), "verify")); }};
FAULT_ROW(tresk_protect_set_sm) = {.call = [] { return by_setting(tresk_protect_set_sm(path(), "none")); }};
FAULT_ROW(tresk_protect_set_for_dir_zdk) = {
    .call = [] { return by_setting(tresk_protect_set_for_dir_zdk(path(), "readonly", 0, "")); },
    .prepare = list_directory,
};
FAULT_ROW(tresk_protect_set_for_dir) = {
    .call = [] { return by_setting(tresk_protect_set_for_dir(path(), "readonly")); },
    .prepare = list_directory,
};
FAULT_ROW(tresk_protect_set_for_dir_sm) = {
    .call = [] { return by_setting(tresk_protect_set_for_dir_sm(path(), "none")); },
    .prepare = list_directory,
};
FAULT_ROW(tresk_identify_set) = {.call = [] { return by_setting(tresk_identify_set(path(), "audadm"), 2); }};
FAULT_ROW(tresk_exectl_set) = {.call = [] { return by_setting(tresk_exectl_set(path(), "trusted")); }};
FAULT_ROW(tresk_check_user_valid) = {
    .call = [] { return by_answer_or_code(tresk_check_user_valid("user", "credential")); },
    .methods = {{"tresk_check_user_valid_with_pam"}},
};
FAULT_ROW(tresk_protect_multi_set) = {
    .call = [] { return by_result_and_scene(tresk_protect_multi_set(records(), 3), 3, 0, 1); },
};
FAULT_ROW(tresk_identify_multi_set) = {
    .call = [] { return by_result_and_scene(tresk_identify_multi_set(records(), 3), 3, -1, 6); },
};
FAULT_ROW(tresk_exectl_multi_set) = {
    .call = [] { return by_setting(tresk_exectl_multi_set(records(), 3)); },
};
FAULT_ROW(tresk_exectl_multi_set_for_dpkg) = {
    .call =
        [] {
            return by_setting(tresk_exectl_multi_set_for_dpkg(three_records<tresk_dpkg_label_record>(""), 3));
        },
};
FAULT_ROW(tresk_fpro_clear_policy_zdk) = {.call = clear, .prepare = protect_files};
FAULT_ROW(tresk_calc_file_hash_value) = {
    .call = [] { return by_hash(tresk_calc_file_hash_value("/a")); },
    .methods = {{"tresk_xattr_calc_hash_by_path", kHash}},
};
FAULT_ROW(tresk_get_file_hash_value) = {
    .call = [] { return by_hash(tresk_get_file_hash_value("/a")); },
    .methods = {{"tresk_xattr_get_file_hash_value", kHash}},
};
FAULT_ROW(tresk_calc_multi_file_hash_value) = {
    .call = [] { return by_hashes(tresk_calc_multi_file_hash_value(kPaths, 3)); },
    .methods = {{"tresk_xattr_calc_multi_file_hash_value", kHashes}},
};
FAULT_ROW(tresk_get_multi_file_hash_value) = {
    .call = [] { return by_hashes(tresk_get_multi_file_hash_value(kPaths, 3)); },
    .methods = {{"tresk_xattr_get_multi_file_hash_value", kHashes}},
};

} // namespace tresk::test
