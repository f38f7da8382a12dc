// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/framework.h"
#include "standin/framework/c_array.h"
#include "standin/framework/scene_store.h"
#include "tests/standin/framework_scene.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace {

using FrameworkSceneStore = tresk::test::FrameworkScene;

std::vector<std::string> listed(const char* policy)
{
    int count = -1;
    char** const texts = tresk_standin_scene_list("list", policy, &count);
    if (texts == nullptr) {
        return {"null"};
    }
    std::vector<std::string> copy{texts, texts + count};
    tresk::standin::free_c_array(texts);
    return copy;
}

/// The public functions of one policy, and its file.
struct ScenePolicy {
    const char* name;
    int (*add)(const char* text);
    int (*remove)(const char* text);
    const char* file;
};

constexpr std::array POLICIES{
    ScenePolicy{"taskctl_by_path", tresk_scene_taskctl_add_by_path, tresk_scene_taskctl_remove_by_path,
                "scene/taskctl"},
    ScenePolicy{"netctl_by_path", tresk_scene_netctl_add_by_path, tresk_scene_netctl_remove_by_path,
                "scene/netctl"},
    ScenePolicy{"netctl_by_package", tresk_scene_netctl_add_by_package, tresk_scene_netctl_remove_by_package,
                "scene/netctl_pkg"},
    ScenePolicy{"pblkctl_by_path", tresk_scene_pblkctl_add_by_path, tresk_scene_pblkctl_remove_by_path,
                "scene/pblkctl"},
};

class FrameworkScenePolicy : public FrameworkSceneStore, public ::testing::WithParamInterface<ScenePolicy> {};

TEST_P(FrameworkScenePolicy, AddsATextOnce)
{
    EXPECT_EQ(GetParam().add("/usr/bin/a"), 0);
    EXPECT_EQ(GetParam().add("/usr/bin/a"), -2);
    EXPECT_EQ(read(GetParam().file), "/usr/bin/a\n");
}

TEST_P(FrameworkScenePolicy, RemovesATextOnce)
{
    ASSERT_EQ(GetParam().add("/usr/bin/a"), 0);
    ASSERT_EQ(GetParam().add("/usr/bin/b"), 0);
    EXPECT_EQ(GetParam().remove("/usr/bin/a"), 0);
    EXPECT_EQ(GetParam().remove("/usr/bin/a"), -3);
    EXPECT_EQ(read(GetParam().file), "/usr/bin/b\n");
}

TEST_P(FrameworkScenePolicy, RefusesNull)
{
    EXPECT_EQ(GetParam().add(nullptr), -1);
    EXPECT_EQ(GetParam().remove(nullptr), -1);
}

TEST_P(FrameworkScenePolicy, IsKeptApartFromTheOthers)
{
    ASSERT_EQ(GetParam().add("a"), 0);
    const auto holding = std::ranges::count_if(
        POLICIES, [this](const ScenePolicy& policy) { return read(policy.file) == "a\n"; });
    EXPECT_EQ(holding, 1);
}

TEST_P(FrameworkScenePolicy, AnswersTheCodesOfFaultsUnderItsFunctionsNames)
{
    const std::string name = GetParam().name;
    const std::string family = name.substr(0, name.find('_'));
    const std::string object = name.substr(name.find('_'));
    write("scene-faults", "tresk_scene_" + family + "_add" + object + " -9\ntresk_scene_" + family +
                              "_remove" + object + " -8\n");
    EXPECT_EQ(GetParam().add("a"), -9);
    EXPECT_EQ(GetParam().remove("a"), -8);
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

pid_t add_in_child(int process, int count)
{
    const pid_t child = ::fork();
    if (child != 0) {
        return child;
    }
    bool added = true;
    for (int index = 0; index < count; ++index) {
        const std::string path = "/" + std::to_string(process) + "/" + std::to_string(index);
        added = tresk_scene_taskctl_add_by_path(path.c_str()) == 0 && added;
    }
    ::_exit(added ? 0 : 1);
}

TEST_F(FrameworkSceneStore, LosesNoChangeOfSeveralProcesses)
{
    constexpr int PROCESSES = 4;
    constexpr int PATHS = 50;
    std::vector<pid_t> children;
    for (int process = 0; process < PROCESSES; ++process) {
        children.push_back(add_in_child(process, PATHS));
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(listed("taskctl").size(), std::size_t{PROCESSES * PATHS});
}

} // namespace
