// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The edits of the process protection list. Adding and removing change the running scene first; the service,
// which keeps the policy file, is asked only when the scene agreed. All else goes to the service alone.
#include "common/data_path.h"
#include "common/edge.h"
#include "dbus/service_call.h"
#include "ppro/ppro_policy.h"

#include <cstdio>
#include <optional>

namespace tresk::ppro {

namespace {

constexpr ServiceObject kService = {"/ppro", "com.meron.tresk.ppro"};

/// What an edit returns that could not ask the service, or got no answer.
constexpr int kFailed = -1;

/// A change of the scene, with the one code of the scene that is no failure and what the edit then returns.
struct SceneChange {
    int (*apply)(const char* path);
    const char* word;
    int settled_code;
    int settled_result;
};

constexpr SceneChange kAdd = {tresk_scene_taskctl_add_by_path, "add", -2, 1};
constexpr SceneChange kRemove = {tresk_scene_taskctl_remove_by_path, "remove", -3, 0};

/// The edit's result where the scene decides it; nothing where the service is to be asked.
std::optional<int> decided_by_scene(const SceneChange* change, const char* path)
{
    const int code = change == nullptr ? 0 : change->apply(path);
    if (code == 0) {
        return std::nullopt;
    }
    if (code == change->settled_code) {
        return change->settled_result;
    }
    std::printf("tresk scene ppro %s failed ret: %d\n", change->word, code);
    return code;
}

/// @path in the form in which the list keeps it; null, reported on @caller's behalf, where there is none that
/// can be sent.
Malloced<char> listed_path(const Caller& caller, const char* path)
{
    Malloced<char> listed = absolute_path(path);
    if (!listed) {
        report_unresolved_path(caller.source, path);
        return nullptr;
    }
    shorten_data_path(listed.get());
    return can_travel(caller, {listed.get()}) ? std::move(listed) : nullptr;
}

int ask(const Caller& caller, const char* method, const ServiceArguments& arguments)
{
    return ask_service(caller, kService, method, arguments).value_or(kFailed);
}

/// One edit: the scene's @change where it has one, then the service's method of @caller's name, told the
/// path, the @numbers and the source.
template <class... Numbers>
int edit(const Caller& caller, const SceneChange* change, const char* path, const char* data_source,
         Numbers... numbers)
{
    const Malloced<char> listed = can_travel(caller, {data_source}) ? listed_path(caller, path) : nullptr;
    if (!listed) {
        return kFailed;
    }
    if (const std::optional<int> decided = decided_by_scene(change, listed.get())) {
        return *decided;
    }
    return ask(caller, caller.function, ServiceArguments(listed.get(), numbers..., data_source));
}

} // namespace

} // namespace tresk::ppro

using namespace tresk;

TRESK_EXPORT int tresk_ppro_add_zdk(const char* path, int type, int mode, const char* data_source)
{
    return at_edge(ppro::kFailed, [&] {
        return ppro::edit({ppro::kSource, "tresk_ppro_add_zdk"}, &ppro::kAdd, path, data_source, type, mode);
    });
}

TRESK_EXPORT int tresk_ppro_remove_zdk(const char* path, int mode, const char* data_source)
{
    return at_edge(ppro::kFailed, [&] {
        return ppro::edit({ppro::kSource, "tresk_ppro_remove_zdk"}, &ppro::kRemove, path, data_source, mode);
    });
}

TRESK_EXPORT int tresk_ppro_update_zdk(const char* path, int type, int mode, const char* data_source)
{
    return at_edge(ppro::kFailed, [&] {
        return ppro::edit({ppro::kSource, "tresk_ppro_update_zdk"}, nullptr, path, data_source, type, mode);
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
    return at_edge(ppro::kFailed, [&] {
        const Caller caller{ppro::kSource, "tresk_ppro_remove_internal"};
        const Malloced<char> listed = ppro::listed_path(caller, path);
        const char* method = mode != 0 ? "tresk_ppro_remove_sm" : "tresk_ppro_remove";
        return listed ? ppro::ask(caller, method, ServiceArguments(listed.get())) : ppro::kFailed;
    });
}

TRESK_EXPORT int tresk_ppro_update_internal(const char* path, int type, int mode)
{
    return at_edge(ppro::kFailed, [&] {
        const Caller caller{ppro::kSource, "tresk_ppro_update_internal"};
        const Malloced<char> listed = ppro::listed_path(caller, path);
        const char* method = mode != 0 ? "tresk_ppro_update_sm" : "tresk_ppro_update";
        return listed ? ppro::ask(caller, method, ServiceArguments(listed.get(), type)) : ppro::kFailed;
    });
}

TRESK_EXPORT int tresk_get_pid_by_path(const char* path)
{
    return at_edge(ppro::kFailed, [&] {
        const Caller caller{ppro::kSource, "tresk_get_pid_by_path"};
        return ppro::ask(caller, caller.function, ServiceArguments(path));
    });
}
