// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The labels of one file, or of all files below a directory. The running scene alone is changed; the label
// says which of its functions is called and goes no further.
#include "common/data_path.h"
#include "common/edge.h"
#include "dbus/framework_paths.h"
#include "dbus/service_call.h"
#include "dbus/service_error.h"
#include "tresk_extend.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace tresk {

namespace {

constexpr int kNullArgument = -2;
constexpr int kRefused = -1;
/// Codes of the scene for what is so already.
constexpr int kPresent = -2;
constexpr int kNotPresent = -3;

/// Longest path that the rewriting of a labelled path keeps, in bytes: one more than policies keep.
constexpr std::size_t kLabelPathKept = 4096;

constexpr int kOrdinaryMode = 0;
constexpr int kSmMode = 1;
constexpr char kNoExtra[] = "";
constexpr std::string_view kNoProtection = "none";

/// One function of the scene, and its code that means that nothing was to be done (0 for none).
struct SceneCall {
    int (*apply)(const char* path);
    int settled_code;
};

int result_of(const SceneCall& call, const char* path)
{
    const int code = call.apply(path);
    return code == call.settled_code ? 0 : code;
}

/// A label and what it does with a path.
struct Label {
    std::string_view text;
    int (*set)(const char* path);
};

int protect(const char* path)
{
    return result_of({tresk_scene_filectl_add_by_path, kPresent}, path);
}

int unprotect(const char* path)
{
    return result_of({tresk_scene_filectl_remove_by_path, kNotPresent}, path);
}

/// Denies the path to all users, and then gives it to @role; 0 is none.
template <int role>
int identify(const char* path)
{
    const int denied = tresk_scene_admctl_add_path_for_deny_all_user(path);
    const bool goes_on = role != 0 && (denied == 0 || denied == kPresent);
    return goes_on ? tresk_scene_admctl_add_path_for_user(role, path) : denied;
}

constexpr std::array kProtectLabels = {
    Label{"readonly", protect},
    Label{"verify", protect},
    Label{kNoProtection, unprotect},
};

constexpr std::array kIdentifyLabels = {
    Label{"secadm", identify<1>},
    Label{"audadm", identify<2>},
    Label{"none", identify<0>},
};

constexpr std::array kExectlLabels = {
    Label{"unknown", tresk_scene_exectl_wlist_delete}, Label{"original", tresk_scene_exectl_wlist_add},
    Label{"verified", tresk_scene_exectl_wlist_add},   Label{"mesoft", tresk_scene_exectl_wlist_add},
    Label{"parent", tresk_scene_exectl_wlist_add},     Label{"script", tresk_scene_exectl_wlist_add},
    Label{"trusted", tresk_scene_exectl_wlist_add},
};

/// Does @set with the path in its stored form.
int set_resolved(const char* path, int (*set)(const char* path))
{
    const Malloced<char> stored = stored_path(kDbusSource, path, kLabelPathKept);
    return stored ? set(stored.get()) : kRefused;
}

/// The record of a label that is none has the label alone; what is wrong with it stands in the log.
void refuse_label(const char* label)
{
    log_error(kDbusSource, label, "%s", std::strerror(EINVAL));
    record_error(TRESK_ERROR_INVALID_ARGUMENT, label, nullptr);
    errno = EINVAL;
}

template <std::size_t count>
int set_label(const char* function, const std::array<Label, count>& vocabulary, const char* path,
              const char* label)
{
    if (path == nullptr || label == nullptr) {
        report_bad_argument(kDbusSource, function);
        return kNullArgument;
    }
    const auto* const found = std::find_if(vocabulary.begin(), vocabulary.end(),
                                           [label](const Label& one) { return one.text == label; });
    if (found == vocabulary.end()) {
        refuse_label(label);
        return kRefused;
    }
    return set_resolved(path, found->set);
}

int set_exectl_attribute(const char* path)
{
    const int code = tresk_scene_exectl_xattr_set(path);
    if (code != 0) {
        std::printf("tresk scene set exectl xattr failed ret: %d\n", code);
    }
    return code;
}

int protect_below(const char* function, const char* directory, const char* label)
{
    const FrameworkPaths list(
        [directory](int* count) { return get_path_list_from_dir(without_data(directory), count); });
    if (!list) {
        return kRefused;
    }
    const auto apply = label == kNoProtection ? tresk_scene_filectl_multi_remove_by_path
                                              : tresk_scene_filectl_multi_add_by_path;
    const int code = apply(list.get(), list.count());
    if (code != 0) {
        log_error(kDbusSource, function, "failed to set fpro label to %s, scene returned %d", label, code);
    }
    return code;
}

int protect_directory(const char* path, const char* label, int mode, const char* extra)
{
    constexpr char function[] = "tresk_protect_set_for_dir_zdk";
    if (path == nullptr) {
        return kRefused;
    }
    if (path_is_dir(path) == 0) {
        return tresk_protect_set_zdk(path, label, mode, extra) == 0 ? 0 : kRefused;
    }
    if (label == nullptr) {
        report_bad_argument(kDbusSource, function);
        return kNullArgument;
    }
    return protect_below(function, path, label);
}

} // namespace

} // namespace tresk

using namespace tresk;

TRESK_EXPORT int tresk_label_set(const char* path)
{
    return at_edge(kRefused, [&] {
        if (path == nullptr) {
            report_bad_argument(kDbusSource, "tresk_label_set");
            return kRefused;
        }
        return set_resolved(path, set_exectl_attribute);
    });
}

TRESK_EXPORT int tresk_protect_set_zdk(const char* path, const char* label, int /*mode*/,
                                       const char* /*extra*/)
{
    return at_edge(kRefused, [&] { return set_label("tresk_protect_set_zdk", kProtectLabels, path, label); });
}

TRESK_EXPORT int tresk_protect_set(const char* path, const char* label)
{
    return tresk_protect_set_zdk(path, label, kOrdinaryMode, kNoExtra);
}

TRESK_EXPORT int tresk_protect_set_sm(const char* path, const char* label)
{
    return tresk_protect_set_zdk(path, label, kSmMode, kNoExtra);
}

TRESK_EXPORT int tresk_protect_set_for_dir_zdk(const char* path, const char* label, int mode,
                                               const char* extra)
{
    return at_edge(kRefused, [&] { return protect_directory(path, label, mode, extra); });
}

TRESK_EXPORT int tresk_protect_set_for_dir(const char* path, const char* label)
{
    return tresk_protect_set_for_dir_zdk(path, label, kOrdinaryMode, kNoExtra);
}

TRESK_EXPORT int tresk_protect_set_for_dir_sm(const char* path, const char* label)
{
    return tresk_protect_set_for_dir_zdk(path, label, kSmMode, kNoExtra);
}

TRESK_EXPORT int tresk_identify_set(const char* path, const char* label)
{
    return at_edge(kRefused, [&] { return set_label("tresk_identify_set", kIdentifyLabels, path, label); });
}

TRESK_EXPORT int tresk_exectl_set(const char* path, const char* label)
{
    return at_edge(kRefused, [&] { return set_label("tresk_exectl_set", kExectlLabels, path, label); });
}

TRESK_EXPORT int tresk_check_user_valid(const char* user, const char* credential)
{
    constexpr char function[] = "tresk_check_user_valid";
    return at_edge(int(TRESK_ERROR_SERVICE), [&] {
        if (user == nullptr || credential == nullptr) {
            report_bad_argument(kDbusSource, function);
            return kNullArgument;
        }
        return int(ask_service({kDbusSource, function}, kXattrService, "tresk_check_user_valid_with_pam",
                               ServiceArguments(user, credential))
                       .value_or_error());
    });
}
