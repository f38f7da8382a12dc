// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/framework.h"
#include "standin/framework/c_array.h"
#include "standin/framework/scene_store.h"
#include "tests/standin/framework_scene.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

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

TEST_F(FrameworkSceneStore, AddsAPathOnce)
{
    EXPECT_EQ(tresk_scene_taskctl_add_by_path("/usr/bin/a"), 0);
    EXPECT_EQ(tresk_scene_taskctl_add_by_path("/usr/bin/a"), -2);
    EXPECT_EQ(read("scene/taskctl"), "/usr/bin/a\n");
}

TEST_F(FrameworkSceneStore, RemovesAPathOnce)
{
    ASSERT_EQ(tresk_scene_taskctl_add_by_path("/usr/bin/a"), 0);
    ASSERT_EQ(tresk_scene_taskctl_add_by_path("/usr/bin/b"), 0);
    EXPECT_EQ(tresk_scene_taskctl_remove_by_path("/usr/bin/a"), 0);
    EXPECT_EQ(tresk_scene_taskctl_remove_by_path("/usr/bin/a"), -3);
    EXPECT_EQ(read("scene/taskctl"), "/usr/bin/b\n");
}

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

TEST_F(FrameworkSceneStore, RefusesNull)
{
    EXPECT_EQ(tresk_scene_taskctl_add_by_path(nullptr), -1);
    EXPECT_EQ(tresk_scene_taskctl_remove_by_path(nullptr), -1);
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
