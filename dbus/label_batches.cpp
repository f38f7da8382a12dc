// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The labels of many files in one call of the scene. The paths are taken as they are given.
#include "common/edge.h"
#include "common/framework.h"
#include "common/report.h"
#include "dbus/framework_paths.h"
#include "dbus/service_error.h"
#include "tresk_extend.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace tresk {

namespace {

constexpr int kBadArgument = -2;
constexpr int kNoMemory = -1;
/// Codes of the scene for what is so already.
constexpr int kPresent = -2;
constexpr int kNotPresent = -3;

constexpr int kSecurityAdministrator = 1;
constexpr int kAuditAdministrator = 2;

using MultiCall = int (*)(char** paths, int count);

template <std::size_t N>
std::string_view text_of(const char (&field)[N])
{
    return {field, ::strnlen(field, N)};
}

/// Copies of the records' paths as the scene takes them: one piece of memory for all texts.
class PathCopies {
  public:
    template <class Record>
    PathCopies(const Record* records, int count)
        : paths_(std::make_unique_for_overwrite<char*[]>(static_cast<std::size_t>(count))), count_(count)
    {
        std::size_t length = 0;
        std::for_each_n(records, count,
                        [&](const Record& record) { length += text_of(record.path).size() + 1; });
        texts_ = std::make_unique_for_overwrite<char[]>(length);
        char* at = texts_.get();
        std::transform(records, records + count, paths_.get(), [&at](const Record& record) {
            const std::string_view path = text_of(record.path);
            char* copy = at;
            at = std::copy(path.begin(), path.end(), at);
            *at++ = '\0';
            return copy;
        });
    }

    int hand_to(MultiCall call) { return call(paths_.get(), count_); }

  private:
    std::unique_ptr<char[]> texts_;
    std::unique_ptr<char*[]> paths_;
    int count_;
};

/// Reports records that are none on behalf of @function.
bool are_given(const char* function, const void* records, int count)
{
    if (records != nullptr && count > 0) {
        return true;
    }
    report_bad_argument(kDbusSource, function);
    return false;
}

/// The first record's label decides for all.
bool starts_with_label(const tresk_label_record* records, std::string_view label)
{
    return text_of(records->label) == label;
}

// --- roles ---

bool is_done(int code, int settled_code)
{
    return code == 0 || code == settled_code;
}

/// Every path of the list goes, then both roles; a step that fails ends the rest.
bool release(const char* path)
{
    return is_done(tresk_scene_admctl_remove_path_from_deny_all_user(path), kNotPresent) &&
           is_done(tresk_scene_admctl_remove_path_from_user(kSecurityAdministrator, path), kNotPresent) &&
           is_done(tresk_scene_admctl_remove_path_from_user(kAuditAdministrator, path), kNotPresent);
}

bool give_to(int role, const char* path)
{
    return is_done(tresk_scene_admctl_add_path_for_user(role, path), kPresent);
}

bool identify(const char* path, std::string_view label)
{
    if (label == "none") {
        return release(path);
    }
    if (!is_done(tresk_scene_admctl_add_path_for_deny_all_user(path), kPresent)) {
        return false;
    }
    if (label == "secadm") {
        return give_to(kSecurityAdministrator, path);
    }
    return label != "audadm" || give_to(kAuditAdministrator, path);
}

/// The number of records that were identified. A path that fills its field has no end there, so each is
/// copied to one buffer that has room for every one: once begun, the batch needs no more memory.
int count_identified(const tresk_label_record* records, int count)
{
    std::string path;
    path.reserve(sizeof(records->path));
    return static_cast<int>(
        std::count_if(records, records + count, [&path](const tresk_label_record& record) {
            path = text_of(record.path);
            return identify(path.c_str(), text_of(record.label));
        }));
}

// --- all protected files ---

int unprotect(const char* path)
{
    return path == nullptr ? 0 : tresk_scene_filectl_remove_by_path(path); // the list may have a gap
}

/// Stops at the first file that stays protected.
int unprotect_all(const FrameworkPaths& files)
{
    int code = 0;
    for (int index = 0; index < files.count() && code == 0; ++index) {
        code = unprotect(files.get()[index]);
    }
    return code;
}

} // namespace

} // namespace tresk

using namespace tresk;

TRESK_EXPORT int tresk_protect_multi_set(const tresk_label_record* records, int count)
{
    return at_edge(0, [&] {
        if (!are_given("tresk_protect_multi_set", records, count)) {
            return kBadArgument;
        }
        const int code =
            PathCopies(records, count)
                .hand_to(starts_with_label(records, "none") ? tresk_scene_filectl_multi_remove_by_path
                                                            : tresk_scene_filectl_multi_add_by_path);
        return code == 0 ? count : code;
    });
}

TRESK_EXPORT int tresk_identify_multi_set(const tresk_label_record* records, int count)
{
    return at_edge(kNoMemory, [&] {
        if (records != nullptr && count < 0) {
            return 0;
        }
        if (!are_given("tresk_identify_multi_set", records, count)) {
            return kBadArgument;
        }
        return count_identified(records, count);
    });
}

TRESK_EXPORT int tresk_exectl_multi_set(const tresk_label_record* records, int count)
{
    return at_edge(kNoMemory, [&] {
        if (!are_given("tresk_exectl_multi_set", records, count)) {
            return kBadArgument;
        }
        return PathCopies(records, count)
            .hand_to(starts_with_label(records, "unknown") ? tresk_scene_exectl_wlist_multi_delete
                                                           : tresk_scene_exectl_wlist_multi_add);
    });
}

TRESK_EXPORT int tresk_exectl_multi_set_for_dpkg(const tresk_dpkg_label_record* records, int count)
{
    return at_edge(kNoMemory, [&] {
        return are_given("tresk_exectl_multi_set_for_dpkg", records, count)
                   ? PathCopies(records, count).hand_to(tresk_scene_exectl_xattr_multi_set)
                   : kBadArgument;
    });
}

TRESK_EXPORT int tresk_fpro_clear_policy_zdk(void)
{
    return at_edge(kNoMemory, [] { return unprotect_all(FrameworkPaths(tresk_scene_filectl_get_policy)); });
}
