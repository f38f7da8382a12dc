// SPDX-License-Identifier: LGPL-2.1-or-later
//
// strncpy_s from libboundscheck. Its sibling in platform/safec/ is used where only libsafec is installed.
#ifndef TRESK_COMMON_PLATFORM_SECURE_COPY_H
#define TRESK_COMMON_PLATFORM_SECURE_COPY_H

#include <securec.h>

#endif
