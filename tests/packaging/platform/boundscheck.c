/* SPDX-License-Identifier: LGPL-2.1-or-later */
#include "securec.h"

#include <string.h>

int strncpy_s(char* target, size_t size, const char* source, size_t count)
{
    size_t length = strnlen(source, count);
    if (length >= size) {
        target[0] = '\0';
        return 34;
    }
    memcpy(target, source, length);
    target[length] = '\0';
    return 0;
}

int strcpy_s(char* target, size_t size, const char* source)
{
    return strncpy_s(target, size, source, strlen(source));
}
