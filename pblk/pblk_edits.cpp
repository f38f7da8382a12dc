// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The edits of the process blocking list. They shorten the caller's own path, so that the caller knows under
// which path the list keeps the program; it is shortened also where the edit fails after that.
#include "common/data_path.h"
#include "common/edge.h"
#include "common/framework.h"
#include "dbus/policy_edit.h"
#include "pblk/pblk_policy.h"

namespace tresk::pblk {

namespace {

constexpr ServiceObject kService = {"/pblk", "com.meron.tresk.pblk"};

constexpr SceneChange kAdd = {tresk_scene_pblkctl_add_by_path, -2, 1, "tresk scene pblk add failed %d\n"};
constexpr SceneChange kRemove = {tresk_scene_pblkctl_remove_by_path, -3, 0,
                                 "tresk scene pblk remove failed ,ret :%d\n"};

/// One edit, by the service's method of @function's name.
int edit(const char* function, const SceneChange& change, char* path, int type, const char* name)
{
    if (path != nullptr) {
        shorten_data_path(path);
    }
    return make_edit({{kSource, function}, kService, function, &change}, path,
                     ServiceArguments(path, type, name));
}

} // namespace

} // namespace tresk::pblk

using namespace tresk;

TRESK_EXPORT int tresk_pblk_add_zdk(char* path, int type, const char* name)
{
    return at_edge(kEditFailed,
                   [&] { return pblk::edit("tresk_pblk_add_zdk", pblk::kAdd, path, type, name); });
}

TRESK_EXPORT int tresk_pblk_add(char* path)
{
    return tresk_pblk_add_zdk(path, 1, "");
}

TRESK_EXPORT int tresk_pblk_remove_zdk(char* path, int type, const char* name)
{
    return at_edge(kEditFailed,
                   [&] { return pblk::edit("tresk_pblk_remove_zdk", pblk::kRemove, path, type, name); });
}

TRESK_EXPORT int tresk_pblk_remove(char* path)
{
    return tresk_pblk_remove_zdk(path, 1, "");
}
