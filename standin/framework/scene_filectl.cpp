// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_scene_c: protected files.
#include "common/edge.h"
#include "common/framework.h"
#include "standin/framework/scene_store.h"

namespace {

constexpr const char* POLICY = "filectl";

} // namespace

TRESK_EXPORT int tresk_scene_filectl_add_by_path(const char* path)
{
    return tresk_standin_scene_add(__func__, POLICY, path);
}

TRESK_EXPORT int tresk_scene_filectl_remove_by_path(const char* path)
{
    return tresk_standin_scene_remove(__func__, POLICY, path);
}

TRESK_EXPORT int tresk_scene_filectl_multi_add_by_path(char** paths, int count)
{
    return tresk_standin_scene_add_all(__func__, POLICY, {paths, count, 0});
}

TRESK_EXPORT int tresk_scene_filectl_multi_remove_by_path(char** paths, int count)
{
    return tresk_standin_scene_remove_all(__func__, POLICY, {paths, count, 0});
}

TRESK_EXPORT char** tresk_scene_filectl_get_policy(int* count)
{
    return tresk_standin_scene_list(__func__, POLICY, count);
}
