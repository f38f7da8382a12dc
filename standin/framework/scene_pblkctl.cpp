// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_scene_c: blocked programs.
#include "common/edge.h"
#include "common/framework.h"
#include "standin/framework/scene_store.h"

namespace {

constexpr const char* POLICY = "pblkctl";

} // namespace

TRESK_EXPORT int tresk_scene_pblkctl_add_by_path(const char* path)
{
    return tresk_standin_scene_add(__func__, POLICY, path);
}

TRESK_EXPORT int tresk_scene_pblkctl_remove_by_path(const char* path)
{
    return tresk_standin_scene_remove(__func__, POLICY, path);
}
