// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A kernel module's file: what the module is called, which its file's name does not tell.
#ifndef TRESK_KMOD_MODULE_FILE_H
#define TRESK_KMOD_MODULE_FILE_H

#include "common/handles.h"

#include <cstddef>

struct kmod_module;

namespace tresk {

/// The size of a name's buffer, terminator included.
inline constexpr std::size_t kModuleNameBytes = 1024;

/// Fills @name, which holds zeros, with what the file of @module records as the module's name; negative where
/// it records none. The two arguments between are null and 0.
using ModuleNameReader = int (*)(const kmod_module* module, const void* null, int zero, char* name);

/// The platform's own reader where its libkmod has one, else read_name_entry().
ModuleNameReader module_name_reader() noexcept;

/// Reads the "name" entry of the module's information, which the module's build has put into its file. An
/// entry that is empty or does not fit is none.
int read_name_entry(const kmod_module* module, const void* null, int zero, char* name);

/// The name of the module in the file @path, in a zero-filled buffer of kModuleNameBytes. Null, with one line
/// on standard error, where it cannot be read.
Malloced<char> module_name_of_file(const char* path);

} // namespace tresk

#endif
