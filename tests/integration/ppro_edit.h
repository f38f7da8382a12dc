// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The edits of process protection as rows: what each does with a path.
#ifndef TRESK_TESTS_INTEGRATION_PPRO_EDIT_H
#define TRESK_TESTS_INTEGRATION_PPRO_EDIT_H

#include "tests/integration/dbus_fixture.h"

#include <functional>
#include <ostream>
#include <string>

namespace tresk::test {

struct PproEdit {
    const char* name; ///< of the test's instance
    std::function<int(const char* path)> call;
    const char* function; ///< that its failures name
    const char* scene;    ///< the scene function asked first; null where none is
    const char* member;
    const char* signature;
    const char* after_path; ///< the arguments that follow the path
};

inline std::ostream& operator<<(std::ostream& out, const PproEdit& edit)
{
    return out << edit.name;
}

/// Every edit, with values that tell its arguments apart.
inline const PproEdit kPproEdits[] = {
    {"AddZdk", [](const char* path) { return tresk_ppro_add_zdk(path, 7, 3, "src"); }, "tresk_ppro_add_zdk",
     "tresk_scene_taskctl_add_by_path", "tresk_ppro_add_zdk", "siis", ", 7, 3, 'src')"},
    {"Add", [](const char* path) { return tresk_ppro_add(path, 7); }, "tresk_ppro_add_zdk",
     "tresk_scene_taskctl_add_by_path", "tresk_ppro_add_zdk", "siis", ", 7, 0, '')"},
    {"AddSm", [](const char* path) { return tresk_ppro_add_sm(path, -7); }, "tresk_ppro_add_zdk",
     "tresk_scene_taskctl_add_by_path", "tresk_ppro_add_zdk", "siis", ", -7, 1, '')"},
    {"RemoveZdk", [](const char* path) { return tresk_ppro_remove_zdk(path, 3, "src"); },
     "tresk_ppro_remove_zdk", "tresk_scene_taskctl_remove_by_path", "tresk_ppro_remove_zdk", "sis",
     ", 3, 'src')"},
    {"Remove", [](const char* path) { return tresk_ppro_remove(path); }, "tresk_ppro_remove_zdk",
     "tresk_scene_taskctl_remove_by_path", "tresk_ppro_remove_zdk", "sis", ", 0, '')"},
    {"RemoveSm", [](const char* path) { return tresk_ppro_remove_sm(path); }, "tresk_ppro_remove_zdk",
     "tresk_scene_taskctl_remove_by_path", "tresk_ppro_remove_zdk", "sis", ", 1, '')"},
    {"UpdateZdk", [](const char* path) { return tresk_ppro_update_zdk(path, 7, 3, "src"); },
     "tresk_ppro_update_zdk", nullptr, "tresk_ppro_update_zdk", "siis", ", 7, 3, 'src')"},
    {"Update", [](const char* path) { return tresk_ppro_update(path, 7); }, "tresk_ppro_update_zdk", nullptr,
     "tresk_ppro_update_zdk", "siis", ", 7, 0, '')"},
    {"UpdateSm", [](const char* path) { return tresk_ppro_update_sm(path, 7); }, "tresk_ppro_update_zdk",
     nullptr, "tresk_ppro_update_zdk", "siis", ", 7, 1, '')"},
    {"RemoveInternal", [](const char* path) { return tresk_ppro_remove_internal(path, 0); },
     "tresk_ppro_remove_internal", nullptr, "tresk_ppro_remove", "s", ",)"},
    {"RemoveInternalSm", [](const char* path) { return tresk_ppro_remove_internal(path, -1); },
     "tresk_ppro_remove_internal", nullptr, "tresk_ppro_remove_sm", "s", ",)"},
    {"UpdateInternal", [](const char* path) { return tresk_ppro_update_internal(path, 7, 0); },
     "tresk_ppro_update_internal", nullptr, "tresk_ppro_update", "si", ", 7)"},
    {"UpdateInternalSm", [](const char* path) { return tresk_ppro_update_internal(path, 7, 2); },
     "tresk_ppro_update_internal", nullptr, "tresk_ppro_update_sm", "si", ", 7)"},
};

/// What the service is told by an edit of the path that the list keeps as @path.
inline ServiceCall sent(const PproEdit& edit, const std::string& path)
{
    return {"/ppro", "com.meron.tresk.ppro", edit.member, edit.signature,
            "('" + path + "'" + edit.after_path};
}

/// Names the instances of a test with parameters after their rows.
inline constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

/// One edit on a bus with a service.
class PproEditTest : public ServiceTest, public ::testing::WithParamInterface<PproEdit> {
  protected:
    static int edit(const char* path) { return GetParam().call(path); }

    /// Makes the path and the path without "/data" one file, for these two alone.
    static void same_file(const std::string& long_form)
    {
        framework().path_is_same = [long_form](const char* a, const char* b) {
            return a == long_form && b == long_form.substr(5) ? 1 : 0;
        };
    }

    /// Neither the scene nor the service was told anything.
    void expect_nothing_was_changed() const
    {
        EXPECT_TRUE(framework().scene_calls.empty());
        EXPECT_TRUE(service.calls().empty());
    }
};

} // namespace tresk::test

#endif
