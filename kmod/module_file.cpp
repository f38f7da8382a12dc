// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kmod/module_file.h"

#include "common/edge.h"
#include "common/framework.h"
#include "common/text.h"
#include "tresk_extend.h"

#include <libkmod.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace tresk {

namespace {

using KmodContext = Handle<kmod_ctx, ::kmod_unref>;
using KmodModule = Handle<kmod_module, ::kmod_module_unref>;
using KmodInformation = Handle<kmod_list, ::kmod_module_info_free_list>;

/// libkmod would write to standard error too, where callers look for the lines of this library.
void keep_quiet(void*, int, const char*, int, const char*, const char*, va_list) {}

/// What libkmod finds wrong in its configuration while it opens the context, it says before it can be
/// stopped.
KmodContext open_context()
{
    KmodContext context(::kmod_new(nullptr, nullptr));
    if (context) {
        ::kmod_set_log_fn(context.get(), keep_quiet, nullptr);
    }
    return context;
}

/// Null where libkmod takes the path for none of a module.
KmodModule open_module(kmod_ctx* context, const char* path)
{
    kmod_module* module = nullptr;
    const int result = ::kmod_module_new_from_path(context, path, &module);
    return KmodModule(result < 0 ? nullptr : module);
}

KmodInformation information_of(const kmod_module* module)
{
    kmod_list* entries = nullptr;
    const int count = ::kmod_module_get_info(module, &entries);
    return KmodInformation(count < 0 ? nullptr : entries);
}

/// The first "name" entry; empty where there is none.
std::string_view name_entry(const kmod_list* entries)
{
    for (const kmod_list* entry = entries; entry != nullptr; entry = ::kmod_list_next(entries, entry)) {
        if (std::strcmp(::kmod_module_info_get_key(entry), "name") == 0) {
            return ::kmod_module_info_get_value(entry);
        }
    }
    return {};
}

/// Whether the name of @module was read into @name and ends there.
bool read_name(const kmod_module* module, char* name)
{
    return module_name_reader()(module, nullptr, 0, name) >= 0 &&
           ::strnlen(name, kModuleNameBytes) < kModuleNameBytes;
}

} // namespace

ModuleNameReader module_name_reader() noexcept
{
    return dnx_kmod_module_get_module_name != nullptr ? dnx_kmod_module_get_module_name : read_name_entry;
}

int read_name_entry(const kmod_module* module, const void*, int, char* name)
{
    const KmodInformation entries = information_of(module);
    const std::string_view found = name_entry(entries.get());
    if (found.empty() || !fits(found, kModuleNameBytes)) {
        return -1;
    }
    std::memcpy(name, found.data(), found.size());
    return 0;
}

Malloced<char> module_name_of_file(const char* path)
{
    if (path == nullptr) {
        (void)std::fputs("Ko file is Null\n", stderr);
        return nullptr;
    }
    const KmodContext context = open_context();
    if (!context) {
        (void)std::fputs("Failed to kmod new\n", stderr);
        return nullptr;
    }
    const KmodModule module = open_module(context.get(), path);
    if (!module) {
        (void)std::fprintf(stderr, "Failed to new kmod from path: %s\n", path);
        return nullptr;
    }
    Malloced<char> name(static_cast<char*>(std::calloc(1, kModuleNameBytes)));
    if (!name) {
        (void)std::fputs("Failed to malloc\n", stderr);
        return nullptr;
    }
    if (!read_name(module.get(), name.get())) {
        (void)std::fprintf(stderr, "Failed to get module really name for '%s'\n", path);
        return nullptr;
    }
    return name;
}

} // namespace tresk

using namespace tresk;

TRESK_EXPORT char* get_kmod_name_from_ko(const char* path)
{
    return at_edge<char*>(nullptr, [&] { return module_name_of_file(path).release(); });
}
