// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Scene functions that take many paths in one call.
#include "common/framework.h"
#include "tests/standin/framework_scene.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace {

using tresk::test::FrameworkScene;
using tresk::test::listed;
using Texts = std::vector<std::string>;

/// The function of a batch, its name, and its policy.
struct Batch {
    const char* name;
    int (*call)(char** paths, int count);
    const char* policy;
};

#define BATCH(name, policy)                                                                                  \
    Batch                                                                                                    \
    {                                                                                                        \
#name, name, policy                                                                                  \
    }

const std::array ADDITIONS{
    BATCH(tresk_scene_filectl_multi_add_by_path, "filectl"),
    BATCH(tresk_scene_exectl_wlist_multi_add, "exectl_wlist"),
    BATCH(tresk_scene_exectl_xattr_multi_set, "exectl_xattr"),
};

const std::array REMOVALS{
    BATCH(tresk_scene_filectl_multi_remove_by_path, "filectl"),
    BATCH(tresk_scene_exectl_wlist_multi_delete, "exectl_wlist"),
};

/// Paths as C callers give them.
class PathArray {
  public:
    explicit PathArray(Texts paths) : paths_(std::move(paths))
    {
        std::ranges::transform(paths_, std::back_inserter(pointers_),
                               [](std::string& p) { return p.data(); });
    }

    PathArray(const PathArray&) = delete;
    PathArray& operator=(const PathArray&) = delete;
    PathArray(PathArray&&) = delete;
    PathArray& operator=(PathArray&&) = delete;
    ~PathArray() = default;

    char** data() { return pointers_.data(); }

    [[nodiscard]] int count() const { return static_cast<int>(pointers_.size()); }

    void set_null(std::size_t index) { pointers_[index] = nullptr; }

  private:
    Texts paths_;
    std::vector<char*> pointers_;
};

class FrameworkBatch : public FrameworkScene, public ::testing::WithParamInterface<Batch> {
  protected:
    static int run(Texts paths)
    {
        PathArray array{std::move(paths)};
        return GetParam().call(array.data(), array.count());
    }

    [[nodiscard]] static Texts texts() { return listed(GetParam().policy); }

    void seed(const std::string& lines) const
    {
        std::filesystem::create_directories(path("scene"));
        write(file(), lines);
    }

    [[nodiscard]] static std::string file() { return std::string("scene/") + GetParam().policy; }
};

/// The paths "/a" and "/x", not as the store would write them.
constexpr const char* UNUSUAL = "/a\n/\\x\n";

using FrameworkBatchAddition = FrameworkBatch;
using FrameworkBatchRemoval = FrameworkBatch;

constexpr auto NAME = [](const auto& row) { return std::string(row.param.name); };

TEST_P(FrameworkBatchAddition, AddsAllPathsInTheirOrder)
{
    EXPECT_EQ(run({"/c", "/a", "/b"}), 0);
    EXPECT_EQ(texts(), (Texts{"/c", "/a", "/b"}));
}

TEST_P(FrameworkBatchAddition, LeavesWhatIsPresentAndAddsTheRest)
{
    seed("/a\n/b\n");
    EXPECT_EQ(run({"/c", "/b", "/d"}), 0);
    EXPECT_EQ(texts(), (Texts{"/a", "/b", "/c", "/d"}));
}

TEST_P(FrameworkBatchAddition, IsDoneAndWritesNothingWhereAllIsPresent)
{
    seed(UNUSUAL);
    EXPECT_EQ(run({"/x", "/a"}), 0);
    EXPECT_EQ(read(file()), UNUSUAL);
}

TEST_P(FrameworkBatchAddition, AddsARepeatedPathOnce)
{
    EXPECT_EQ(run({"/a", "/b", "/a"}), 0);
    EXPECT_EQ(texts(), (Texts{"/a", "/b"}));
}

TEST_P(FrameworkBatchAddition, KeepsPathsWithLineFeedsAndBackslashesApart)
{
    EXPECT_EQ(run({"/a\nb", "/a\\nb", "/a\\", " "}), 0);
    EXPECT_EQ(texts(), (Texts{"/a\nb", "/a\\nb", "/a\\", " "}));
}

TEST_P(FrameworkBatchAddition, LosesNoPathOfSeveralProcesses)
{
    constexpr int PROCESSES = 2;
    constexpr int BATCHES = 40;
    tresk::test::run_in_children(PROCESSES, [](int process) {
        bool added = true;
        for (int index = 0; index < BATCHES; ++index) {
            const std::string path = "/" + std::to_string(process) + "/" + std::to_string(index);
            added = run({path + "/a", path + "/b", "/shared/" + std::to_string(index)}) == 0 && added;
        }
        return added;
    });
    Texts all = texts();
    EXPECT_EQ(all.size(), std::size_t{PROCESSES * BATCHES * 2 + BATCHES});
    std::ranges::sort(all);
    EXPECT_EQ(std::ranges::adjacent_find(all), all.end());
}

INSTANTIATE_TEST_SUITE_P(Each, FrameworkBatchAddition, ::testing::ValuesIn(ADDITIONS), NAME);

TEST_P(FrameworkBatchRemoval, RemovesAllPathsAndLeavesTheRest)
{
    seed("/a\n/b\n/c\n");
    EXPECT_EQ(run({"/c", "/a"}), 0);
    EXPECT_EQ(texts(), Texts{"/b"});
}

TEST_P(FrameworkBatchRemoval, OverlooksWhatIsNotPresent)
{
    seed("/a\n/b\n");
    EXPECT_EQ(run({"/none", "/b", "/b"}), 0);
    EXPECT_EQ(texts(), Texts{"/a"});
}

TEST_P(FrameworkBatchRemoval, IsDoneAndWritesNothingWhereNothingIsPresent)
{
    seed(UNUSUAL);
    EXPECT_EQ(run({"/none", "/other"}), 0);
    EXPECT_EQ(read(file()), UNUSUAL);
}

INSTANTIATE_TEST_SUITE_P(Each, FrameworkBatchRemoval, ::testing::ValuesIn(REMOVALS), NAME);

/// What holds for both.
using FrameworkEveryBatch = FrameworkBatch;

TEST_P(FrameworkEveryBatch, OfNoPathsIsDoneAndWritesNothing)
{
    EXPECT_EQ(GetParam().call(nullptr, 0), 0);
    EXPECT_FALSE(std::filesystem::exists(path(file())));
}

TEST_P(FrameworkEveryBatch, WithANullPathIsRefusedWhole)
{
    seed("/a\n");
    PathArray array{{"/a", "/b", "/c"}};
    array.set_null(2);
    EXPECT_EQ(GetParam().call(array.data(), array.count()), -1);
    EXPECT_EQ(texts(), Texts{"/a"});
}

TEST_P(FrameworkEveryBatch, OfANullArrayOrANegativeCountIsRefused)
{
    PathArray array{{"/a"}};
    EXPECT_EQ(GetParam().call(nullptr, 1), -1);
    EXPECT_EQ(GetParam().call(array.data(), -1), -1);
    EXPECT_FALSE(std::filesystem::exists(path(file())));
}

TEST_P(FrameworkEveryBatch, AnswersTheCodeOfAFault)
{
    seed("/a\n");
    write("scene-faults", GetParam().name + std::string(" -7\n"));
    EXPECT_EQ(run({"/a", "/b"}), -7);
    EXPECT_EQ(texts(), Texts{"/a"});
}

TEST_P(FrameworkEveryBatch, FailsWhereThePolicyIsNoFile)
{
    std::filesystem::create_directories(path(file()));
    EXPECT_EQ(run({"/a"}), -1);
}

TEST_P(FrameworkEveryBatch, FailsWithoutAStateDirectory)
{
    ::unsetenv("TRESK_STANDIN_STATE");
    EXPECT_EQ(run({"/a"}), -1);
}

INSTANTIATE_TEST_SUITE_P(Addition, FrameworkEveryBatch, ::testing::ValuesIn(ADDITIONS), NAME);
INSTANTIATE_TEST_SUITE_P(Removal, FrameworkEveryBatch, ::testing::ValuesIn(REMOVALS), NAME);

// --- large batches ---

using FrameworkLargeBatch = FrameworkScene;

Texts many_paths(int count)
{
    Texts paths;
    for (int index = 0; index < count; ++index) {
        paths.push_back("/usr/share/a folder of files/file-" + std::to_string(index));
    }
    return paths;
}

TEST_F(FrameworkLargeBatch, TakesATimeThatGrowsWithTheNumberOfPathsAlone)
{
    constexpr int MANY = 50000;
    // Far more than it takes on a busy machine, and far less than comparing each path with each.
    constexpr std::chrono::seconds LIMIT{5};
    PathArray paths{many_paths(MANY)};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(tresk_scene_filectl_multi_add_by_path(paths.data(), MANY), 0);
    EXPECT_EQ(tresk_scene_filectl_multi_add_by_path(paths.data(), MANY), 0);
    EXPECT_EQ(listed("filectl"), many_paths(MANY));
    EXPECT_EQ(tresk_scene_filectl_multi_remove_by_path(paths.data(), MANY), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, LIMIT);
    EXPECT_EQ(read("scene/filectl"), "");
}

TEST_F(FrameworkLargeBatch, IsSeenWholeOrNotAtAll)
{
    constexpr int PATHS = 2000;
    constexpr int ROUNDS = 30;
    const pid_t writer = ::fork();
    if (writer == 0) {
        PathArray paths{many_paths(PATHS)};
        int failures = 0;
        for (int round = 0; round < ROUNDS; ++round) {
            failures += tresk_scene_filectl_multi_add_by_path(paths.data(), PATHS);
            failures += tresk_scene_filectl_multi_remove_by_path(paths.data(), PATHS);
        }
        ::_exit(failures == 0 ? 0 : 1);
    }
    int status = -1;
    while (::waitpid(writer, &status, WNOHANG) == 0) {
        const std::string content = read("scene/filectl");
        EXPECT_THAT(std::ranges::count(content, '\n'), ::testing::AnyOf(0, PATHS));
    }
    EXPECT_EQ(status, 0);
}

// --- the label, and the list of protected files ---

using FrameworkLabel = FrameworkScene;

TEST_F(FrameworkLabel, IsSetOnceAndSettingItAnewIsDone)
{
    EXPECT_EQ(tresk_scene_exectl_xattr_set("/a"), 0);
    EXPECT_EQ(tresk_scene_exectl_xattr_set("/a"), 0);
    EXPECT_EQ(read("scene/exectl_xattr"), "/a\n");
}

TEST_F(FrameworkLabel, IsKeptApartFromTheWhiteList)
{
    ASSERT_EQ(tresk_scene_exectl_xattr_set("/a"), 0);
    EXPECT_EQ(tresk_scene_exectl_wlist_delete("/a"), -3);
    EXPECT_EQ(read("scene/exectl_xattr"), "/a\n");
}

TEST_F(FrameworkLabel, IsNotSetOnNull)
{
    EXPECT_EQ(tresk_scene_exectl_xattr_set(nullptr), -1);
}

TEST_F(FrameworkLabel, AnswersTheCodeOfAFault)
{
    write("scene-faults", "tresk_scene_exectl_xattr_set -6\n");
    EXPECT_EQ(tresk_scene_exectl_xattr_set("/a"), -6);
    EXPECT_EQ(listed("exectl_xattr"), Texts{});
}

using FrameworkFileList = FrameworkScene;

TEST_F(FrameworkFileList, HoldsTheProtectedFiles)
{
    ASSERT_EQ(tresk_scene_filectl_add_by_path("/b"), 0);
    ASSERT_EQ(tresk_scene_filectl_add_by_path("/a\nb"), 0);
    int count = -1;
    char** const paths = tresk_scene_filectl_get_policy(&count);
    ASSERT_NE(paths, nullptr);
    ASSERT_EQ(count, 2);
    EXPECT_STREQ(paths[0], "/b");
    EXPECT_STREQ(paths[1], "/a\nb");
    tresk::standin::free_c_array(paths);
}

TEST_F(FrameworkFileList, IsAnEmptyArrayWhereNothingIsProtected)
{
    int count = -1;
    char** const paths = tresk_scene_filectl_get_policy(&count);
    ASSERT_NE(paths, nullptr);
    EXPECT_EQ(count, 0);
    tresk::standin::free_c_array(paths);
}

TEST_F(FrameworkFileList, IsNullForANullCount)
{
    EXPECT_EQ(tresk_scene_filectl_get_policy(nullptr), nullptr);
}

TEST_F(FrameworkFileList, IsNullForAFaultAndTheCountIsItsCode)
{
    write("scene-faults", "tresk_scene_filectl_get_policy -4\n");
    int count = 1;
    EXPECT_EQ(tresk_scene_filectl_get_policy(&count), nullptr);
    EXPECT_EQ(count, -4);
}

} // namespace
