/* SPDX-License-Identifier: LGPL-2.1-or-later */
/* Lists the protected programs. */
#include <stdio.h>
#include <stdlib.h>
#include <tresk_extend.h>

int main(void)
{
    int count = -1;
    ppro_node_info *entries = tresk_ppro_read_all_data(&count);
    if (entries == NULL && count != 0) {
        fprintf(stderr, "the policy cannot be read\n");
        return 1;
    }
    for (int i = 0; i < count; i++) {
        printf("%d %s\n", entries[i].type, entries[i].path);
    }
    free(entries);
    return 0;
}
