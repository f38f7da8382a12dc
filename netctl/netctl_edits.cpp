// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The edits of both policies. The scene keeps what is of control type 2 and is changed first, the service,
// which keeps the policy files, is asked only when the scene agreed. Nothing is changed for the sake of a
// text that cannot be sent.
#include "common/edge.h"
#include "common/framework.h"
#include "common/text.h"
#include "dbus/policy_edit.h"
#include "netctl/netctl_policy.h"
#include "tresk_extend.h"

#include <algorithm>
#include <concepts>
#include <optional>
#include <span>
#include <string>

namespace tresk::netctl {

namespace {

constexpr ServiceObject kService = {"/netctl", "com.meron.tresk.netctl"};

/// What the edit returns that is not offered.
constexpr int kNotOffered = -1000;

/// The most bytes of a text that are sent.
constexpr std::size_t kTextKept = 4095;
/// The most bytes of a display name that are sent.
constexpr std::size_t kNameKept = 254;

constexpr int kPresent = -2;
constexpr int kNotPresent = -3;

/// A change of the scene that precedes an edit; where the scene's code is the settled one, the edit goes on.
struct SceneStep {
    std::optional<std::int32_t> type; ///< the control type that needs it; absent: every edit does
    SceneChange change;
};

constexpr SceneStep kAddProgram[] = {
    {2, {tresk_scene_netctl_add_by_path, 0, {}, "tresk scene add netctl error %d\n"}},
};
constexpr SceneStep kRemoveProgram[] = {
    {{}, {tresk_scene_netctl_remove_by_path, kNotPresent, {}, "tresk scene remove netctl error %d\n"}},
};
constexpr SceneStep kUpdateProgram[] = {
    {1, {tresk_scene_netctl_remove_by_path, kNotPresent, {}, "tresk scene netctl update(remove) error %d\n"}},
    // No line end here: whoever reads the output knows the text so.
    {2, {tresk_scene_netctl_add_by_path, kPresent, {}, "tresk scene netctl update(add) error %d"}},
};
constexpr SceneStep kAddPackage[] = {
    {2, {tresk_scene_netctl_add_by_package, 0, {}, "tresk scene netctl add package error %d\n"}},
};
constexpr SceneStep kRemovePackage[] = {
    // No line end here either.
    {{}, {tresk_scene_netctl_remove_by_package, kNotPresent, {}, "tresk scene netctl remove error %d"}},
};
constexpr SceneStep kUpdatePackage[] = {
    {2, {tresk_scene_netctl_add_by_package, kPresent, {}, "tresk scene pkg update(add) error %d\n"}},
    {1, {tresk_scene_netctl_remove_by_package, kNotPresent, {}, "tresk scene pkg update(remove) error %d\n"}},
};

/// An edit: the exported function, whose name is the method's too, and what it may change of the scene.
struct Edit {
    const char* function;
    std::span<const SceneStep> steps = {};
};

/// Whom an edit is about, as the caller named it.
struct Target {
    const char* name = nullptr;
    std::int32_t type = 0;
};

const SceneChange* change_for(std::span<const SceneStep> steps, std::int32_t type)
{
    const auto step = std::find_if(steps.begin(), steps.end(),
                                   [type](const SceneStep& one) { return !one.type || *one.type == type; });
    return step == steps.end() ? nullptr : &step->change;
}

std::string cut(const char* text, std::size_t max_bytes = kTextKept)
{
    return std::string(cut_to_characters(text == nullptr ? "" : text, max_bytes));
}

std::string cut_name(const char* name)
{
    return cut(name, kNameKept);
}

const char* sent(const std::string& text)
{
    return text.c_str();
}

const char* sent(const char* text)
{
    return text;
}

template <std::integral Number>
Number sent(Number number)
{
    return number;
}

/// Tells the scene and then the service, whose method is given the @members in order. The scene is told the
/// target uncut, and, for it too, null is the empty name.
template <class... Members>
int edit(const Edit& what, const Target& target, const Members&... members)
{
    return make_edit({{kSource, what.function}, kService, what.function, change_for(what.steps, target.type)},
                     target.name == nullptr ? "" : target.name, ServiceArguments(sent(members)...));
}

} // namespace

} // namespace tresk::netctl

using namespace tresk;

TRESK_EXPORT int tresk_netctl_add(uint32_t uid, const char* path, int32_t type, const char* name,
                                  const char* ico, int32_t server_type)
{
    return at_edge(kEditFailed, [&] {
        return netctl::edit({"tresk_netctl_add", netctl::kAddProgram}, {path, type}, uid, netctl::cut(path),
                            type, netctl::cut_name(name), netctl::cut(ico), server_type);
    });
}

TRESK_EXPORT int tresk_netctl_ext_add(uint32_t uid, const char* path, int32_t type, const char* name,
                                      const char* ico, const char* desktop, int32_t server_type)
{
    return at_edge(kEditFailed, [&] {
        return netctl::edit({"tresk_netctl_ext_add", netctl::kAddProgram}, {path, type}, uid,
                            netctl::cut(path), type, netctl::cut_name(name), netctl::cut(ico),
                            netctl::cut(desktop), server_type);
    });
}

TRESK_EXPORT int tresk_netctl_remove(uint32_t uid, const char* path)
{
    return at_edge(kEditFailed, [&] {
        return netctl::edit({"tresk_netctl_remove", netctl::kRemoveProgram}, {path}, uid, netctl::cut(path));
    });
}

TRESK_EXPORT int tresk_netctl_update(uint32_t uid, const char* path, int32_t type, const char* name,
                                     const char* ico, int32_t server_type)
{
    return at_edge(kEditFailed, [&] {
        return netctl::edit({"tresk_netctl_update", netctl::kUpdateProgram}, {path, type}, uid,
                            netctl::cut(path), type, netctl::cut_name(name), netctl::cut(ico), server_type);
    });
}

TRESK_EXPORT int tresk_netctl_ext_update(uint32_t uid, const char* path, int32_t type, const char* name,
                                         const char* ico, const char* desktop, int32_t server_type)
{
    return at_edge(kEditFailed, [&] {
        return netctl::edit({"tresk_netctl_ext_update", netctl::kUpdateProgram}, {path, type}, uid,
                            netctl::cut(path), type, netctl::cut_name(name), netctl::cut(ico),
                            netctl::cut(desktop), server_type);
    });
}

TRESK_EXPORT int tresk_netctl_set_user_distinguish(uint32_t value)
{
    return at_edge(kEditFailed,
                   [&] { return netctl::edit({"tresk_netctl_set_user_distinguish"}, {}, value); });
}

TRESK_EXPORT int tresk_netctl_pkg_add(uint32_t uid, const char* pkg, int32_t type, const char* ico,
                                      const char* desktop, int32_t server_type)
{
    return at_edge(kEditFailed, [&] {
        return netctl::edit({"tresk_netctl_pkg_add", netctl::kAddPackage}, {pkg, type}, uid, netctl::cut(pkg),
                            type, netctl::cut(ico), netctl::cut(desktop), server_type);
    });
}

TRESK_EXPORT int tresk_netctl_pkg_remove(uint32_t uid, const char* pkg)
{
    return at_edge(kEditFailed, [&] {
        return netctl::edit({"tresk_netctl_pkg_remove", netctl::kRemovePackage}, {pkg}, uid,
                            netctl::cut(pkg));
    });
}

TRESK_EXPORT int tresk_netctl_pkg_update(uint32_t uid, const char* pkg, int32_t type, const char* ico,
                                         const char* desktop, int32_t server_type)
{
    return at_edge(kEditFailed, [&] {
        return netctl::edit({"tresk_netctl_pkg_update", netctl::kUpdatePackage}, {pkg, type}, uid,
                            netctl::cut(pkg), type, netctl::cut(ico), netctl::cut(desktop), server_type);
    });
}

/// The path goes out as it is, uncut, so a null one is refused.
TRESK_EXPORT int tresk_netctl_pkg_path_update(uint32_t uid, const char* pkg, const char* path, int32_t type,
                                              const char* ico, const char* desktop, int32_t server_type)
{
    return at_edge(kEditFailed, [&] {
        return netctl::edit({"tresk_netctl_pkg_path_update"}, {pkg, type}, uid, netctl::cut(pkg), path, type,
                            netctl::cut(ico), netctl::cut(desktop), server_type);
    });
}

TRESK_EXPORT int tresk_netctl_pkg_path_add(void)
{
    return netctl::kNotOffered;
}
