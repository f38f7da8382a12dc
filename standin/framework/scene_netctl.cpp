// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_scene_c: programs and packages under network control.
#include "common/edge.h"
#include "common/framework.h"
#include "standin/framework/scene_store.h"

namespace {

constexpr const char* PROGRAMS = "netctl";
constexpr const char* PACKAGES = "netctl_pkg";

} // namespace

TRESK_EXPORT int tresk_scene_netctl_add_by_path(const char* path)
{
    return tresk_standin_scene_add(__func__, PROGRAMS, path);
}

TRESK_EXPORT int tresk_scene_netctl_remove_by_path(const char* path)
{
    return tresk_standin_scene_remove(__func__, PROGRAMS, path);
}

TRESK_EXPORT int tresk_scene_netctl_add_by_package(const char* package)
{
    return tresk_standin_scene_add(__func__, PACKAGES, package);
}

TRESK_EXPORT int tresk_scene_netctl_remove_by_package(const char* package)
{
    return tresk_standin_scene_remove(__func__, PACKAGES, package);
}
