/* SPDX-License-Identifier: LGPL-2.1-or-later */
/* A C program that finds the library by pkg-config: adds an entry and reads it back. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tresk_extend.h>

int main(void)
{
    const char* const program = "/usr/bin/env";
    int added = tresk_ppro_add(program, 1);
    int count = 0;
    int found = 0;
    ppro_node_info* records = tresk_ppro_read_all_data(&count);
    for (int i = 0; records != NULL && i < count; i++) {
        found += strcmp(records[i].path, program) == 0 && records[i].type == 1;
    }
    free(records);
    printf("added %d, found %d of %d\n", added, found, count);
    return added == 0 && found == 1 && count == 1 ? 0 : 1;
}
