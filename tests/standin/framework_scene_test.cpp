// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/framework.h"
#include "standin/framework/scene_store.h"
#include "tests/standin/framework_scene.h"

#include <algorithm>
#include <array>

namespace {

using FrameworkSceneStore = tresk::test::FrameworkScene;

using tresk::test::listed;

/// A public function and its name, under which faults are set.
struct SceneFunction {
    const char* name;
    int (*call)(const char* text);
};

/// The functions of one policy, and its file.
struct ScenePolicy {
    const char* name;
    SceneFunction add;
    SceneFunction remove;
    const char* file;
};

template <int ROLE>
int add_for_role(const char* path)
{
    return tresk_scene_admctl_add_path_for_user(ROLE, path);
}

template <int ROLE>
int remove_from_role(const char* path)
{
    return tresk_scene_admctl_remove_path_from_user(ROLE, path);
}

constexpr const char* ADD_FOR_USER = "tresk_scene_admctl_add_path_for_user";
constexpr const char* REMOVE_FROM_USER = "tresk_scene_admctl_remove_path_from_user";

#define SCENE_FUNCTION(name)                                                                                 \
    SceneFunction                                                                                            \
    {                                                                                                        \
#name, name                                                                                          \
    }

const std::array POLICIES{
    ScenePolicy{"taskctl", SCENE_FUNCTION(tresk_scene_taskctl_add_by_path),
                SCENE_FUNCTION(tresk_scene_taskctl_remove_by_path), "scene/taskctl"},
    ScenePolicy{"netctl", SCENE_FUNCTION(tresk_scene_netctl_add_by_path),
                SCENE_FUNCTION(tresk_scene_netctl_remove_by_path), "scene/netctl"},
    ScenePolicy{"netctl_pkg", SCENE_FUNCTION(tresk_scene_netctl_add_by_package),
                SCENE_FUNCTION(tresk_scene_netctl_remove_by_package), "scene/netctl_pkg"},
    ScenePolicy{"pblkctl", SCENE_FUNCTION(tresk_scene_pblkctl_add_by_path),
                SCENE_FUNCTION(tresk_scene_pblkctl_remove_by_path), "scene/pblkctl"},
    ScenePolicy{"filectl", SCENE_FUNCTION(tresk_scene_filectl_add_by_path),
                SCENE_FUNCTION(tresk_scene_filectl_remove_by_path), "scene/filectl"},
    ScenePolicy{"admctl_deny_all", SCENE_FUNCTION(tresk_scene_admctl_add_path_for_deny_all_user),
                SCENE_FUNCTION(tresk_scene_admctl_remove_path_from_deny_all_user), "scene/admctl_deny_all"},
    ScenePolicy{"admctl_role_1",
                {ADD_FOR_USER, add_for_role<1>},
                {REMOVE_FROM_USER, remove_from_role<1>},
                "scene/admctl_role_1"},
    ScenePolicy{"admctl_role_2",
                {ADD_FOR_USER, add_for_role<2>},
                {REMOVE_FROM_USER, remove_from_role<2>},
                "scene/admctl_role_2"},
    ScenePolicy{"exectl_wlist", SCENE_FUNCTION(tresk_scene_exectl_wlist_add),
                SCENE_FUNCTION(tresk_scene_exectl_wlist_delete), "scene/exectl_wlist"},
    ScenePolicy{"kmodctl", SCENE_FUNCTION(tresk_scene_kmodctl_add_by_name),
                SCENE_FUNCTION(tresk_scene_kmodctl_remove_by_name), "scene/kmodctl"},
};

class FrameworkScenePolicy : public FrameworkSceneStore, public ::testing::WithParamInterface<ScenePolicy> {};

TEST_P(FrameworkScenePolicy, AddsATextOnce)
{
    EXPECT_EQ(GetParam().add.call("/usr/bin/a"), 0);
    EXPECT_EQ(GetParam().add.call("/usr/bin/a"), -2);
    EXPECT_EQ(read(GetParam().file), "/usr/bin/a\n");
}

TEST_P(FrameworkScenePolicy, RemovesATextOnce)
{
    ASSERT_EQ(GetParam().add.call("/usr/bin/a"), 0);
    ASSERT_EQ(GetParam().add.call("/usr/bin/b"), 0);
    EXPECT_EQ(GetParam().remove.call("/usr/bin/a"), 0);
    EXPECT_EQ(GetParam().remove.call("/usr/bin/a"), -3);
    EXPECT_EQ(read(GetParam().file), "/usr/bin/b\n");
}

TEST_P(FrameworkScenePolicy, RefusesNull)
{
    EXPECT_EQ(GetParam().add.call(nullptr), -1);
    EXPECT_EQ(GetParam().remove.call(nullptr), -1);
}

TEST_P(FrameworkScenePolicy, IsKeptApartFromTheOthers)
{
    ASSERT_EQ(GetParam().add.call("a"), 0);
    const auto holding = std::ranges::count_if(
        POLICIES, [this](const ScenePolicy& policy) { return read(policy.file) == "a\n"; });
    EXPECT_EQ(holding, 1);
}

TEST_P(FrameworkScenePolicy, AnswersTheCodesOfFaultsUnderItsFunctionsNames)
{
    write("scene-faults", GetParam().add.name + std::string(" -9\n") + GetParam().remove.name + " -8\n");
    EXPECT_EQ(GetParam().add.call("a"), -9);
    EXPECT_EQ(GetParam().remove.call("a"), -8);
    EXPECT_EQ(read(GetParam().file), "");
}

INSTANTIATE_TEST_SUITE_P(Each, FrameworkScenePolicy, ::testing::ValuesIn(POLICIES),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(FrameworkSceneStore, KeepsTextsWithLineFeedsAndBackslashesApart)
{
    ASSERT_EQ(tresk_standin_scene_add("f", "policy", "a\nb"), 0);
    ASSERT_EQ(tresk_standin_scene_add("f", "policy", "a\\nb"), 0);
    EXPECT_EQ(listed("policy"), (std::vector<std::string>{"a\nb", "a\\nb"}));
}

TEST_F(FrameworkSceneStore, KeepsPoliciesApart)
{
    ASSERT_EQ(tresk_standin_scene_add("f", "one", "a"), 0);
    EXPECT_EQ(tresk_standin_scene_remove("f", "two", "a"), -3);
    EXPECT_TRUE(listed("two").empty());
}

TEST_F(FrameworkSceneStore, FailsWithoutAStateDirectory)
{
    ::unsetenv("TRESK_STANDIN_STATE");
    EXPECT_EQ(tresk_scene_taskctl_add_by_path("/a"), -1);
    EXPECT_EQ(tresk_scene_taskctl_remove_by_path("/a"), -1);
    EXPECT_EQ(listed("taskctl"), std::vector<std::string>{"null"});
}

TEST_F(FrameworkSceneStore, FailsWhereThePolicyIsNoFile)
{
    std::filesystem::create_directories(path("scene/taskctl"));
    EXPECT_EQ(tresk_scene_taskctl_add_by_path("/a"), -1);
}

TEST_F(FrameworkSceneStore, AnswersTheCodeOfAFault)
{
    write("scene-faults", "# one function only\ntresk_scene_taskctl_add_by_path -9\n");
    EXPECT_EQ(tresk_scene_taskctl_add_by_path("/a"), -9);
    EXPECT_EQ(tresk_scene_taskctl_remove_by_path("/a"), -3);
    std::filesystem::remove(path("scene-faults"));
    EXPECT_EQ(tresk_scene_taskctl_add_by_path("/a"), 0);
}

TEST_F(FrameworkSceneStore, LosesNoChangeOfSeveralProcesses)
{
    constexpr int PROCESSES = 4;
    constexpr int PATHS = 50;
    tresk::test::run_in_children(PROCESSES, [](int process) {
        bool added = true;
        for (int index = 0; index < PATHS; ++index) {
            const std::string path = "/" + std::to_string(process) + "/" + std::to_string(index);
            added = tresk_scene_taskctl_add_by_path(path.c_str()) == 0 && added;
        }
        return added;
    });
    EXPECT_EQ(listed("taskctl").size(), std::size_t{PROCESSES * PATHS});
}

} // namespace
