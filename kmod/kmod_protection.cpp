// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The list of protected kernel modules, which the scene library keeps by module name. Messages are plain
// lines on standard error. The two changes differ more than they need to; programs rely on each of their
// results.
#include "common/edge.h"
#include "common/framework.h"
#include "dbus/service_call.h"
#include "kmod/module_file.h"
#include "tresk_extend.h"

#include <cstdio>

namespace tresk {

namespace {

constexpr char kSource[] = "tresk_kmod";
constexpr char kNullName[] = "kmod name is NULL\n";
constexpr int kFailed = -1;
constexpr int kNotAvailable = -1000;

// Results of the changes by file.
constexpr int kNullFile = -1;
constexpr int kNameNotRead = -2;
constexpr int kSceneFailed = -3;

/// A change of the list.
struct ListChange {
    int (*apply)(const char* name);
    int settled_code;        ///< the scene's, when the list is already as wanted
    int null_name;           ///< result for no name
    bool while_disabled_too; ///< also made when the framework is switched off
};

constexpr ListChange kAdd = {tresk_scene_kmodctl_add_by_name, -2, -2, false};
constexpr ListChange kRemove = {tresk_scene_kmodctl_remove_by_name, -3, -1, true};

/// 0, or the scene's code.
int apply(const ListChange& change, const char* name)
{
    if (!change.while_disabled_too && tresk_is_disabled() != 0) {
        return 0;
    }
    const int code = change.apply(name);
    return code == change.settled_code ? 0 : code;
}

int change_by_name(const ListChange& change, const char* name)
{
    if (name == nullptr) {
        (void)std::fputs(kNullName, stderr);
        return change.null_name;
    }
    return apply(change, name);
}

int change_by_file(const ListChange& change, const char* path)
{
    if (path == nullptr) {
        (void)std::fputs("ko_file is NULL\n", stderr);
        return kNullFile;
    }
    const Malloced<char> name = module_name_of_file(path);
    if (!name) {
        (void)std::fputs("get kmod name failed\n", stderr);
        return kNameNotRead;
    }
    return apply(change, name.get()) == 0 ? 0 : kSceneFailed;
}

int ask_ownership(const char* name)
{
    if (name == nullptr) {
        (void)std::fputs(kNullName, stderr);
        return kFailed;
    }
    return ask_service({kSource, "check_kmod_in_sm"}, kXattrService, "tresk_xattr_protect_check_kmod_in_sm",
                       ServiceArguments(name))
        .value_or(kFailed);
}

} // namespace

} // namespace tresk

using namespace tresk;

TRESK_EXPORT int add_to_kmod_protect_zdk(const char* path)
{
    return at_edge(kSceneFailed, [&] { return change_by_file(kAdd, path); });
}

TRESK_EXPORT int add_to_kmod_protect(const char* path)
{
    return add_to_kmod_protect_zdk(path);
}

TRESK_EXPORT int add_to_kmod_protect_sm(const char* path)
{
    return add_to_kmod_protect_zdk(path);
}

TRESK_EXPORT int remove_from_kmod_protect_zdk(const char* path)
{
    return at_edge(kSceneFailed, [&] { return change_by_file(kRemove, path); });
}

TRESK_EXPORT int remove_from_kmod_protect(const char* path)
{
    return remove_from_kmod_protect_zdk(path);
}

TRESK_EXPORT int remove_from_kmod_protect_sm(const char* path)
{
    return remove_from_kmod_protect_zdk(path);
}

TRESK_EXPORT int add_kmod_to_kmod_protect_zdk(const char* name)
{
    return at_edge(kFailed, [&] { return change_by_name(kAdd, name); });
}

TRESK_EXPORT int add_kmod_to_kmod_protect(const char* name)
{
    return add_kmod_to_kmod_protect_zdk(name);
}

TRESK_EXPORT int add_kmod_to_kmod_protect_sm(const char* name)
{
    return add_kmod_to_kmod_protect_zdk(name);
}

TRESK_EXPORT int remove_kmod_from_kmod_protect_zdk(const char* name)
{
    return at_edge(kFailed, [&] { return change_by_name(kRemove, name); });
}

TRESK_EXPORT int remove_kmod_from_kmod_protect(const char* name)
{
    return remove_kmod_from_kmod_protect_zdk(name);
}

TRESK_EXPORT int remove_kmod_from_kmod_protect_sm(const char* name)
{
    return remove_kmod_from_kmod_protect_zdk(name);
}

TRESK_EXPORT int check_kmod_in_sm(const char* name)
{
    return at_edge(kFailed, [&] { return ask_ownership(name); });
}

TRESK_EXPORT int tresk_xattr_check_kmod_del_from_kernel(const char*, uint32_t, const char*)
{
    return kNotAvailable;
}
