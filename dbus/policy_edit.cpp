// SPDX-License-Identifier: LGPL-2.1-or-later
#include "dbus/policy_edit.h"

#include <cstdio>

namespace tresk {

namespace {

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
    std::printf(change->failure, code);
    return code;
}

} // namespace

int make_edit(const PolicyEdit& edit, const char* path, const ServiceArguments& arguments)
{
    if (!arguments.sendable()) {
        report_bad_argument(edit.caller.source, edit.caller.function);
        return kEditFailed;
    }
    if (const std::optional<int> decided = decided_by_scene(edit.scene, path)) {
        return *decided;
    }
    return ask_service(edit.caller, edit.service, edit.method, arguments).value_or(kEditFailed);
}

} // namespace tresk
