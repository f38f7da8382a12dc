/* SPDX-License-Identifier: LGPL-2.1-or-later */
/*
 * A program that was linked against a build of the library without symbol versions. The variable is the
 * program's own copy, which the library has to use as well.
 */
#include <stdio.h>
#include <tresk_extend.h>

int main(void)
{
    int before = user_distinguish;
    int set = tresk_netctl_set_user_distinguish(1);
    int read = tresk_netctl_get_user_distinguish();
    printf("before %d, set %d, read %d, now %d\n", before, set, read, (int)user_distinguish);
    return before == 0 && set == 0 && read == 1 && user_distinguish == 1 ? 0 : 1;
}
