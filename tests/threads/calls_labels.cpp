// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Labels, hashes of files and kernel modules. What the scene answers about a path that another thread may
// just have added (-2) or taken away (-3) is one of the possible answers of the functions that pass it on.
#include "tests/threads/call_parts.h"

#include <array>

namespace tresk::test {

namespace {

constexpr int kBatch = std::size(kPrograms);

/// All programs with @label.
Malloced<tresk_label_record> label_records(const char* label)
{
    auto records = zeroed<tresk_label_record>(kBatch);
    for (std::size_t i = 0; i < kBatch; ++i) {
        std::strcpy(records.get()[i].path, kPrograms[i].path);
        std::strcpy(records.get()[i].label, label);
    }
    return records;
}

Malloced<tresk_dpkg_label_record> hook_records()
{
    auto records = zeroed<tresk_dpkg_label_record>(kBatch);
    for (std::size_t i = 0; i < kBatch; ++i) {
        std::strcpy(records.get()[i].path, kPrograms[i].path);
    }
    return records;
}

const char* label(Random& random)
{
    static constexpr const char* kLabels[] = {"readonly", "verify", "none"};
    return one_of<const char*>(random, kLabels);
}

const char* role(Random& random)
{
    static constexpr const char* kRoles[] = {"secadm", "audadm", "none"};
    return one_of<const char*>(random, kRoles);
}

const char* exectl_label(Random& random)
{
    static constexpr const char* kLabels[] = {"trusted", "unknown", "script"};
    return one_of<const char*>(random, kLabels);
}

std::string content_hash(char* text)
{
    const Malloced<char> owner(text);
    return owner ? right(owner.get() == kContentHash) : "none";
}

/// The hashes of all programs, through one of the two functions for many.
std::string content_hashes(char** (*ask)(const char* const* paths, int count))
{
    std::array<const char*, kBatch> paths{};
    std::transform(std::begin(kPrograms), std::end(kPrograms), paths.begin(),
                   [](const Program& one) { return one.path; });
    const Malloced<char*> hashes(ask(paths.data(), kBatch));
    if (!hashes) {
        return "none";
    }
    int rights = 0;
    for (std::size_t i = 0; i < kBatch; ++i) {
        rights += content_hash(hashes.get()[i]) == "right" ? 1 : 0;
    }
    return right(rights == kBatch);
}

const char* module_name(Random& random)
{
    static constexpr const char* kNames[] = {"module_one", "module_two"};
    return one_of<const char*>(random, kNames);
}

std::string name_in_module_file(Random&)
{
    const Malloced<char> name(get_kmod_name_from_ko(TRESK_MODULE_FILE));
    return name ? name.get() : "none";
}

template <int (*change)(const char*)>
std::string by_file(Random&)
{
    return shown(change(TRESK_MODULE_FILE));
}

template <int (*change)(const char*)>
std::string by_name(Random& random)
{
    return shown(change(module_name(random)));
}

} // namespace

std::vector<Call> label_calls()
{
    constexpr Family labels = Family::labels;
    constexpr Family hashes = Family::hashes;
    constexpr Family kmod = Family::kmod;
    return {
        {"tresk_label_set",
         labels,
         Cost::scene,
         [](Random& random) { return shown(tresk_label_set(any_program(random).path)); },
         {"0"}},
        {"tresk_protect_set_zdk",
         labels,
         Cost::scene,
         [](Random& random) {
             return shown(tresk_protect_set_zdk(any_program(random).path, label(random), 0, ""));
         },
         {"0"}},
        {"tresk_protect_set",
         labels,
         Cost::scene,
         [](Random& random) { return shown(tresk_protect_set(any_program(random).path, label(random))); },
         {"0"}},
        {"tresk_protect_set_sm",
         labels,
         Cost::scene,
         [](Random& random) { return shown(tresk_protect_set_sm(any_program(random).path, label(random))); },
         {"0"}},
        {"tresk_protect_set_for_dir_zdk",
         labels,
         Cost::scene,
         [](Random& random) { return shown(tresk_protect_set_for_dir_zdk(kFolder, label(random), 0, "")); },
         {"0"}},
        {"tresk_protect_set_for_dir",
         labels,
         Cost::scene,
         [](Random& random) { return shown(tresk_protect_set_for_dir(kFolder, label(random))); },
         {"0"}},
        {"tresk_protect_set_for_dir_sm",
         labels,
         Cost::scene,
         [](Random& random) { return shown(tresk_protect_set_for_dir_sm(kFolder, label(random))); },
         {"0"}},
        {"tresk_identify_set",
         labels,
         Cost::scene,
         [](Random& random) { return shown(tresk_identify_set(any_program(random).path, role(random))); },
         {"0", "-2"}},
        {"tresk_exectl_set",
         labels,
         Cost::scene,
         [](Random& random) {
             return shown(tresk_exectl_set(any_program(random).path, exectl_label(random)));
         },
         {"0", "-2", "-3"}},
        {"tresk_protect_multi_set",
         labels,
         Cost::scene,
         [](Random& random) {
             return right(tresk_protect_multi_set(label_records(label(random)).get(), kBatch) == kBatch);
         },
         {"right"}},
        {"tresk_identify_multi_set",
         labels,
         Cost::scene,
         [](Random& random) {
             return right(tresk_identify_multi_set(label_records(role(random)).get(), kBatch) == kBatch);
         },
         {"right"}},
        {"tresk_exectl_multi_set",
         labels,
         Cost::scene,
         [](Random& random) {
             return shown(tresk_exectl_multi_set(label_records(exectl_label(random)).get(), kBatch));
         },
         {"0"}},
        {"tresk_exectl_multi_set_for_dpkg",
         labels,
         Cost::scene,
         [](Random&) { return shown(tresk_exectl_multi_set_for_dpkg(hook_records().get(), kBatch)); },
         {"0"}},
        // It lists the files and takes them off one by one: another thread may have been first.
        {"tresk_fpro_clear_policy_zdk",
         labels,
         Cost::scene,
         [](Random&) { return shown(tresk_fpro_clear_policy_zdk()); },
         {"0", "-3"}},
        {"tresk_check_user_valid",
         labels,
         Cost::bus,
         [](Random&) { return shown(tresk_check_user_valid("nobody", "nothing")); },
         {"1"}},

        {"tresk_calc_file_hash_value",
         hashes,
         Cost::bus,
         [](Random& random) { return content_hash(tresk_calc_file_hash_value(any_program(random).path)); },
         {"right"}},
        {"tresk_get_file_hash_value",
         hashes,
         Cost::bus,
         [](Random& random) { return content_hash(tresk_get_file_hash_value(any_program(random).path)); },
         {"right"}},
        {"tresk_calc_multi_file_hash_value",
         hashes,
         Cost::bus,
         [](Random&) { return content_hashes(tresk_calc_multi_file_hash_value); },
         {"right"}},
        {"tresk_get_multi_file_hash_value",
         hashes,
         Cost::bus,
         [](Random&) { return content_hashes(tresk_get_multi_file_hash_value); },
         {"right"}},

        {"get_kmod_name_from_ko", kmod, Cost::reader, name_in_module_file, {"module_in_file"}},
        {"add_to_kmod_protect", kmod, Cost::scene, by_file<add_to_kmod_protect>, {"0"}},
        {"add_to_kmod_protect_sm", kmod, Cost::scene, by_file<add_to_kmod_protect_sm>, {"0"}},
        {"add_to_kmod_protect_zdk", kmod, Cost::scene, by_file<add_to_kmod_protect_zdk>, {"0"}},
        {"remove_from_kmod_protect", kmod, Cost::scene, by_file<remove_from_kmod_protect>, {"0"}},
        {"remove_from_kmod_protect_sm", kmod, Cost::scene, by_file<remove_from_kmod_protect_sm>, {"0"}},
        {"remove_from_kmod_protect_zdk", kmod, Cost::scene, by_file<remove_from_kmod_protect_zdk>, {"0"}},
        {"add_kmod_to_kmod_protect", kmod, Cost::scene, by_name<add_kmod_to_kmod_protect>, {"0"}},
        {"add_kmod_to_kmod_protect_sm", kmod, Cost::scene, by_name<add_kmod_to_kmod_protect_sm>, {"0"}},
        {"add_kmod_to_kmod_protect_zdk", kmod, Cost::scene, by_name<add_kmod_to_kmod_protect_zdk>, {"0"}},
        {"remove_kmod_from_kmod_protect", kmod, Cost::scene, by_name<remove_kmod_from_kmod_protect>, {"0"}},
        {"remove_kmod_from_kmod_protect_sm",
         kmod,
         Cost::scene,
         by_name<remove_kmod_from_kmod_protect_sm>,
         {"0"}},
        {"remove_kmod_from_kmod_protect_zdk",
         kmod,
         Cost::scene,
         by_name<remove_kmod_from_kmod_protect_zdk>,
         {"0"}},
        {"check_kmod_in_sm", kmod, Cost::bus, by_name<check_kmod_in_sm>, {"1"}},
        {"tresk_xattr_check_kmod_del_from_kernel",
         kmod,
         Cost::plain,
         [](Random& random) {
             return shown(tresk_xattr_check_kmod_del_from_kernel(module_name(random), 0, ""));
         },
         {"-1000"}},
    };
}

} // namespace tresk::test
