// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every exported symbol once, through the library as programs load it, against the whole framework of the
// sandbox: one administrator's day, in order. A symbol without a row fails the test.
#include "common/handles.h"
#include "tests/support/policy_files.h"
#include "tresk_extend.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>
#include <string>

namespace tresk::test {

namespace {

const char* const kProgram = "/usr/bin/env";
constexpr const char* kFolder = "/data/labelled";
constexpr const char* kPproFile = "/etc/tresk/ppro/ppro.xml";
constexpr const char* kNetctlFile = "/etc/tresk/netctl/netctl.xml";
constexpr const char* kPackageFile = "/etc/tresk/netctl/netctl_pkg.xml";
constexpr const char* kPblkFile = "/etc/tresk/pblk/pblk.xml";
constexpr int kUser = 0;

// --- what came of a call, as text ---

std::string shown(std::int64_t number)
{
    return std::to_string(number);
}

std::string shown(const std::string& text)
{
    return text;
}

std::string found(void* record)
{
    return Malloced<void>(record) ? "yes" : "no";
}

std::string length_of(char* text)
{
    const Malloced<char> owner(text);
    return owner ? std::to_string(std::strlen(owner.get())) : "none";
}

std::string length_of_first(char** texts)
{
    const Malloced<char*> owner(texts);
    return owner ? length_of(*owner) : "none";
}

/// The number of records that a reader says it returns; it has to return some.
template <class Count = int, class Reader>
std::string counted(Reader reader)
{
    Count count = 0;
    const Malloced<void> records(reader(&count));
    return records ? std::to_string(count) : "none";
}

template <class Call>
std::string counter(Call call)
{
    int count = 0;
    const int result = call(&count);
    return std::to_string(result) + " " + std::to_string(count);
}

template <class Call>
std::string two_numbers(Call call)
{
    int first = -1;
    int second = -1;
    const int result = call(&first, &second);
    return std::to_string(result) + " " + std::to_string(first) + " " + std::to_string(second);
}

std::string action()
{
    char* text = nullptr;
    const int result = tresk_ppro_get_action(&text);
    const Malloced<char> owner(text);
    return std::to_string(result) + " " + (owner ? owner.get() : "none");
}

std::string reply_text(GVariant* reply)
{
    const Handle<GVariant, ::g_variant_unref> owner(reply);
    return owner ? g_variant_get_type_string(owner.get()) : "none";
}

std::string reply_of_service()
{
    return reply_text(process_dbus_method("/module", "com.meron.tresk.module", "getModuleStatus",
                                          g_variant_new("(i)", 3), nullptr));
}

std::string reply_of_bus()
{
    return reply_text(process_dbus_other_method("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                "org.freedesktop.DBus", "GetId", nullptr, nullptr));
}

// --- what the calls are given ---

std::string text_of(const char* text)
{
    return text;
}

std::string hash_of_program()
{
    const Malloced<char> hash(tresk_pblk_get_path_hash(kProgram));
    return hash.get();
}

template <class Record>
Malloced<Record> zeroed()
{
    return Malloced<Record>(static_cast<Record*>(std::calloc(1, sizeof(Record))));
}

Malloced<tresk_label_record> label_record(const char* label)
{
    auto record = zeroed<tresk_label_record>();
    std::strcpy(record->path, kProgram);
    std::strcpy(record->label, label);
    return record;
}

Malloced<tresk_dpkg_label_record> dpkg_record()
{
    auto record = zeroed<tresk_dpkg_label_record>();
    std::strcpy(record->path, kProgram);
    return record;
}

Malloced<tresk_device_policy> product_policy()
{
    auto policy = zeroed<tresk_device_policy>();
    policy->dpid = 1;
    policy->dvid = 2;
    policy->dperm = 1;
    return policy;
}

Malloced<tresk_device_record> device_seen_now()
{
    auto record = zeroed<tresk_device_record>();
    const std::time_t now = std::time(nullptr) - 60;
    std::strftime(record->time, sizeof record->time, "%F %T", std::localtime(&now));
    return record;
}

/// The functions that do nothing leave the policies alone.
std::string policies_after(void (*do_nothing)())
{
    do_nothing();
    return counted(tresk_devctl_read_all_dev_data);
}

struct Row {
    const char* symbol;
    std::function<std::string()> call;
    const char* expected;
};

/// The look-up of a protected process by its hash gives every entry but that of the hash: programs rely on
/// it.
const Row kRows[] = {
    {"user_distinguish", [] { return shown(user_distinguish); }, "0"},
    {"tresk_setstatus", [] { return shown(tresk_setstatus(1)); }, "0"},
    {"tresk_set_func_status", [] { return shown(tresk_set_func_status(5, 1)); }, "0"},
    {"tresk_conf_add", [] { return shown(tresk_conf_add()); }, "0"},
    {"tresk_conf_set", [] { return shown(tresk_conf_set("entry", 1)); }, "0"},
    {"tresk_conf_remove", [] { return shown(tresk_conf_remove()); }, "0"},
    {"setModuleStatus_dbus", [] { return shown(setModuleStatus_dbus(1, 1, 1, 2, 1)); }, "0"},
    {"getModuleStatus_dbus", [] { return shown(getModuleStatus_dbus(3)); }, "2"},
    {"getCurModuleStatus_dbus", [] { return shown(getCurModuleStatus_dbus(3)); }, "2"},
    {"setModuleStatusReboot_dbus", [] { return shown(setModuleStatusReboot_dbus(1, 1, 1, 1, 1, 1)); }, "0"},
    {"getCurSecurityStatusForVexDefender", [] { return shown(getCurSecurityStatusForVexDefender()); }, "1"},
    {"getSecurityStatusForVexDefender", [] { return shown(two_numbers(getSecurityStatusForVexDefender)); },
     "1 1 1"},
    {"setSecurityForVexDefender", [] { return shown(setSecurityForVexDefender(1, 1)); }, "0"},
    {"setSecurityForVexDefenderReboot", [] { return shown(setSecurityForVexDefenderReboot(1, 1, 1)); }, "0"},
    {"setSelinuxPolicy", [] { return shown(setSelinuxPolicy("targeted")); }, "0"},
    {"checkSecuritySwitchReboot_dbus", [] { return shown(checkSecuritySwitchReboot_dbus(1)); }, "0"},
    {"checkSetModuleStatusReboot_dbus", [] { return shown(checkSetModuleStatusReboot_dbus(3, 1)); }, "0"},
    {"processctrlPolkitForSetModuleStatus_dbus",
     [] { return shown(processctrlPolkitForSetModuleStatus_dbus(3, 1)); }, "0"},
    {"getBootMode_dbus", [] { return shown(getBootMode_dbus()); }, "0"},
    {"tresk_netflow_perm_check", [] { return shown(tresk_netflow_perm_check()); }, "0"},
    {"process_dbus_method", [] { return shown(reply_of_service()); }, "(i)"},
    {"process_dbus_other_method", [] { return shown(reply_of_bus()); }, "(s)"},
    {"handling_dbus_error", [] { return shown(handling_dbus_error(nullptr)); }, "-1011"},
    {"tresk_label_set", [] { return shown(tresk_label_set(kProgram)); }, "0"},
    {"tresk_protect_set_zdk", [] { return shown(tresk_protect_set_zdk(kProgram, "readonly", 0, "")); }, "0"},
    {"tresk_protect_set", [] { return shown(tresk_protect_set(kProgram, "verify")); }, "0"},
    {"tresk_protect_set_sm", [] { return shown(tresk_protect_set_sm(kProgram, "none")); }, "0"},
    {"tresk_protect_set_for_dir_zdk",
     [] { return shown(tresk_protect_set_for_dir_zdk(kFolder, "readonly", 0, "")); }, "0"},
    {"tresk_protect_set_for_dir", [] { return shown(tresk_protect_set_for_dir(kFolder, "none")); }, "0"},
    {"tresk_protect_set_for_dir_sm", [] { return shown(tresk_protect_set_for_dir_sm(kFolder, "readonly")); },
     "0"},
    {"tresk_fpro_clear_policy_zdk", [] { return shown(tresk_fpro_clear_policy_zdk()); }, "0"},
    {"tresk_identify_set", [] { return shown(tresk_identify_set(kProgram, "secadm")); }, "0"},
    {"tresk_exectl_set", [] { return shown(tresk_exectl_set(kProgram, "trusted")); }, "0"},
    {"tresk_check_user_valid", [] { return shown(tresk_check_user_valid("nobody", "nothing")); }, "1"},
    {"tresk_protect_multi_set",
     [] { return shown(tresk_protect_multi_set(label_record("readonly").get(), 1)); }, "1"},
    {"tresk_identify_multi_set",
     [] { return shown(tresk_identify_multi_set(label_record("none").get(), 1)); }, "1"},
    {"tresk_exectl_multi_set", [] { return shown(tresk_exectl_multi_set(label_record("unknown").get(), 1)); },
     "0"},
    {"tresk_exectl_multi_set_for_dpkg",
     [] { return shown(tresk_exectl_multi_set_for_dpkg(dpkg_record().get(), 1)); }, "0"},
    {"tresk_calc_file_hash_value", [] { return shown(length_of(tresk_calc_file_hash_value(kProgram))); },
     "64"},
    {"tresk_get_file_hash_value", [] { return shown(length_of(tresk_get_file_hash_value(kProgram))); }, "64"},
    {"tresk_calc_multi_file_hash_value",
     [] { return shown(length_of_first(tresk_calc_multi_file_hash_value(&kProgram, 1))); }, "64"},
    {"tresk_get_multi_file_hash_value",
     [] { return shown(length_of_first(tresk_get_multi_file_hash_value(&kProgram, 1))); }, "64"},
    {"add_to_kmod_protect", [] { return shown(add_to_kmod_protect(kProgram)); }, "-2"},
    {"add_to_kmod_protect_sm", [] { return shown(add_to_kmod_protect_sm(kProgram)); }, "-2"},
    {"add_to_kmod_protect_zdk", [] { return shown(add_to_kmod_protect_zdk(kProgram)); }, "-2"},
    {"remove_from_kmod_protect", [] { return shown(remove_from_kmod_protect(kProgram)); }, "-2"},
    {"remove_from_kmod_protect_sm", [] { return shown(remove_from_kmod_protect_sm(kProgram)); }, "-2"},
    {"remove_from_kmod_protect_zdk", [] { return shown(remove_from_kmod_protect_zdk(kProgram)); }, "-2"},
    {"get_kmod_name_from_ko", [] { return shown(length_of(get_kmod_name_from_ko(kProgram))); }, "none"},
    {"add_kmod_to_kmod_protect", [] { return shown(add_kmod_to_kmod_protect("module")); }, "0"},
    {"add_kmod_to_kmod_protect_sm", [] { return shown(add_kmod_to_kmod_protect_sm("module")); }, "0"},
    {"add_kmod_to_kmod_protect_zdk", [] { return shown(add_kmod_to_kmod_protect_zdk("module")); }, "0"},
    {"remove_kmod_from_kmod_protect", [] { return shown(remove_kmod_from_kmod_protect("module")); }, "0"},
    {"remove_kmod_from_kmod_protect_sm", [] { return shown(remove_kmod_from_kmod_protect_sm("module")); },
     "0"},
    {"remove_kmod_from_kmod_protect_zdk", [] { return shown(remove_kmod_from_kmod_protect_zdk("module")); },
     "0"},
    {"check_kmod_in_sm", [] { return shown(check_kmod_in_sm("module")); }, "1"},
    {"tresk_xattr_check_kmod_del_from_kernel",
     [] { return shown(tresk_xattr_check_kmod_del_from_kernel("module", 0, "")); }, "-1000"},
    {"tresk_ppro_add_zdk", [] { return shown(tresk_ppro_add_zdk(kProgram, 1, 0, "source")); }, "0"},
    {"tresk_ppro_update_zdk", [] { return shown(tresk_ppro_update_zdk(kProgram, 2, 0, "source")); }, "0"},
    {"tresk_ppro_read_all_data_zdk",
     [] {
         return shown(counted([](int* count) { return tresk_ppro_read_all_data_zdk(count, 0, "source"); }));
     },
     "1"},
    {"tresk_ppro_read_node_with_path_zdk",
     [] { return shown(found(tresk_ppro_read_node_with_path_zdk(kProgram, 0, "source"))); }, "yes"},
    {"tresk_ppro_remove_zdk", [] { return shown(tresk_ppro_remove_zdk(kProgram, 0, "source")); }, "0"},
    {"tresk_ppro_add", [] { return shown(tresk_ppro_add(kProgram, 1)); }, "0"},
    {"tresk_ppro_update", [] { return shown(tresk_ppro_update(kProgram, 2)); }, "0"},
    {"tresk_ppro_get_path_hash", [] { return shown(length_of(tresk_ppro_get_path_hash(kProgram))); }, "64"},
    {"tresk_ppro_read_all_data", [] { return shown(counted(tresk_ppro_read_all_data)); }, "1"},
    {"tresk_ppro_read_all_data_sm", [] { return shown(counted(tresk_ppro_read_all_data_sm)); }, "1"},
    {"tresk_ppro_read_all_data_internal",
     [] { return shown(counted([](int* count) { return tresk_ppro_read_all_data_internal(count, 0); })); },
     "1"},
    {"tresk_ppro_read_all_data_with_file",
     [] {
         return shown(counted([](int* count) {
             return tresk_ppro_read_all_data_with_file(text_of(kPproFile).data(), count);
         }));
     },
     "1"},
    {"tresk_ppro_read_all_data_with_file_sm",
     [] {
         return shown(counted([](int* count) {
             return tresk_ppro_read_all_data_with_file_sm(text_of(kPproFile).data(), count);
         }));
     },
     "1"},
    {"tresk_ppro_read_all_data_with_file_zdk",
     [] {
         return shown(counted(
             [](int* count) { return tresk_ppro_read_all_data_with_file_zdk(kPproFile, count, 0, ""); }));
     },
     "1"},
    {"tresk_ppro_read_node_with_path", [] { return shown(found(tresk_ppro_read_node_with_path(kProgram))); },
     "yes"},
    {"tresk_ppro_read_node_with_path_sm",
     [] { return shown(found(tresk_ppro_read_node_with_path_sm(kProgram))); }, "yes"},
    {"tresk_ppro_read_node_with_path_internal",
     [] { return shown(found(tresk_ppro_read_node_with_path_internal(kProgram, 0))); }, "yes"},
    {"tresk_ppro_read_node_with_hash_zdk",
     [] { return shown(found(tresk_ppro_read_node_with_hash_zdk(hash_of_program().c_str(), 0, ""))); }, "no"},
    {"tresk_ppro_check_in_sm", [] { return shown(tresk_ppro_check_in_sm(hash_of_program().c_str())); }, "-1"},
    {"tresk_ppro_get_same_node_by_hash",
     [] {
         return shown(counter(
             [](int* count) { return tresk_ppro_get_same_node_by_hash(hash_of_program().c_str(), count); }));
     },
     "0 1"},
    {"tresk_ppro_get_action", [] { return shown(action()); }, "0 stop"},
    {"ppro_path_in_blacklist", [] { return shown(ppro_path_in_blacklist(text_of(kProgram).data())); }, "1"},
    {"tresk_ppro_communicate_with_kernel_zdk",
     [] { return shown(tresk_ppro_communicate_with_kernel_zdk(9, hash_of_program().c_str(), 1, 0, "")); },
     "0"},
    {"tresk_ppro_communicate_with_kernel",
     [] { return shown(tresk_ppro_communicate_with_kernel(9, hash_of_program().c_str(), 1)); }, "0"},
    {"tresk_ppro_communicate_with_kernel_sm",
     [] { return shown(tresk_ppro_communicate_with_kernel_sm(9, hash_of_program().c_str(), 1)); }, "0"},
    {"tresk_ppro_update_internal", [] { return shown(tresk_ppro_update_internal(kProgram, 3, 0)); }, "0"},
    {"tresk_ppro_remove_internal", [] { return shown(tresk_ppro_remove_internal(kProgram, 0)); }, "0"},
    {"tresk_ppro_remove", [] { return shown(tresk_ppro_remove(kProgram)); }, "-3"},
    {"tresk_ppro_add_sm", [] { return shown(tresk_ppro_add_sm(kProgram, 1)); }, "0"},
    {"tresk_ppro_update_sm", [] { return shown(tresk_ppro_update_sm(kProgram, 2)); }, "0"},
    {"tresk_ppro_remove_sm", [] { return shown(tresk_ppro_remove_sm(kProgram)); }, "0"},
    {"tresk_get_pid_by_path", [] { return shown(tresk_get_pid_by_path("/proc/self/exe") > 0); }, "1"},
    {"tresk_netctl_set_user_distinguish", [] { return shown(tresk_netctl_set_user_distinguish(0)); }, "0"},
    {"tresk_netctl_get_user_distinguish", [] { return shown(tresk_netctl_get_user_distinguish()); }, "0"},
    {"tresk_netctl_add", [] { return shown(tresk_netctl_add(kUser, kProgram, 2, "name", "ico", 0)); }, "0"},
    {"tresk_netctl_update", [] { return shown(tresk_netctl_update(kUser, kProgram, 1, "name", "ico", 0)); },
     "0"},
    {"tresk_netctl_get_path_hash",
     [] { return shown(length_of(tresk_netctl_get_path_hash(kProgram, kUser))); }, "64"},
    {"tresk_netctl_read_all_data", [] { return shown(counted<uint32_t>(tresk_netctl_read_all_data)); }, "1"},
    {"tresk_netctl_read_all_data_inner",
     [] {
         return shown(counted<uint32_t>(
             [](uint32_t* count) { return tresk_netctl_read_all_data_inner(kNetctlFile, count); }));
     },
     "1"},
    {"tresk_netctl_read_all_data_with_uid",
     [] {
         return shown(counted<uint32_t>(
             [](uint32_t* count) { return tresk_netctl_read_all_data_with_uid(kUser, count); }));
     },
     "1"},
    {"tresk_netctl_read_all_data_with_uid_inner",
     [] {
         return shown(counted<uint32_t>([](uint32_t* count) {
             return tresk_netctl_read_all_data_with_uid_inner(kUser, kNetctlFile, count);
         }));
     },
     "1"},
    {"tresk_netctl_ext_read_all_data_with_uid",
     [] {
         return shown(counted<int32_t>(
             [](int32_t* count) { return tresk_netctl_ext_read_all_data_with_uid(kUser, count); }));
     },
     "1"},
    {"tresk_netctl_ext_read_all_data_with_uid_inner",
     [] {
         return shown(counted<int32_t>([](int32_t* count) {
             return tresk_netctl_ext_read_all_data_with_uid_inner(kUser, kNetctlFile, count);
         }));
     },
     "1"},
    {"tresk_netctl_read_node_with_uid",
     [] { return shown(found(tresk_netctl_read_node_with_uid(kUser, kProgram))); }, "yes"},
    {"tresk_netctl_ext_read_node_with_uid",
     [] { return shown(found(tresk_netctl_ext_read_node_with_uid(kUser, kProgram))); }, "yes"},
    {"tresk_netctl_communicate_with_kernel",
     [] { return shown(tresk_netctl_communicate_with_kernel(9, hash_of_program().c_str(), 1)); }, "0"},
    {"tresk_netctl_remove", [] { return shown(tresk_netctl_remove(kUser, kProgram)); }, "0"},
    {"tresk_netctl_ext_add",
     [] { return shown(tresk_netctl_ext_add(kUser, kProgram, 1, "name", "ico", "desktop", 0)); }, "0"},
    {"tresk_netctl_ext_update",
     [] { return shown(tresk_netctl_ext_update(kUser, kProgram, 2, "name", "ico", "desktop", 0)); }, "0"},
    {"tresk_netctl_pkg_add",
     [] { return shown(tresk_netctl_pkg_add(kUser, "package", 1, "ico", "desktop", 0)); }, "0"},
    {"tresk_netctl_pkg_update",
     [] { return shown(tresk_netctl_pkg_update(kUser, "package", 2, "ico", "desktop", 0)); }, "0"},
    {"tresk_netctl_pkg_path_update",
     [] { return shown(tresk_netctl_pkg_path_update(kUser, "package", kProgram, 1, "ico", "desktop", 0)); },
     "0"},
    {"tresk_netctl_pkg_path_add", [] { return shown(tresk_netctl_pkg_path_add()); }, "-1000"},
    {"tresk_netctl_pkg_read_all_data_with_uid",
     [] {
         return shown(counted<uint32_t>(
             [](uint32_t* count) { return tresk_netctl_pkg_read_all_data_with_uid(kUser, count); }));
     },
     "1"},
    {"tresk_netctl_pkg_read_all_data_with_uid_inner",
     [] {
         return shown(counted<uint32_t>([](uint32_t* count) {
             return tresk_netctl_pkg_read_all_data_with_uid_inner(kUser, kPackageFile, count);
         }));
     },
     "1"},
    {"tresk_netctl_pkg_read_node_with_uid",
     [] { return shown(found(tresk_netctl_pkg_read_node_with_uid(kUser, "package"))); }, "yes"},
    {"tresk_netctl_pkg_path_read_node_with_uid",
     [] { return shown(found(tresk_netctl_pkg_path_read_node_with_uid(kUser, "package"))); }, "yes"},
    {"tresk_netctl_pkg_remove", [] { return shown(tresk_netctl_pkg_remove(kUser, "package")); }, "0"},
    {"check_pkg_is_install", [] { return shown(check_pkg_is_install("no-such-package-anywhere")); }, "0"},
    {"check_program_is_exist", [] { return shown(check_program_is_exist(kProgram)); }, "1"},
    {"tresk_pblk_add_zdk", [] { return shown(tresk_pblk_add_zdk(text_of(kProgram).data(), 5, "source")); },
     "0"},
    {"tresk_pblk_read_all_data", [] { return shown(counted(tresk_pblk_read_all_data)); }, "1"},
    {"tresk_pblk_read_all_data_with_file",
     [] {
         return shown(
             counted([](int* count) { return tresk_pblk_read_all_data_with_file(kPblkFile, count); }));
     },
     "1"},
    {"tresk_pblk_read_all_data_zdk",
     [] {
         return shown(counted([](int* count) { return tresk_pblk_read_all_data_zdk(5, "source", count); }));
     },
     "1"},
    {"tresk_pblk_read_all_data_with_file_zdk",
     [] {
         return shown(counted([](int* count) {
             return tresk_pblk_read_all_data_with_file_zdk(kPblkFile, 5, "source", count);
         }));
     },
     "1"},
    {"tresk_pblk_get_path_hash", [] { return shown(length_of(tresk_pblk_get_path_hash(kProgram))); }, "64"},
    {"tresk_pblk_read_node_with_path_zdk",
     [] { return shown(found(tresk_pblk_read_node_with_path_zdk(kProgram, 5, "source"))); }, "yes"},
    {"tresk_pblk_read_node_with_hash_zdk",
     [] { return shown(found(tresk_pblk_read_node_with_hash_zdk(hash_of_program().c_str(), 5, "source"))); },
     "yes"},
    {"tresk_pblk_get_same_node_by_hash",
     [] {
         return shown(counter(
             [](int* count) { return tresk_pblk_get_same_node_by_hash(hash_of_program().c_str(), count); }));
     },
     "0 1"},
    {"tresk_pblk_communicate_with_kernel_zdk",
     [] { return shown(tresk_pblk_communicate_with_kernel_zdk(20, hash_of_program().c_str(), 5, "source")); },
     "0"},
    {"tresk_pblk_remove_zdk",
     [] { return shown(tresk_pblk_remove_zdk(text_of(kProgram).data(), 5, "source")); }, "0"},
    {"tresk_pblk_add", [] { return shown(tresk_pblk_add(text_of(kProgram).data())); }, "0"},
    {"tresk_pblk_read_node_with_path", [] { return shown(found(tresk_pblk_read_node_with_path(kProgram))); },
     "yes"},
    {"tresk_pblk_communicate_with_kernel",
     [] { return shown(tresk_pblk_communicate_with_kernel(9, hash_of_program().c_str())); }, "0"},
    {"tresk_pblk_remove", [] { return shown(tresk_pblk_remove(text_of(kProgram).data())); }, "0"},
    {"get_tid", [] { return shown(get_tid() == ::syscall(SYS_gettid)); }, "1"},
    {"tresk_hash_communicate_with_kernel",
     [] { return shown(tresk_hash_communicate_with_kernel(9, hash_of_program().c_str(), 1)); }, "0"},
    {"tresk_kmod_communicate_with_kernel_zdk",
     [] { return shown(tresk_kmod_communicate_with_kernel_zdk(9, "module", 0, "")); }, "0"},
    {"tresk_kmod_communicate_with_kernel",
     [] { return shown(tresk_kmod_communicate_with_kernel(9, "module")); }, "0"},
    {"tresk_kmod_communicate_with_kernel_sm",
     [] { return shown(tresk_kmod_communicate_with_kernel_sm(8, "module")); }, "-1000"},
    {"tresk_devctl_communicate_with_kernel",
     [] { return shown(tresk_devctl_communicate_with_kernel(9, "bytes", 5)); }, "0"},
    {"tresk_convert_exectl_label_to_label_type",
     [] { return shown(tresk_convert_exectl_label_to_label_type("script")); }, "7"},
    {"tresk_devctl_add_perm", [] { return shown(tresk_devctl_add_perm(2, 0, 0, 0, 0, nullptr, nullptr, 1)); },
     "0"},
    {"tresk_devctl_update_perm",
     [] { return shown(tresk_devctl_update_perm(2, 0, 0, 0, nullptr, nullptr, 5)); }, "0"},
    {"tresk_devctl_batch_add_perm",
     [] { return shown(tresk_devctl_batch_add_perm(product_policy().get(), 1)); }, "0"},
    {"tresk_devctl_read_all_dev_data", [] { return shown(counted(tresk_devctl_read_all_dev_data)); }, "2"},
    {"tresk_devctl_read_not_special_data", [] { return shown(counted(tresk_devctl_read_not_special_data)); },
     "1"},
    {"tresk_devctl_read_special_xmldata", [] { return shown(counted(tresk_devctl_read_special_xmldata)); },
     "1"},
    {"tresk_devctl_sm_get_no_special", [] { return shown(counted(tresk_devctl_sm_get_no_special)); }, "1"},
    {"tresk_devctl_sm_read_special_xmldata",
     [] { return shown(counted(tresk_devctl_sm_read_special_xmldata)); }, "1"},
    {"tresk_devctl_remove_perm", [] { return shown(tresk_devctl_remove_perm(2, 0, 0, 0, nullptr, 5)); }, "0"},
    {"tresk_devctl_sm_add_perm", [] { return shown(tresk_devctl_sm_add_perm(1, 1, 1)); }, "0"},
    {"tresk_devctl_sm_remove_perm", [] { return shown(tresk_devctl_sm_remove_perm(1, 1, 1)); }, "0"},
    {"tresk_devctl_wireless_ctl_add", [] { return shown(tresk_devctl_wireless_ctl_add("network")); }, "0"},
    {"tresk_devctl_read_all_ssid_data", [] { return shown(counted(tresk_devctl_read_all_ssid_data)); }, "1"},
    {"tresk_devctl_wireless_ctl_del", [] { return shown(tresk_devctl_wireless_ctl_del("network")); }, "0"},
    {"tresk_devctl_xdg_insert_record",
     [] { return shown(tresk_devctl_xdg_insert_record(device_seen_now().get(), 1)); }, "0"},
    {"device_record_get", [] { return shown(counted(device_record_get)); }, "1"},
    {"tresk_devctl_auto_sync_config", [] { return shown(tresk_devctl_auto_sync_config()); }, "0"},
    {"tresk_devctl_read_sys_devinfo", [] { return shown(found(tresk_devctl_read_sys_devinfo())); }, "no"},
    {"tresk_devctl_rebind_usb_device", [] { return shown(tresk_devctl_rebind_usb_device()); }, "0"},
    {"tresk_devctl_get_sm", [] { return shown(policies_after(tresk_devctl_get_sm)); }, "1"},
    {"tresk_devctl_sm_clean_all_policies",
     [] { return shown(policies_after(tresk_devctl_sm_clean_all_policies)); }, "1"},
    {"tresk_devctl_load_vex_policies", [] { return shown(policies_after(tresk_devctl_load_vex_policies)); },
     "1"},
    {"tresk_bwlist_add_zdk", [] { return shown(tresk_bwlist_add_zdk("white", "package", 1, "")); }, "0"},
    {"tresk_bwlist_select_by_rpm_name_zdk",
     [] { return shown(tresk_bwlist_select_by_rpm_name_zdk("bwlist", "package", 3, "")); }, "2"},
    {"_bwlist_unite_select_by_rpm_name",
     [] { return shown(_bwlist_unite_select_by_rpm_name("white", "package")); }, "1"},
    {"_bwlist_independence_select_by_rpm_name",
     [] { return shown(_bwlist_independence_select_by_rpm_name("white", "package", 1, "")); }, "1"},
    {"tresk_bwlist_set_root_distinguish_zdk",
     [] { return shown(tresk_bwlist_set_root_distinguish_zdk(1, 1, "")); }, "0"},
    {"tresk_bwlist_get_root_distinguish_zdk",
     [] { return shown(tresk_bwlist_get_root_distinguish_zdk(1, "")); }, "1"},
    {"tresk_bwlist_del_zdk", [] { return shown(tresk_bwlist_del_zdk("white", "package", 1, "")); }, "0"},
    {"tresk_bwlist_clear_policy_zdk", [] { return shown(tresk_bwlist_clear_policy_zdk(1, "")); }, "0"},
};

std::set<std::string> listed_symbols()
{
    std::istringstream lines(read_file(TRESK_EXPORTED_SYMBOLS).value_or(""));
    std::set<std::string> symbols;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string letter;
        std::string symbol;
        if (words >> letter >> symbol && letter != "#") {
            symbols.insert(symbol);
        }
    }
    return symbols;
}

TEST(EverySymbol, HasARow)
{
    std::set<std::string> rows;
    for (const Row& row : kRows) {
        EXPECT_TRUE(rows.insert(row.symbol).second) << row.symbol << " has two rows";
    }
    EXPECT_EQ(rows, listed_symbols());
}

TEST(EverySymbol, DoesItsWorkAgainstTheWholeFramework)
{
    std::filesystem::create_directories(kFolder);
    write_file(std::string(kFolder) + "/file", "content");
    write_file("/etc/tresk/ppro/ppro.conf", "action=stop\n");
    write_file("/etc/tresk/ppro/ppro_blacklist", std::string(kProgram) + "\n");
    for (const Row& row : kRows) {
        EXPECT_EQ(row.call(), row.expected) << row.symbol;
    }
}

} // namespace

} // namespace tresk::test
