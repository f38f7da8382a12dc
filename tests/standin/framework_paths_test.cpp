// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/framework.h"
#include "common/handles.h"
#include "standin/framework/c_array.h"
#include "tests/standin/framework_scene.h"

#include <cerrno>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

class FrameworkPaths : public tresk::test::FrameworkScene {
  protected:
    FrameworkPaths()
    {
        fs::create_directories(path("dir/sub"));
        write("dir/b", "");
        write("dir/sub/a", "");
        fs::create_symlink("b", path("dir/link"));
    }
};

std::string absolute(const std::string& path)
{
    const tresk::Malloced<char> result{get_absolute_path(path.c_str())};
    return result ? result.get() : "";
}

TEST_F(FrameworkPaths, ResolvesLinksAndDots)
{
    EXPECT_EQ(absolute(path("dir/sub/../link")), fs::canonical(path("dir/b")).string());
}

TEST_F(FrameworkPaths, ResolvesNoMissingFile)
{
    errno = 0;
    EXPECT_EQ(get_absolute_path(path("dir/none").c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(FrameworkPaths, ResolvesNoNull)
{
    errno = 0;
    EXPECT_EQ(get_absolute_path(nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(FrameworkPaths, ListsEveryFileBelowADirectory)
{
    int count = 0;
    char** const files = get_path_list_from_dir(path("dir").c_str(), &count);
    ASSERT_NE(files, nullptr);
    const std::vector<std::string> listed{files, files + count};
    tresk::standin::free_c_array(files);
    EXPECT_EQ(listed, (std::vector{path("dir/b"), path("dir/link"), path("dir/sub/a")}));
}

TEST_F(FrameworkPaths, ListsNothingButDirectories)
{
    int count = 5;
    EXPECT_EQ(get_path_list_from_dir(path("dir/b").c_str(), &count), nullptr);
    EXPECT_EQ(get_path_list_from_dir(path("none").c_str(), &count), nullptr);
    EXPECT_EQ(get_path_list_from_dir(nullptr, &count), nullptr);
    EXPECT_EQ(count, 5);
}

TEST_F(FrameworkPaths, TellsDirectoriesFromFiles)
{
    EXPECT_EQ(path_is_dir(path("dir").c_str()), 1);
    EXPECT_EQ(path_is_dir(path("dir/b").c_str()), 0);
    EXPECT_EQ(path_is_dir(path("none").c_str()), 0);
    EXPECT_EQ(path_is_dir(nullptr), 0);
}

TEST_F(FrameworkPaths, KnowsWhenTwoPathsNameOneFile)
{
    EXPECT_EQ(path_is_same(path("dir/b").c_str(), path("dir/link").c_str()), 1);
    EXPECT_EQ(path_is_same(path("dir/b").c_str(), path("dir/sub/a").c_str()), 0);
    EXPECT_EQ(path_is_same(path("none").c_str(), path("none").c_str()), 0);
    EXPECT_EQ(path_is_same(nullptr, path("dir").c_str()), 0);
}

TEST_F(FrameworkPaths, KnowsADirectoryThatIsShownElsewhere)
{
    // "/proc/self/root" shows "/" once more, as a bound mount would.
    EXPECT_EQ(path_is_mount_bind("/proc/self/root", path("dir").c_str()), 1);
    EXPECT_EQ(path_is_mount_bind("/proc/self/root", path("dir/b").c_str()), 0);
    EXPECT_EQ(path_is_mount_bind("/none", path("dir").c_str()), 0);
    EXPECT_EQ(path_is_mount_bind(nullptr, nullptr), 0);
}

TEST_F(FrameworkPaths, SkipsLeadingBlanks)
{
    std::string text = " \t a b";
    EXPECT_STREQ(ltrim_anyway(text.data()), "a b");
    EXPECT_EQ(ltrim_anyway(nullptr), nullptr);
}

} // namespace
