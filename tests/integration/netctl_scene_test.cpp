// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Which edit asks the scene for what, and what it makes of the scene's codes. Which codes are no failure
// differs from edit to edit, as does the end of the message's line.
#include "tests/integration/netctl_edit.h"
#include "tests/support/capture.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tresk::test {

namespace {

constexpr char kAddPath[] = "tresk_scene_netctl_add_by_path";
constexpr char kRemovePath[] = "tresk_scene_netctl_remove_by_path";
constexpr char kAddPackage[] = "tresk_scene_netctl_add_by_package";
constexpr char kRemovePackage[] = "tresk_scene_netctl_remove_by_package";

/// One edit of one type that asks the scene.
struct SceneRow {
    const char* function;
    std::int32_t type;
    const char* scene;
    int settled_code;     ///< besides 0, that lets the edit go on
    const char* said;     ///< before the code
    const char* line_end; ///< after it
};

const SceneRow kRows[] = {
    {"tresk_netctl_add", 2, kAddPath, 0, "tresk scene add netctl error ", "\n"},
    {"tresk_netctl_ext_add", 2, kAddPath, 0, "tresk scene add netctl error ", "\n"},
    {"tresk_netctl_remove", 7, kRemovePath, -3, "tresk scene remove netctl error ", "\n"},
    {"tresk_netctl_update", 1, kRemovePath, -3, "tresk scene netctl update(remove) error ", "\n"},
    {"tresk_netctl_ext_update", 1, kRemovePath, -3, "tresk scene netctl update(remove) error ", "\n"},
    {"tresk_netctl_update", 2, kAddPath, -2, "tresk scene netctl update(add) error ", ""},
    {"tresk_netctl_ext_update", 2, kAddPath, -2, "tresk scene netctl update(add) error ", ""},
    {"tresk_netctl_pkg_add", 2, kAddPackage, 0, "tresk scene netctl add package error ", "\n"},
    {"tresk_netctl_pkg_remove", 7, kRemovePackage, -3, "tresk scene netctl remove error ", ""},
    {"tresk_netctl_pkg_update", 2, kAddPackage, -2, "tresk scene pkg update(add) error ", "\n"},
    {"tresk_netctl_pkg_update", 1, kRemovePackage, -3, "tresk scene pkg update(remove) error ", "\n"},
};

std::ostream& operator<<(std::ostream& out, const SceneRow& row)
{
    return out << row.function << " of type " << row.type;
}

const NetctlEdit& edit_of(const char* function)
{
    const auto& edits = netctl_edits();
    const auto found = std::find_if(edits.begin(), edits.end(), [function](const NetctlEdit& edit) {
        return std::string(edit.function) == function;
    });
    return found == edits.end() ? throw std::out_of_range(function) : *found;
}

class NetctlScene : public ServiceTest, public ::testing::WithParamInterface<SceneRow> {
  protected:
    /// What an edit returned and said.
    using Outcome = std::pair<int, std::string>;

    static Outcome edit_while_scene_answers(int code)
    {
        framework().scene_results[GetParam().scene] = code;
        Outcome outcome;
        outcome.second = captured_stdout(
            [&outcome] { outcome.first = edit_of(GetParam().function).call({.type = GetParam().type}); });
        return outcome;
    }
};

INSTANTIATE_TEST_SUITE_P(Rows, NetctlScene, ::testing::ValuesIn(kRows), [](const auto& row) {
    return std::string(row.param.function) + "_" + std::to_string(row.param.type);
});

TEST_P(NetctlScene, IsAskedWithTheNameOnce)
{
    service.answer(GetParam().function, "(int32 12,)");
    EXPECT_EQ(edit_while_scene_answers(0), NetctlScene::Outcome(12, ""));
    EXPECT_EQ(framework().scene_calls, (std::vector<SceneCall>{{GetParam().scene, "/usr/bin/a"}}));
    EXPECT_EQ(service.calls(),
              std::vector<ServiceCall>{sent(edit_of(GetParam().function), {.type = GetParam().type})});
}

TEST_P(NetctlScene, LetsTheEditGoOnWithItsSettledCode)
{
    service.answer(GetParam().function, "(int32 12,)");
    EXPECT_EQ(edit_while_scene_answers(GetParam().settled_code), NetctlScene::Outcome(12, ""));
    EXPECT_EQ(service.calls().size(), 1U);
}

TEST_P(NetctlScene, EndsTheEditWithAnyOtherCode)
{
    const int connections = connections_so_far();
    for (const int code : {-1, -2, -3, -4, 1, 2147483647, -2147483647 - 1}) {
        if (code == GetParam().settled_code) {
            continue;
        }
        framework().reset();
        EXPECT_EQ(edit_while_scene_answers(code),
                  NetctlScene::Outcome(code, GetParam().said + std::to_string(code) + GetParam().line_end));
        EXPECT_EQ(framework().order, std::vector<std::string>{std::string("scene ") + GetParam().scene});
    }
    EXPECT_EQ(connections_so_far(), connections + 1) << "the bus was touched";
    EXPECT_TRUE(service.calls().empty());
}

TEST_P(NetctlScene, IsToldTheNameUncut)
{
    const std::string name = "/" + std::string(5000, 'x') + "\xFF";
    EXPECT_EQ(edit_of(GetParam().function).call({.target = name.c_str(), .type = GetParam().type}), 0);
    EXPECT_EQ(framework().scene_calls, (std::vector<SceneCall>{{GetParam().scene, name}}));
}

TEST_P(NetctlScene, IsToldNoNameForNull)
{
    EXPECT_EQ(edit_of(GetParam().function).call({.target = nullptr, .type = GetParam().type}), 0);
    EXPECT_EQ(framework().scene_calls, (std::vector<SceneCall>{{GetParam().scene, ""}}));
}

/// The scene functions that each edit asks, by type.
class NetctlSceneOfEdit : public NetctlEditTest {
  protected:
    static std::vector<SceneCall> asked_by_table(std::int32_t type)
    {
        for (const SceneRow& row : kRows) {
            if (row.function == std::string(GetParam().function) &&
                (row.type == type || GetParam().scene != nullptr)) {
                return {{row.scene, "/usr/bin/a"}};
            }
        }
        return {};
    }
};

INSTANTIATE_TEST_SUITE_P(Edits, NetctlSceneOfEdit, ::testing::ValuesIn(netctl_edits()), by_function);

TEST_P(NetctlSceneOfEdit, IsAskedForTheTypesOfTheTableAlone)
{
    for (const std::int32_t type : {0, 1, 2, 3, -1, -2, 2147483647}) {
        framework().reset();
        EXPECT_EQ(edit({.type = type}), 0);
        EXPECT_EQ(framework().scene_calls, asked_by_table(type)) << type;
    }
}

class NetctlSceneUnasked : public NetctlEditTest {};

INSTANTIATE_TEST_SUITE_P(Edits, NetctlSceneUnasked, ::testing::ValuesIn([] {
                             std::vector<NetctlEdit> edits = netctl_edits();
                             std::erase_if(edits,
                                           [](const NetctlEdit& edit) { return edit.scene != nullptr; });
                             return edits;
                         }()),
                         by_function);

TEST_P(NetctlSceneUnasked, DoesNotMatter)
{
    framework().scene_results = {{kAddPath, -1}, {kRemovePath, -1}, {kAddPackage, -1}, {kRemovePackage, -1}};
    EXPECT_EQ(captured_stdout([] { EXPECT_EQ(edit({.type = 3}), 0); }), "");
    expect_was_told({.type = 3});
}

} // namespace

} // namespace tresk::test
