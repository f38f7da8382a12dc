// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_scene_c: the programs that may run, and the files that carry an execution label. The label is no
// real attribute of the file here, but a path on a list: setting it anew is no failure, as with an attribute.
#include "common/edge.h"
#include "common/framework.h"
#include "standin/framework/scene_store.h"

namespace {

constexpr const char* WHITE_LIST = "exectl_wlist";
constexpr const char* LABELLED = "exectl_xattr";

} // namespace

TRESK_EXPORT int tresk_scene_exectl_xattr_set(const char* path)
{
    return tresk_standin_scene_add_all(__func__, LABELLED, {&path, 1, 0});
}

TRESK_EXPORT int tresk_scene_exectl_xattr_multi_set(char** paths, int count)
{
    return tresk_standin_scene_add_all(__func__, LABELLED, {paths, count, 0});
}

TRESK_EXPORT int tresk_scene_exectl_wlist_add(const char* path)
{
    return tresk_standin_scene_add(__func__, WHITE_LIST, path);
}

TRESK_EXPORT int tresk_scene_exectl_wlist_delete(const char* path)
{
    return tresk_standin_scene_remove(__func__, WHITE_LIST, path);
}

TRESK_EXPORT int tresk_scene_exectl_wlist_multi_add(char** paths, int count)
{
    return tresk_standin_scene_add_all(__func__, WHITE_LIST, {paths, count, 0});
}

TRESK_EXPORT int tresk_scene_exectl_wlist_multi_delete(char** paths, int count)
{
    return tresk_standin_scene_remove_all(__func__, WHITE_LIST, {paths, count, 0});
}
