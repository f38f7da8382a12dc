/* SPDX-License-Identifier: LGPL-2.1-or-later */
/* Protects a program, and looks at what came of it. */
#include <stdio.h>
#include <stdlib.h>
#include <tresk_extend.h>

/* What a call that answers with the service's codes returned, for a person. */
static const char *meaning(int code)
{
    switch (code) {
    case TRESK_SUCCESS:
        return "on";
    case TRESK_ERROR_AUTHORISATION:
        return "not authorised";
    case TRESK_ERROR_CANCELLED:
        return "cancelled by the user";
    case TRESK_ERROR_DISABLED:
        return "the framework is disabled";
    default:
        return "failed";
    }
}

/* Edits of a policy return -1 for whatever the service refused; the framework's log has the reason. */
static int protect(const char *path, int type)
{
    const int answer = tresk_ppro_add(path, type);
    if (answer == 0) {
        printf("%s: protected\n", path);
    } else if (answer == 1) {
        printf("%s: was protected before\n", path);
    } else {
        printf("%s: refused (%d)\n", path, answer);
        return -1;
    }
    return 0;
}

/* The policy file is the truth: what it says now. */
static int watch(const char *path)
{
    ppro_node_info *entry = tresk_ppro_read_node_with_path(path);
    if (entry == NULL) {
        printf("%s: not in the policy\n", path);
        return -1;
    }
    printf("%s: type %d in the policy\n", entry->path, entry->type);
    const int told = tresk_ppro_communicate_with_kernel(9, entry->hash, 1);
    printf("%s: the kernel module %s\n", entry->path, told == 0 ? "knows" : "did not answer");
    free(entry);
    return told;
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s PROGRAM\n", argv[0]);
        return 2;
    }
    const int process_protection = 5;
    printf("process protection: %s\n", meaning(tresk_set_func_status(process_protection, 1)));
    return protect(argv[1], 1) == 0 && watch(argv[1]) == 0 ? 0 : 1;
}
