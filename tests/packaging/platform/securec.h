/* SPDX-License-Identifier: LGPL-2.1-or-later */
/* A fake of libboundscheck: the two calls that the library makes, as short as they can be. */
#ifndef SECUREC_H
#define SECUREC_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

int strcpy_s(char* target, size_t size, const char* source);
int strncpy_s(char* target, size_t size, const char* source, size_t count);

#ifdef __cplusplus
}
#endif

#endif
