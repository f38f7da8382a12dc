/* SPDX-License-Identifier: LGPL-2.1-or-later */
/*
 * A fake of what a platform's libkmod has beyond Debian's; and one function of both, because a linker leaves
 * out a library of which no more is wanted than what may be missing.
 */
#include <string.h>

struct kmod_ctx;
struct kmod_module;

int dnx_kmod_module_get_module_name(const struct kmod_module* module, const void* null, int zero, char* name);

int dnx_kmod_module_get_module_name(const struct kmod_module* module, const void* null, int zero, char* name)
{
    if (module == NULL || null != NULL || zero != 0) {
        return -1;
    }
    strcpy(name, "named_by_the_platform");
    return 0;
}

void kmod_set_log_fn(struct kmod_ctx* context, void (*log)(void), const void* data);

void kmod_set_log_fn(struct kmod_ctx* context, void (*log)(void), const void* data)
{
    (void)context;
    (void)log;
    (void)data;
}
