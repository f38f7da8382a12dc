// SPDX-License-Identifier: LGPL-2.1-or-later
//
// On machines that keep user data on a partition of its own, "/home" and "/root" are bind mounts of
// "/data/home" and "/data/root", so that one file has two absolute paths. Edits store the short form; the
// readers look entries up under the long one. Both rules live here.
#ifndef TRESK_COMMON_DATA_PATH_H
#define TRESK_COMMON_DATA_PATH_H

#include "common/handles.h"
#include "common/report.h"

#include <string>

namespace tresk {

/// Longest path that the rewriting of the policy families keeps, in bytes.
inline constexpr std::size_t kPathKept = 4095;
/// Longest lookup key, in bytes.
inline constexpr std::size_t kLookupKeyKept = 4096;

/// @path made absolute by the framework, or null with errno set (EINVAL for a null path).
Malloced<char> absolute_path(const char* path);

/// @path past its leading "/data" where it is below "/data/home" or "/data/root" and the rest names the same
/// file; else @path.
const char* without_data(const char* path);

/// Cuts the leading "/data" of a path below "/data/home" or "/data/root" in place, provided that the path
/// without it names the same file; of the rest @kept bytes at most, never half a character.
void shorten_data_path(char* path, std::size_t kept = kPathKept);

/// @path in the form in which edits store it: absolute and shortened. Null, logged and recorded, where it
/// cannot be made absolute.
Malloced<char> stored_path(Source source, const char* path, std::size_t kept = kPathKept);

/// The form under which entries for the absolute path @path are looked up: with "/data" in front where
/// "/home" or "/root" is bound from there.
std::string lookup_key(const char* path);

} // namespace tresk

#endif
