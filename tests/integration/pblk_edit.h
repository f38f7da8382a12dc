// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The edits of process blocking as rows: what each does with a path.
#ifndef TRESK_TESTS_INTEGRATION_PBLK_EDIT_H
#define TRESK_TESTS_INTEGRATION_PBLK_EDIT_H

#include "tests/integration/dbus_fixture.h"

#include <ostream>
#include <string>

namespace tresk::test {

struct PblkEdit {
    const char* name; ///< of the test's instance
    int (*call)(char* path);
    const char* function; ///< that its failures name, and its method's name
    const char* scene;    ///< the scene function asked first
    const char* source;   ///< the arguments that follow the path
};

inline std::ostream& operator<<(std::ostream& out, const PblkEdit& edit)
{
    return out << edit.name;
}

/// Every edit, with values that tell its arguments apart.
inline const PblkEdit kPblkEdits[] = {
    {"AddZdk", [](char* path) { return tresk_pblk_add_zdk(path, -7, "src"); }, "tresk_pblk_add_zdk",
     "tresk_scene_pblkctl_add_by_path", ", -7, 'src')"},
    {"Add", tresk_pblk_add, "tresk_pblk_add_zdk", "tresk_scene_pblkctl_add_by_path", ", 1, '')"},
    {"RemoveZdk", [](char* path) { return tresk_pblk_remove_zdk(path, 2147483647, "src"); },
     "tresk_pblk_remove_zdk", "tresk_scene_pblkctl_remove_by_path", ", 2147483647, 'src')"},
    {"Remove", tresk_pblk_remove, "tresk_pblk_remove_zdk", "tresk_scene_pblkctl_remove_by_path", ", 1, '')"},
};

/// What the service is told by an edit of the path that the list keeps as @path.
inline ServiceCall sent(const PblkEdit& edit, const std::string& path)
{
    return {"/pblk", "com.meron.tresk.pblk", edit.function, "sis", "('" + path + "'" + edit.source};
}

/// Names the instances of a test with parameters after their rows.
inline constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

/// One edit on a bus with a service. The caller's buffer is the test's.
class PblkEditTest : public ServiceTest, public ::testing::WithParamInterface<PblkEdit> {
  protected:
    /// Makes the edit of a buffer that holds @path and more behind it.
    int edit(const std::string& path)
    {
        buffer = path + '\0' + "behind";
        const int result = GetParam().call(buffer.data());
        EXPECT_TRUE(buffer.ends_with(std::string("\0behind", 7))) << "written past the path";
        return result;
    }

    /// The path that the caller has now.
    [[nodiscard]] std::string path_now() const { return buffer.c_str(); }

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

    std::string buffer;
};

} // namespace tresk::test

#endif
