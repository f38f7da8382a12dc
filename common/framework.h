// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The functions of the framework's own libraries that this library calls as they are. The framework ships
// no header for them, so their declarations live here, once. The libraries behind them are linked by name;
// where the framework is not installed, the development stand-ins (standin/) carry the same names.
#ifndef TRESK_COMMON_FRAMEWORK_H
#define TRESK_COMMON_FRAMEWORK_H

#include <cstddef>

extern "C" {

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

int tresk_scene_netctl_add_by_path(const char* path);
int tresk_scene_netctl_remove_by_path(const char* path);
int tresk_scene_netctl_add_by_package(const char* package);
int tresk_scene_netctl_remove_by_package(const char* package);
int tresk_scene_taskctl_add_by_path(const char* path);
int tresk_scene_taskctl_remove_by_path(const char* path);
int tresk_scene_pblkctl_add_by_path(const char* path);
int tresk_scene_pblkctl_remove_by_path(const char* path);

} // extern "C"

#endif
