// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the scene library is told about files, and what is said when that fails.
#ifndef TRESK_TESTS_UNIT_LABELS_SCENE_H
#define TRESK_TESTS_UNIT_LABELS_SCENE_H

#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace tresk::test {

inline constexpr char kProtect[] = "tresk_scene_filectl_add_by_path";
inline constexpr char kUnprotect[] = "tresk_scene_filectl_remove_by_path";
inline constexpr char kProtectAll[] = "tresk_scene_filectl_multi_add_by_path";
inline constexpr char kUnprotectAll[] = "tresk_scene_filectl_multi_remove_by_path";
inline constexpr char kDeny[] = "tresk_scene_admctl_add_path_for_deny_all_user";
inline constexpr char kEndDenial[] = "tresk_scene_admctl_remove_path_from_deny_all_user";
inline constexpr char kGive[] = "tresk_scene_admctl_add_path_for_user";
inline constexpr char kTake[] = "tresk_scene_admctl_remove_path_from_user";
inline constexpr char kSetAttribute[] = "tresk_scene_exectl_xattr_set";
inline constexpr char kSetAttributes[] = "tresk_scene_exectl_xattr_multi_set";
inline constexpr char kPermit[] = "tresk_scene_exectl_wlist_add";
inline constexpr char kEndPermission[] = "tresk_scene_exectl_wlist_delete";
inline constexpr char kPermitAll[] = "tresk_scene_exectl_wlist_multi_add";
inline constexpr char kEndPermissions[] = "tresk_scene_exectl_wlist_multi_delete";

using SceneCalls = std::vector<SceneCall>;

/// One diagnostic was written and one error recorded, both about @subject.
inline void expect_told(int code, const std::string& subject, const std::string& text)
{
    ASSERT_EQ(framework().logs.size(), 1U);
    const LogLine& log = framework().logs[0];
    EXPECT_FALSE(log.old_call);
    EXPECT_EQ(log.level, 3);
    EXPECT_EQ(log.subject, subject);
    EXPECT_EQ(log.source, "libtresk_dbus");
    EXPECT_EQ(log.text, text);
    ASSERT_EQ(framework().errors.size(), 1U);
    EXPECT_EQ(framework().errors[0].code, code);
    EXPECT_EQ(framework().errors[0].subject, subject);
}

/// The same, with the text in the record too.
inline void expect_told_and_recorded(int code, const std::string& subject, const std::string& text)
{
    expect_told(code, subject, text);
    ASSERT_EQ(framework().errors.size(), 1U);
    EXPECT_EQ(framework().errors[0].text, text);
}

/// A bad argument of @function was told, and the scene was told nothing.
inline void expect_refused(const std::string& function)
{
    EXPECT_EQ(errno, EINVAL);
    expect_told_and_recorded(-1007, function, std::strerror(EINVAL));
    EXPECT_TRUE(framework().scene_calls.empty());
}

inline void expect_nothing_told()
{
    EXPECT_TRUE(framework().logs.empty());
    EXPECT_TRUE(framework().errors.empty());
}

/// Names the instances of a test with parameters.
inline constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

} // namespace tresk::test

#endif
