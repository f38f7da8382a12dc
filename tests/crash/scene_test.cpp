// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The policies that the stand-in scene library keeps, labels of files among them.
#include "common/framework.h"
#include "tests/crash/operation.h"
#include "tests/crash/small_disk.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>

namespace tresk::test {
namespace {

struct Change {
    const char* test;
    int (*before)(); ///< what made the old state; null for a state of no files
    int (*change)();
};

std::ostream& operator<<(std::ostream& out, const Change& change)
{
    return out << change.test;
}

std::string path(const char* text)
{
    return text;
}

int add_many()
{
    std::string first = path("/usr/bin/b");
    std::string second = path("/usr/bin/c");
    char* paths[] = {first.data(), second.data()};
    return tresk_scene_filectl_multi_add_by_path(paths, 2);
}

int label_many()
{
    std::string first = path("/usr/bin/b");
    std::string second = path("/usr/bin/c");
    char* paths[] = {first.data(), second.data()};
    return tresk_scene_exectl_xattr_multi_set(paths, 2);
}

int protect_a()
{
    return tresk_scene_filectl_add_by_path("/usr/bin/a");
}

int protect_all()
{
    const int code = protect_a();
    return code == 0 ? add_many() : code;
}

int label_a()
{
    return tresk_scene_exectl_xattr_set("/usr/bin/a");
}

constexpr Change kChanges[] = {
    {"FirstProtectedFile", nullptr, protect_a},
    {"MoreProtectedFiles", protect_a, add_many},
    {"ProtectedFileRemoved", protect_all, [] { return tresk_scene_filectl_remove_by_path("/usr/bin/a"); }},
    {"FirstLabel", nullptr, label_a},
    {"MoreLabels", label_a, label_many},
    {"Process", [] { return tresk_scene_taskctl_add_by_path("/usr/bin/a"); },
     [] { return tresk_scene_taskctl_add_by_path("/usr/bin/b"); }},
    {"Module", [] { return tresk_scene_kmodctl_add_by_name("a"); },
     [] { return tresk_scene_kmodctl_add_by_name("b"); }},
};

bool is_policy(const std::string& name)
{
    return name.find('.') == std::string::npos;
}

/// The one kind of draft has a fixed name, which the next change writes over.
class SceneCrash : public ::testing::TestWithParam<Change> {
  protected:
    void SetUp() override { ::setenv("TRESK_STANDIN_STATE", folder.path().c_str(), 1); }

    [[nodiscard]] Operation operation() const
    {
        const Change change = GetParam();
        return {change.test,
                [=, this] {
                    std::filesystem::remove_all(folder / "scene");
                    if (change.before != nullptr) {
                        ASSERT_TRUE(run_apart([&] { return change.before() == 0; }));
                    }
                },
                [=] { return change.change() == 0; },
                [this] { return files_below({folder / "scene"}, is_policy); }, [] { return State(); }};
    }

    SmallDisk folder{"64k"};
};

TEST_P(SceneCrash, LeavesTheOldPolicyOrTheNewOne)
{
    const Tally tally = kill_at_each_call(operation());
    EXPECT_THAT(tally.objections, ::testing::IsEmpty());
    EXPECT_GT(tally.found_old, 0U);
    EXPECT_GT(tally.found_new, 0U);
    std::cout << GetParam().test << ": killed " << tally.runs << " times, old " << tally.found_old << ", new "
              << tally.found_new << "\n";
}

TEST_P(SceneCrash, ReportsAFullDiskAndLeavesTheOldPolicy)
{
    const Tally limited = limit_file_size(operation(), {0, 1, 5});
    EXPECT_THAT(limited.objections, ::testing::IsEmpty());
    if (!can_refuse()) {
        GTEST_SKIP() << "system calls cannot be refused on this machine";
    }
    const Tally refused = refuse_each_call(operation(), ENOSPC);
    EXPECT_THAT(refused.objections, ::testing::IsEmpty());
    EXPECT_GT(refused.runs, 1U);
}

TEST_P(SceneCrash, LeavesTheOldPolicyWithoutRoomAndTheNewOneWithEnough)
{
    if (!folder.is_small()) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    const Tally tally = run_with_room(operation(), folder / "filler", {0, 1, 2, 3, 4});
    EXPECT_THAT(tally.objections, ::testing::IsEmpty());
    EXPECT_GT(tally.found_old, 0U);
    EXPECT_GT(tally.found_new, 0U);
}

INSTANTIATE_TEST_SUITE_P(Of, SceneCrash, ::testing::ValuesIn(kChanges),
                         [](const auto& row) { return std::string(row.param.test); });

} // namespace
} // namespace tresk::test
