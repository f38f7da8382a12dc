/* SPDX-License-Identifier: LGPL-2.1-or-later */
/* Says by what the library was linked to: the framework's answer to an addition, and a module's name. */
#include <stdio.h>
#include <stdlib.h>
#include <tresk_extend.h>

int main(int argc, char** argv)
{
    char* name = argc == 2 ? get_kmod_name_from_ko(argv[1]) : NULL;
    printf("module %s, protected %d\n", name == NULL ? "-" : name,
           argc == 2 ? add_to_kmod_protect(argv[1]) : -1);
    free(name);
    return 0;
}
