// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_scene_c: who may use a path: the paths that are denied to all users, and those of each
// administrator's role.
#include "common/edge.h"
#include "common/framework.h"
#include "standin/framework/scene_store.h"

#include <string>

namespace {

constexpr const char* DENIED_TO_ALL = "admctl_deny_all";
constexpr int FAILED = -1;

/// Does @change to the role's list.
template <class Change>
int change_role(const char* function, int role, const char* path, Change change) noexcept
{
    return tresk::at_edge(FAILED, [&] {
        const std::string policy = "admctl_role_" + std::to_string(role);
        return change(function, policy.c_str(), path);
    });
}

} // namespace

TRESK_EXPORT int tresk_scene_admctl_add_path_for_deny_all_user(const char* path)
{
    return tresk_standin_scene_add(__func__, DENIED_TO_ALL, path);
}

TRESK_EXPORT int tresk_scene_admctl_remove_path_from_deny_all_user(const char* path)
{
    return tresk_standin_scene_remove(__func__, DENIED_TO_ALL, path);
}

TRESK_EXPORT int tresk_scene_admctl_add_path_for_user(int role, const char* path)
{
    return change_role(__func__, role, path, tresk_standin_scene_add);
}

TRESK_EXPORT int tresk_scene_admctl_remove_path_from_user(int role, const char* path)
{
    return change_role(__func__, role, path, tresk_standin_scene_remove);
}
