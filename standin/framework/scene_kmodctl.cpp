// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_scene_c: protected kernel modules.
#include "common/edge.h"
#include "common/framework.h"
#include "standin/framework/scene_store.h"

namespace {

constexpr const char* POLICY = "kmodctl";

} // namespace

TRESK_EXPORT int tresk_scene_kmodctl_add_by_name(const char* name)
{
    return tresk_standin_scene_add(__func__, POLICY, name);
}

TRESK_EXPORT int tresk_scene_kmodctl_remove_by_name(const char* name)
{
    return tresk_standin_scene_remove(__func__, POLICY, name);
}
