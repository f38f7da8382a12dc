// SPDX-License-Identifier: LGPL-2.1-or-later
//
// strncpy_s from libsafec. Its sibling in platform/boundscheck/ is used where libboundscheck is installed.
#ifndef TRESK_COMMON_PLATFORM_SECURE_COPY_H
#define TRESK_COMMON_PLATFORM_SECURE_COPY_H

extern "C" {
#include <safe_str_lib.h>
}

#endif
