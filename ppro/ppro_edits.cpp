// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The edits of the process protection list. Adding and removing change the running scene first; the service,
// which keeps the policy file, is asked only when the scene agreed. All else goes to the service alone.
#include "common/data_path.h"
#include "common/edge.h"
#include "dbus/policy_edit.h"
#include "ppro/ppro_policy.h"

namespace tresk::ppro {

namespace {

constexpr ServiceObject kService = {"/ppro", "com.meron.tresk.ppro"};

constexpr SceneChange kAdd = {tresk_scene_taskctl_add_by_path, -2, 1,
                              "tresk scene ppro add failed ret: %d\n"};
constexpr SceneChange kRemove = {tresk_scene_taskctl_remove_by_path, -3, 0,
                                 "tresk scene ppro remove failed ret: %d\n"};

/// One edit: the scene's @change where it has one, then @method, told the path and what @after_path says.
template <class... Members>
int edit(const Caller& caller, const char* method, const SceneChange* change, const char* path,
         Members... after_path)
{
    const Malloced<char> stored = stored_path(caller.source, path);
    return stored ? make_edit({caller, kService, method, change}, stored.get(),
                              ServiceArguments(stored.get(), after_path...))
                  : kEditFailed;
}

/// An edit for a source, under the name of its method. No path is looked at for a source that cannot be sent.
template <class... Numbers>
int edit_for_source(const Caller& caller, const SceneChange* change, const char* path,
                    const char* data_source, Numbers... numbers)
{
    return can_travel(caller, {data_source})
               ? edit(caller, caller.function, change, path, numbers..., data_source)
               : kEditFailed;
}

} // namespace

} // namespace tresk::ppro

using namespace tresk;

TRESK_EXPORT int tresk_ppro_add_zdk(const char* path, int type, int mode, const char* data_source)
{
    return at_edge(kEditFailed, [&] {
        return ppro::edit_for_source({ppro::kSource, "tresk_ppro_add_zdk"}, &ppro::kAdd, path, data_source,
                                     type, mode);
    });
}

TRESK_EXPORT int tresk_ppro_remove_zdk(const char* path, int mode, const char* data_source)
{
    return at_edge(kEditFailed, [&] {
        return ppro::edit_for_source({ppro::kSource, "tresk_ppro_remove_zdk"}, &ppro::kRemove, path,
                                     data_source, mode);
    });
}

TRESK_EXPORT int tresk_ppro_update_zdk(const char* path, int type, int mode, const char* data_source)
{
    return at_edge(kEditFailed, [&] {
        return ppro::edit_for_source({ppro::kSource, "tresk_ppro_update_zdk"}, nullptr, path, data_source,
                                     type, mode);
    });
}

TRESK_EXPORT int tresk_ppro_add(const char* path, int type)
{
    return tresk_ppro_add_zdk(path, type, 0, "");
}

TRESK_EXPORT int tresk_ppro_add_sm(const char* path, int type)
{
    return tresk_ppro_add_zdk(path, type, 1, "");
}

TRESK_EXPORT int tresk_ppro_remove(const char* path)
{
    return tresk_ppro_remove_zdk(path, 0, "");
}

TRESK_EXPORT int tresk_ppro_remove_sm(const char* path)
{
    return tresk_ppro_remove_zdk(path, 1, "");
}

TRESK_EXPORT int tresk_ppro_update(const char* path, int type)
{
    return tresk_ppro_update_zdk(path, type, 0, "");
}

TRESK_EXPORT int tresk_ppro_update_sm(const char* path, int type)
{
    return tresk_ppro_update_zdk(path, type, 1, "");
}

TRESK_EXPORT int tresk_ppro_remove_internal(const char* path, int mode)
{
    return at_edge(kEditFailed, [&] {
        const char* method = mode != 0 ? "tresk_ppro_remove_sm" : "tresk_ppro_remove";
        return ppro::edit({ppro::kSource, "tresk_ppro_remove_internal"}, method, nullptr, path);
    });
}

TRESK_EXPORT int tresk_ppro_update_internal(const char* path, int type, int mode)
{
    return at_edge(kEditFailed, [&] {
        const char* method = mode != 0 ? "tresk_ppro_update_sm" : "tresk_ppro_update";
        return ppro::edit({ppro::kSource, "tresk_ppro_update_internal"}, method, nullptr, path, type);
    });
}

TRESK_EXPORT int tresk_get_pid_by_path(const char* path)
{
    return at_edge(kEditFailed, [&] {
        const Caller caller{ppro::kSource, "tresk_get_pid_by_path"};
        return ask_service(caller, ppro::kService, caller.function, ServiceArguments(path))
            .value_or(kEditFailed);
    });
}
