// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The functions of the framework's own libraries that this library calls as they are. The framework ships
// no header for them, so their declarations live here, once. The libraries behind them are linked by name;
// where the framework is not installed, the development stand-ins (standin/) carry the same names.
#ifndef TRESK_COMMON_FRAMEWORK_H
#define TRESK_COMMON_FRAMEWORK_H

#include <cstddef>
#include <cstdint>

extern "C" {

struct kmod_module;

// --- libtresk_log: diagnostics, and the record of the last error that clients may read ---

/// Writes one diagnostic. @one and @zero are 1 and 0 wherever this library calls it.
[[gnu::format(printf, 7, 8)]] void tresk_log_v2(int level, int one, int zero, const char* subject,
                                                const char* source, int line, const char* format, ...);
/// The older form of the same, without a source.
[[gnu::format(printf, 4, 5)]] void tresk_log(int level, int zero, const char* subject, const char* format,
                                             ...);
/// Records the last error. A null @format records no text.
[[gnu::format(printf, 3, 4)]] void tresk_set_error(int code, const char* subject, const char* format, ...);

// --- libtresk: the framework's state ---

int tresk_is_disabled(void);
int tresk_get_func_status(int function_index);
/// Stores a malloc'd version text in *@version, or leaves it null where the version is unknown.
int tresk_version_get(int kind, char** version);

// --- libtresk_adv ---

int tresk_sm3_file_path(const char* text, std::size_t length, unsigned char digest[32]);

// --- libtresk_core: paths ---

/// Returns a malloc'd absolute path, or null with errno set.
char* get_absolute_path(const char* path);
/// Returns a malloc'd array of *@count malloc'd paths of the files below @path, or null.
char** get_path_list_from_dir(const char* path, int* count);
int path_is_dir(const char* path);
/// 1 when the directory @target shows the directory of that name below @source.
int path_is_mount_bind(const char* source, const char* target);
/// 1 when both paths name the same file.
int path_is_same(const char* a, const char* b);
/// Returns @text past its leading blanks; may move the text in place instead.
char* ltrim_anyway(char* text);

// --- libtresk_scene_c: the scene's policies; 0, or a negative code (-2 present already, -3 not present) ---

int tresk_scene_filectl_add_by_path(const char* path);
int tresk_scene_filectl_remove_by_path(const char* path);
int tresk_scene_filectl_multi_add_by_path(char** paths, int count);
int tresk_scene_filectl_multi_remove_by_path(char** paths, int count);
/// Returns a malloc'd array of *@count malloc'd paths, or null.
char** tresk_scene_filectl_get_policy(int* count);
int tresk_scene_admctl_add_path_for_deny_all_user(const char* path);
int tresk_scene_admctl_remove_path_from_deny_all_user(const char* path);
int tresk_scene_admctl_add_path_for_user(int role, const char* path);
int tresk_scene_admctl_remove_path_from_user(int role, const char* path);
int tresk_scene_exectl_xattr_set(const char* path);
int tresk_scene_exectl_xattr_multi_set(char** paths, int count);
int tresk_scene_exectl_wlist_add(const char* path);
int tresk_scene_exectl_wlist_delete(const char* path);
int tresk_scene_exectl_wlist_multi_add(char** paths, int count);
int tresk_scene_exectl_wlist_multi_delete(char** paths, int count);
int tresk_scene_kmodctl_add_by_name(const char* name);
int tresk_scene_kmodctl_remove_by_name(const char* name);
int tresk_scene_netctl_add_by_path(const char* path);
int tresk_scene_netctl_remove_by_path(const char* path);
int tresk_scene_netctl_add_by_package(const char* package);
int tresk_scene_netctl_remove_by_package(const char* package);
int tresk_scene_taskctl_add_by_path(const char* path);
int tresk_scene_taskctl_remove_by_path(const char* path);
int tresk_scene_pblkctl_add_by_path(const char* path);
int tresk_scene_pblkctl_remove_by_path(const char* path);

// --- the scene's device policies: arrays of records; 0, or a code (-100 present already) ---

/// A policy for a type of device, in the scene's own numbers.
struct type_record {
    std::uint32_t device_class;
    std::uint32_t subtype;
    std::uint32_t perm;
};

/// A policy for a product and vendor id.
struct pvid_record {
    std::uint32_t usb_type;
    std::uint32_t product_id;
    std::uint32_t vendor_id;
    char serial[256];
    std::uint32_t perm;
    char unused[256];
};

/// A permitted wireless network.
struct netcard_record {
    char name[128];
    std::uint32_t perm;
};

static_assert(sizeof(type_record) == 12 && sizeof(pvid_record) == 528 && sizeof(netcard_record) == 132,
              "the scene library was built with these sizes");

int tresk_scene_add_devctl_by_type(type_record* records, int count);
int tresk_scene_remove_devctl_by_type(type_record* records, int count);
int tresk_scene_add_devctl_by_pvid(pvid_record* records, int count);
int tresk_scene_remove_devctl_by_pvid(pvid_record* records, int count);
int tresk_scene_add_devctl_by_netcard_name(netcard_record* records, int count);
int tresk_scene_remove_devctl_by_netcard_name(netcard_record* records, int count);
/// These return a malloc'd array of *@count records, or null.
type_record* tresk_scene_get_devctl_all_types(int* count);
pvid_record* tresk_scene_get_devctl_all_pvid(int* count);
netcard_record* tresk_scene_get_devctl_netcard(int* count);

// --- the platform's libkmod ---

/// Writes the module's own name, as its file records it, to @name (1024 bytes); negative on failure. Not
/// every platform's libkmod has it: test its address before calling.
[[gnu::weak]] int dnx_kmod_module_get_module_name(const struct kmod_module* module, const void* null,
                                                  int zero, char* name);

} // extern "C"

#endif
