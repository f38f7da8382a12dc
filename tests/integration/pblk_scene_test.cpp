// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What adding and removing make of the scene's codes. Each has one code that is no failure, and a result of
// its own for it.
#include "tests/integration/pblk_edit.h"
#include "tests/support/capture.h"

namespace tresk::test {

namespace {

struct SceneCase {
    const char* name;
    int (*call)(char* path);
    const char* scene;
    int code;
    int result;
    const char* said;
};

std::ostream& operator<<(std::ostream& out, const SceneCase& row)
{
    return out << row.name;
}

constexpr char kAdd[] = "tresk_scene_pblkctl_add_by_path";
constexpr char kRemove[] = "tresk_scene_pblkctl_remove_by_path";

int add_zdk(char* path)
{
    return tresk_pblk_add_zdk(path, 2, "s");
}

int remove_zdk(char* path)
{
    return tresk_pblk_remove_zdk(path, 2, "s");
}

const SceneCase kCases[] = {
    {"AddPresent", tresk_pblk_add, kAdd, -2, 1, ""},
    {"AddNotPresent", tresk_pblk_add, kAdd, -3, -3, "tresk scene pblk add failed -3\n"},
    {"AddFailed", tresk_pblk_add, kAdd, -1, -1, "tresk scene pblk add failed -1\n"},
    {"AddPositive", tresk_pblk_add, kAdd, 5, 5, "tresk scene pblk add failed 5\n"},
    {"AddZdkPresent", add_zdk, kAdd, -2, 1, ""},
    {"AddZdkFailed", add_zdk, kAdd, -22, -22, "tresk scene pblk add failed -22\n"},
    {"RemoveNotPresent", tresk_pblk_remove, kRemove, -3, 0, ""},
    {"RemovePresent", tresk_pblk_remove, kRemove, -2, -2, "tresk scene pblk remove failed ,ret :-2\n"},
    {"RemoveFailed", tresk_pblk_remove, kRemove, -1, -1, "tresk scene pblk remove failed ,ret :-1\n"},
    {"RemovePositive", tresk_pblk_remove, kRemove, 5, 5, "tresk scene pblk remove failed ,ret :5\n"},
    {"RemoveZdkNotPresent", remove_zdk, kRemove, -3, 0, ""},
    {"RemoveZdkFailed", remove_zdk, kRemove, -22, -22, "tresk scene pblk remove failed ,ret :-22\n"},
};

class PblkScene : public ServiceTest, public ::testing::WithParamInterface<SceneCase> {};

INSTANTIATE_TEST_SUITE_P(Codes, PblkScene, ::testing::ValuesIn(kCases), by_name);

TEST_P(PblkScene, DecidesTheEditWithoutTheService)
{
    framework().scene_results[GetParam().scene] = GetParam().code;
    framework().path_is_same = [](const char*, const char*) { return 1; };
    const int connections = connections_so_far();
    char path[] = "/data/home/a";
    int result = 4711;
    const std::string said = captured_stdout([&] { result = GetParam().call(path); });
    EXPECT_EQ(result, GetParam().result);
    EXPECT_EQ(said, GetParam().said);
    EXPECT_STREQ(path, "/home/a");
    EXPECT_EQ(framework().scene_calls, (std::vector<SceneCall>{{GetParam().scene, "/home/a"}}));
    EXPECT_EQ(framework().order, std::vector<std::string>{std::string("scene ") + GetParam().scene});
    EXPECT_EQ(connections_so_far(), connections + 1) << "the bus was touched";
    EXPECT_TRUE(service.calls().empty());
}

} // namespace

} // namespace tresk::test
