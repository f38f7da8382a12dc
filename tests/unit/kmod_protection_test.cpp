// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The list of protected modules: twelve names for four changes, each name held against its row.
#include "tests/support/capture.h"
#include "tests/support/framework_double.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/kmod_files.h"
#include "tresk_extend.h"

#include <climits>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

namespace tresk::test {

namespace {

constexpr char kAddByName[] = "tresk_scene_kmodctl_add_by_name";
constexpr char kRemoveByName[] = "tresk_scene_kmodctl_remove_by_name";

/// An exported function and what it does that others do otherwise.
struct Change {
    const char* name;
    int (*call)(const char* argument);
    const char* scene;
    int settled_code; ///< the scene's, and success
    int null_result;  ///< given null
    const char* null_line;
    bool is_off_with_the_framework;
};

std::ostream& operator<<(std::ostream& out, const Change& change)
{
    return out << change.name;
}

constexpr Change add_by_file(const char* name, int (*call)(const char*))
{
    return {name, call, kAddByName, -2, -1, "ko_file is NULL\n", true};
}

constexpr Change remove_by_file(const char* name, int (*call)(const char*))
{
    return {name, call, kRemoveByName, -3, -1, "ko_file is NULL\n", false};
}

constexpr Change add_by_name(const char* name, int (*call)(const char*))
{
    return {name, call, kAddByName, -2, -2, "kmod name is NULL\n", true};
}

constexpr Change remove_by_name(const char* name, int (*call)(const char*))
{
    return {name, call, kRemoveByName, -3, -1, "kmod name is NULL\n", false};
}

const Change kByFile[] = {
    add_by_file("add_to_kmod_protect", add_to_kmod_protect),
    add_by_file("add_to_kmod_protect_sm", add_to_kmod_protect_sm),
    add_by_file("add_to_kmod_protect_zdk", add_to_kmod_protect_zdk),
    remove_by_file("remove_from_kmod_protect", remove_from_kmod_protect),
    remove_by_file("remove_from_kmod_protect_sm", remove_from_kmod_protect_sm),
    remove_by_file("remove_from_kmod_protect_zdk", remove_from_kmod_protect_zdk),
};

const Change kByName[] = {
    add_by_name("add_kmod_to_kmod_protect", add_kmod_to_kmod_protect),
    add_by_name("add_kmod_to_kmod_protect_sm", add_kmod_to_kmod_protect_sm),
    add_by_name("add_kmod_to_kmod_protect_zdk", add_kmod_to_kmod_protect_zdk),
    remove_by_name("remove_kmod_from_kmod_protect", remove_kmod_from_kmod_protect),
    remove_by_name("remove_kmod_from_kmod_protect_sm", remove_kmod_from_kmod_protect_sm),
    remove_by_name("remove_kmod_from_kmod_protect_zdk", remove_kmod_from_kmod_protect_zdk),
};

constexpr auto by_function = [](const auto& test) { return std::string(test.param.name); };

/// Makes the change @change; its lines on standard error stay in said_.
class ChangeTest : public FrameworkTest, public ::testing::WithParamInterface<Change> {
  protected:
    int make(const char* argument)
    {
        int result = 4711;
        said_ = captured_stderr([&] { result = GetParam().call(argument); });
        return result;
    }

    int make(const std::string& argument) { return make(argument.c_str()); }

    static void let_scene_answer(int code) { framework().scene_results[GetParam().scene] = code; }

    /// The scene's function alone was called, once, about @name.
    static void expect_told(const std::string& name)
    {
        EXPECT_EQ(framework().scene_calls, (std::vector<SceneCall>{{GetParam().scene, name}}));
    }

    /// The result of a change made once with the framework in each state but on.
    void expect_while_disabled(const char* argument, const std::string& name)
    {
        for (const int disabled : {1, -1}) {
            framework().reset();
            framework().disabled = disabled;
            let_scene_answer(-22);
            const int result = make(argument);
            EXPECT_EQ(said_, "");
            if (GetParam().is_off_with_the_framework) {
                EXPECT_EQ(result, 0);
                EXPECT_TRUE(framework().scene_calls.empty());
            } else {
                EXPECT_LT(result, 0);
                expect_told(name);
            }
        }
    }

    void expect_null_is_refused()
    {
        for (const int disabled : {0, 1}) {
            framework().disabled = disabled;
            EXPECT_EQ(make(nullptr), GetParam().null_result);
            EXPECT_EQ(said_, GetParam().null_line);
        }
        EXPECT_TRUE(framework().order.empty());
    }

    std::string said_;
    TempDir folder_;
};

/// Codes of the scene that are neither 0 nor the change's own success.
std::vector<int> failures_of(const Change& change)
{
    std::vector<int> codes = {-1, -4, -22, -100, -1001, 1, 2, 3, INT_MAX, INT_MIN};
    codes.push_back(change.settled_code == -2 ? -3 : -2);
    return codes;
}

// --- by name ---

class ChangeByName : public ChangeTest {};

INSTANTIATE_TEST_SUITE_P(Names, ChangeByName, ::testing::ValuesIn(kByName), by_function);

TEST_P(ChangeByName, TellsTheScene)
{
    EXPECT_EQ(make("module_a"), 0);
    expect_told("module_a");
    EXPECT_EQ(framework().order, std::vector<std::string>{std::string("scene ") + GetParam().scene});
    EXPECT_EQ(said_, "");
}

TEST_P(ChangeByName, IsDoneWhereTheListIsAsWanted)
{
    let_scene_answer(GetParam().settled_code);
    EXPECT_EQ(make("module_a"), 0);
    expect_told("module_a");
    EXPECT_EQ(said_, "");
}

TEST_P(ChangeByName, PassesOtherCodesOfTheSceneThrough)
{
    for (const int code : failures_of(GetParam())) {
        let_scene_answer(code);
        EXPECT_EQ(make("module_a"), code);
        EXPECT_EQ(said_, "");
    }
}

TEST_P(ChangeByName, RefusesNull)
{
    expect_null_is_refused();
}

TEST_P(ChangeByName, MindsTheFrameworksSwitchOrDoesNot)
{
    expect_while_disabled("module_a", "module_a");
}

TEST_P(ChangeByName, PassesAnyTextOn)
{
    for (const std::string& name : {std::string(), std::string("%s%n"), std::string("\xFF\xFE"),
                                    std::string(5000, 'n'), plain_module()}) {
        framework().reset();
        EXPECT_EQ(make(name), 0);
        expect_told(name);
    }
}

// --- by file ---

class ChangeByFile : public ChangeTest {
  protected:
    void expect_no_name(const std::string& path, const std::string& line)
    {
        for (const int disabled : {0, 1}) {
            framework().disabled = disabled;
            EXPECT_EQ(make(path), -2);
            EXPECT_EQ(said_, line + "get kmod name failed\n");
        }
        EXPECT_TRUE(framework().order.empty());
    }
};

INSTANTIATE_TEST_SUITE_P(Names, ChangeByFile, ::testing::ValuesIn(kByFile), by_function);

TEST_P(ChangeByFile, TellsTheSceneTheNameInTheFile)
{
    EXPECT_EQ(make(plain_module()), 0);
    expect_told("real_name");
    EXPECT_EQ(framework().order, std::vector<std::string>{std::string("scene ") + GetParam().scene});
    EXPECT_EQ(said_, "");
}

TEST_P(ChangeByFile, TellsTheSceneTheLongestName)
{
    EXPECT_EQ(make(module_file("name_of_1023.ko")), 0);
    expect_told(std::string(1023, 'n'));
}

TEST_P(ChangeByFile, IsDoneWhereTheListIsAsWanted)
{
    let_scene_answer(GetParam().settled_code);
    EXPECT_EQ(make(plain_module()), 0);
    expect_told("real_name");
    EXPECT_EQ(said_, "");
}

TEST_P(ChangeByFile, TurnsEveryOtherCodeOfTheSceneIntoOne)
{
    for (const int code : failures_of(GetParam())) {
        let_scene_answer(code);
        EXPECT_EQ(make(plain_module()), -3) << code;
        EXPECT_EQ(said_, "");
    }
}

TEST_P(ChangeByFile, RefusesNull)
{
    expect_null_is_refused();
}

TEST_P(ChangeByFile, MindsTheFrameworksSwitchOrDoesNot)
{
    expect_while_disabled(plain_module().c_str(), "real_name");
}

TEST_P(ChangeByFile, FailsForAMissingFile)
{
    expect_no_name("/no/such.ko", no_module_line("/no/such.ko"));
}

TEST_P(ChangeByFile, FailsForAFileThatIsNoModule)
{
    const std::string path = (folder_ / "text.ko").string();
    write_file(path, "name=text\n");
    expect_no_name(path, no_name_line(path));
}

TEST_P(ChangeByFile, FailsForAModuleWithoutName)
{
    const std::string path = module_file("no_name.ko");
    expect_no_name(path, no_name_line(path));
}

// --- the gate ---

TEST(KmodDeletionTest, IsNeverAllowed)
{
    EXPECT_EQ(tresk_xattr_check_kmod_del_from_kernel(nullptr, 0, nullptr), -1000);
    EXPECT_EQ(tresk_xattr_check_kmod_del_from_kernel("module_a", 0, ""), -1000);
    EXPECT_EQ(tresk_xattr_check_kmod_del_from_kernel("module_a", 1, "extra"), -1000);
    EXPECT_EQ(tresk_xattr_check_kmod_del_from_kernel("", UINT32_MAX, ""), -1000);
}

// --- whose module: what is refused without a service ---

TEST(KmodOwnershipTest, NullNameIsRefused)
{
    framework().reset();
    int result = 4711;
    EXPECT_EQ(captured_stderr([&] { result = check_kmod_in_sm(nullptr); }), "kmod name is NULL\n");
    EXPECT_EQ(result, -1);
    EXPECT_TRUE(framework().order.empty());
}

} // namespace

} // namespace tresk::test
