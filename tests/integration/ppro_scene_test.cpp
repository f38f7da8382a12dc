// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What adding and removing make of the scene's codes. Each has one code that is no failure, and a result of
// its own for it.
#include "tests/integration/ppro_edit.h"
#include "tests/support/capture.h"

namespace tresk::test {

namespace {

struct SceneCase {
    const char* name;
    std::function<int(const char* path)> call;
    const char* scene;
    int code;
    int result;
    const char* said;
};

std::ostream& operator<<(std::ostream& out, const SceneCase& row)
{
    return out << row.name;
}

constexpr char kAdd[] = "tresk_scene_taskctl_add_by_path";
constexpr char kRemove[] = "tresk_scene_taskctl_remove_by_path";

int add(const char* path)
{
    return tresk_ppro_add(path, 1);
}

int add_zdk(const char* path)
{
    return tresk_ppro_add_zdk(path, 1, 1, "s");
}

int remove_zdk(const char* path)
{
    return tresk_ppro_remove_zdk(path, 1, "s");
}

const SceneCase kCases[] = {
    {"AddPresent", add, kAdd, -2, 1, ""},
    {"AddNotPresent", add, kAdd, -3, -3, "tresk scene ppro add failed ret: -3\n"},
    {"AddFailed", add, kAdd, -1, -1, "tresk scene ppro add failed ret: -1\n"},
    {"AddPositive", add, kAdd, 5, 5, "tresk scene ppro add failed ret: 5\n"},
    {"AddSmPresent", [](const char* path) { return tresk_ppro_add_sm(path, 1); }, kAdd, -2, 1, ""},
    {"AddZdkPresent", add_zdk, kAdd, -2, 1, ""},
    {"AddZdkFailed", add_zdk, kAdd, -22, -22, "tresk scene ppro add failed ret: -22\n"},
    {"RemoveNotPresent", tresk_ppro_remove, kRemove, -3, 0, ""},
    {"RemovePresent", tresk_ppro_remove, kRemove, -2, -2, "tresk scene ppro remove failed ret: -2\n"},
    {"RemoveFailed", tresk_ppro_remove, kRemove, -1, -1, "tresk scene ppro remove failed ret: -1\n"},
    {"RemovePositive", tresk_ppro_remove, kRemove, 5, 5, "tresk scene ppro remove failed ret: 5\n"},
    {"RemoveSmNotPresent", tresk_ppro_remove_sm, kRemove, -3, 0, ""},
    {"RemoveZdkNotPresent", remove_zdk, kRemove, -3, 0, ""},
    {"RemoveZdkFailed", remove_zdk, kRemove, -22, -22, "tresk scene ppro remove failed ret: -22\n"},
};

class PproScene : public ServiceTest, public ::testing::WithParamInterface<SceneCase> {};

INSTANTIATE_TEST_SUITE_P(Codes, PproScene, ::testing::ValuesIn(kCases), by_name);

TEST_P(PproScene, DecidesTheEditWithoutTheService)
{
    framework().scene_results[GetParam().scene] = GetParam().code;
    const int connections = connections_so_far();
    int result = 4711;
    const std::string said = captured_stdout([&result] { result = GetParam().call("/usr/bin/a"); });
    EXPECT_EQ(result, GetParam().result);
    EXPECT_EQ(said, GetParam().said);
    EXPECT_EQ(framework().order, std::vector<std::string>{std::string("scene ") + GetParam().scene});
    EXPECT_EQ(connections_so_far(), connections + 1) << "the bus was touched";
    EXPECT_TRUE(service.calls().empty());
}

TEST_P(PproScene, SaysNothingWhenItAgrees)
{
    EXPECT_EQ(captured_stdout([] { EXPECT_EQ(GetParam().call("/usr/bin/a"), 0); }), "");
    EXPECT_EQ(service.calls().size(), 1U);
}

class PproScenelessEdit : public PproEditTest {};

INSTANTIATE_TEST_SUITE_P(Edits, PproScenelessEdit, ::testing::ValuesIn([] {
                             std::vector<PproEdit> sceneless;
                             for (const PproEdit& edit : kPproEdits) {
                                 if (edit.scene == nullptr) {
                                     sceneless.push_back(edit);
                                 }
                             }
                             return sceneless;
                         }()),
                         by_name);

TEST_P(PproScenelessEdit, IsSentWhateverTheSceneWouldSay)
{
    framework().scene_results = {{kAdd, -1}, {kRemove, -1}};
    EXPECT_EQ(edit("/usr/bin/a"), 0);
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>{sent(GetParam(), "/usr/bin/a")});
    EXPECT_TRUE(framework().scene_calls.empty());
}

} // namespace

} // namespace tresk::test
