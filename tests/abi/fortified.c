/* SPDX-License-Identifier: LGPL-2.1-or-later */
/* A copy into memory whose size is known only when the program runs. */
#include <stdlib.h>
#include <string.h>

char* copy_of(const char* text, size_t size, size_t length);

char* copy_of(const char* text, size_t size, size_t length)
{
    char* copy = malloc(size);
    if (copy != NULL) {
        memcpy(copy, text, length);
    }
    return copy;
}
