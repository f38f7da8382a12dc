// SPDX-License-Identifier: LGPL-2.1-or-later
//
// An edit of a program's policy. It has two halves: the running scene, which enforces the policy, is changed
// first; the service, which keeps the policy file, is asked only when the scene agreed.
#ifndef TRESK_DBUS_POLICY_EDIT_H
#define TRESK_DBUS_POLICY_EDIT_H

#include "dbus/service_call.h"

#include <optional>

namespace tresk {

/// What an edit returns that could not ask the service, or got no answer.
inline constexpr int kEditFailed = -1;

/// A change of the scene, with the code of the scene that, besides 0, is no failure.
struct SceneChange {
    int (*apply)(const char* path);
    int settled_code;
    std::optional<int> settled_result; ///< of the edit, given that code; absent: the service is asked
    const char* failure;               ///< printf format for standard output, given any other code
};

/// What tells one edit from another.
struct PolicyEdit {
    Caller caller;
    const ServiceObject& service;
    const char* method;
    const SceneChange* scene = nullptr; ///< null where the scene is not changed
};

/// Makes @edit of @path, which reaches the service as a member of @arguments. Returns the service's answer,
/// what the scene decided, or kEditFailed. Arguments that cannot be sent are reported before anything is
/// changed.
int make_edit(const PolicyEdit& edit, const char* path, const ServiceArguments& arguments);

} // namespace tresk

#endif
