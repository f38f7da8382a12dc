// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The key under which policies of programs are kept: the SHA-256 of the program's path text.
#ifndef TRESK_PPRO_PATH_HASH_H
#define TRESK_PPRO_PATH_HASH_H

#include "common/handles.h"
#include "common/report.h"

namespace tresk {

/// The hash of @path's first 4095 bytes as 64 lowercase hexadecimal digits; null for a null path, and, logged
/// on @function's behalf, where memory runs out.
Malloced<char> path_hash(Source source, const char* function, const char* path);

} // namespace tresk

#endif
