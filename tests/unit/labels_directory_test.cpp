// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The protection of all files below a directory.
#include "tests/unit/labels_scene.h"

#include <ostream>

namespace tresk::test {

namespace {

constexpr char kFunction[] = "tresk_protect_set_for_dir_zdk";

struct Setter {
    const char* name;
    int (*call)(const char* path, const char* label);
};

std::ostream& operator<<(std::ostream& out, const Setter& setter)
{
    return out << setter.name;
}

const Setter kSetters[] = {
    {"ForDir", tresk_protect_set_for_dir},
    {"ForDirSm", tresk_protect_set_for_dir_sm},
    {"ForDirZdk",
     [](const char* path, const char* label) { return tresk_protect_set_for_dir_zdk(path, label, -5, "x"); }},
    {"ForDirZdkWithoutExtra",
     [](const char* path, const char* label) {
         return tresk_protect_set_for_dir_zdk(path, label, 0, nullptr);
     }},
};

/// A directory with two files; what the framework was asked is written down.
class LabelledDirectory : public FrameworkTest, public ::testing::WithParamInterface<Setter> {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        script();
    }

    void script()
    {
        framework().path_is_dir = [this](const char* path) {
            questions.push_back(std::string("is dir ") + path);
            return is_dir;
        };
        framework().path_is_same = [this](const char* a, const char* b) {
            questions.push_back(std::string("is same ") + a + " " + b);
            return is_same;
        };
        framework().paths_in_dir = [this](const char* path) {
            questions.push_back(std::string("list ") + path);
            return files;
        };
        framework().get_absolute_path = [this](const char* path) {
            questions.push_back(std::string("absolute ") + path);
            return ::strdup((std::string("/absolute") + path).c_str());
        };
    }

    static int set(const char* path, const char* label) { return GetParam().call(path, label); }

    int is_dir = 1;
    int is_same = 1;
    std::vector<std::string> files = {"/b/2", "/b/1"};
    std::vector<std::string> questions;
};

INSTANTIATE_TEST_SUITE_P(Setters, LabelledDirectory, ::testing::ValuesIn(kSetters), by_name);

TEST_P(LabelledDirectory, HasAllItsFilesProtectedInOneCallAndInOrder)
{
    EXPECT_EQ(set("/b", "readonly"), 0);
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{kProtectAll, "/b/2 /b/1 2"}}));
    EXPECT_EQ(questions, (std::vector<std::string>{"is dir /b", "list /b"}));
    expect_nothing_told();
}

TEST_P(LabelledDirectory, HasTheirProtectionEndedByNone)
{
    EXPECT_EQ(set("/b", "none"), 0);
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{kUnprotectAll, "/b/2 /b/1 2"}}));
    expect_nothing_told();
}

TEST_P(LabelledDirectory, IsProtectedByEveryOtherLabelWhateverItIs)
{
    for (const char* label : {"verify", "None", "none ", " none", "non", "", "\xFF", "no label"}) {
        framework().scene_calls.clear();
        EXPECT_EQ(set("/b", label), 0) << label;
        EXPECT_EQ(framework().scene_calls, (SceneCalls{{kProtectAll, "/b/2 /b/1 2"}})) << label;
    }
    expect_nothing_told();
}

TEST_P(LabelledDirectory, IsAnythingThatIsNotSaidToBeNone)
{
    for (const int answer : {1, 2, -1}) {
        is_dir = answer;
        framework().scene_calls.clear();
        EXPECT_EQ(set("/b", "readonly"), 0);
        EXPECT_EQ(framework().scene_calls, (SceneCalls{{kProtectAll, "/b/2 /b/1 2"}}));
    }
}

TEST_P(LabelledDirectory, IsListedWithoutItsDataWhereBothFormsAreOne)
{
    EXPECT_EQ(set("/data/home/b", "readonly"), 0);
    EXPECT_EQ(questions, (std::vector<std::string>{"is dir /data/home/b", "is same /data/home/b /home/b",
                                                   "list /home/b"}));
    questions.clear();
    EXPECT_EQ(set("/data/root", "none"), 0);
    EXPECT_EQ(questions.back(), "list /root");
}

TEST_P(LabelledDirectory, IsListedAsItIsWhereTheFormsAreTwo)
{
    for (const int answer : {0, -1, 2}) {
        is_same = answer;
        EXPECT_EQ(set("/data/home/b", "readonly"), 0);
        EXPECT_EQ(questions.back(), "list /data/home/b");
    }
}

TEST_P(LabelledDirectory, IsListedAsItIsWithoutAskingBelowAnotherFolder)
{
    for (const char* path : {"/data/usr", "/home/b", "relative/b"}) {
        questions.clear();
        EXPECT_EQ(set(path, "readonly"), 0);
        EXPECT_EQ(questions,
                  (std::vector<std::string>{std::string("is dir ") + path, std::string("list ") + path}));
    }
}

TEST_P(LabelledDirectory, IsListedWholeHoweverLongItsPathIs)
{
    const std::string rest = "/home/" + std::string(9000, 'b');
    EXPECT_EQ(set(("/data" + rest).c_str(), "readonly"), 0);
    EXPECT_EQ(questions.back(), "list " + rest);
}

TEST_P(LabelledDirectory, HandsOnAHundredThousandPathsWholeAndInOrder)
{
    constexpr int kMany = 100000;
    files.clear();
    std::string expected;
    for (int number = kMany; number > 0; --number) {
        files.push_back("/b/file-" + std::to_string(number));
        expected += files.back() + " ";
    }
    EXPECT_EQ(set("/b", "verify"), 0);
    ASSERT_EQ(framework().scene_calls.size(), 1U);
    EXPECT_TRUE(framework().scene_calls[0].argument == expected + std::to_string(kMany));
}

TEST_P(LabelledDirectory, FailsWithoutAWordWhereItCannotBeListed)
{
    files.clear();
    EXPECT_EQ(set("/b", "readonly"), -1);
    EXPECT_TRUE(framework().scene_calls.empty());
    expect_nothing_told();
}

TEST_P(LabelledDirectory, ReturnsAndLogsEveryOtherCodeOfTheScene)
{
    struct Step {
        const char* label;
        const char* scene;
    };

    for (const auto& [label, scene] : {Step{"none", kUnprotectAll}, Step{"%s%n", kProtectAll}}) {
        for (const int code : {-1, -2, -3, -7, 1}) {
            framework().reset();
            script();
            framework().scene_results[scene] = code;
            EXPECT_EQ(set("/b", label), code);
            ASSERT_EQ(framework().logs.size(), 1U);
            const LogLine& log = framework().logs[0];
            EXPECT_EQ(log.level, 3);
            EXPECT_EQ(log.subject, kFunction);
            EXPECT_EQ(log.source, "libtresk_dbus");
            EXPECT_EQ(log.format, "failed to set fpro label to %s, scene returned %d");
            EXPECT_EQ(log.text, std::string("failed to set fpro label to ") + label + ", scene returned " +
                                    std::to_string(code));
            EXPECT_TRUE(framework().errors.empty());
            EXPECT_EQ(framework().order, (std::vector<std::string>{std::string("scene ") + scene, "log"}));
        }
    }
}

TEST_P(LabelledDirectory, IsRefusedWithoutALabel)
{
    errno = 0;
    EXPECT_EQ(set("/b", nullptr), -2);
    expect_refused(kFunction);
    EXPECT_EQ(questions, (std::vector<std::string>{"is dir /b"}));
}

TEST_P(LabelledDirectory, FailsWithoutAWordWhereItIsNull)
{
    for (const char* label : {"readonly", "none", "no label", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(set(nullptr, label), -1);
    }
    EXPECT_TRUE(framework().order.empty());
    EXPECT_TRUE(questions.empty());
}

// --- what is no directory ---

class LabelledNoDirectory : public LabelledDirectory {
  protected:
    void SetUp() override
    {
        LabelledDirectory::SetUp();
        is_dir = 0;
    }
};

INSTANTIATE_TEST_SUITE_P(Setters, LabelledNoDirectory, ::testing::ValuesIn(kSetters), by_name);

TEST_P(LabelledNoDirectory, IsLabelledAsOneFile)
{
    EXPECT_EQ(set("/a", "readonly"), 0);
    EXPECT_EQ(set("/a", "verify"), 0);
    EXPECT_EQ(set("/a", "none"), 0);
    EXPECT_EQ(
        framework().scene_calls,
        (SceneCalls{{kProtect, "/absolute/a"}, {kProtect, "/absolute/a"}, {kUnprotect, "/absolute/a"}}));
    expect_nothing_told();
}

TEST_P(LabelledNoDirectory, HasItsSettledCodesForDone)
{
    framework().scene_results = {{kProtect, -2}, {kUnprotect, -3}};
    EXPECT_EQ(set("/a", "readonly"), 0);
    EXPECT_EQ(set("/a", "none"), 0);
}

TEST_P(LabelledNoDirectory, FailsWithMinusOneForEveryOtherCode)
{
    framework().scene_results = {{kUnprotect, -2}, {kProtect, -3}};
    EXPECT_EQ(set("/a", "readonly"), -1);
    EXPECT_EQ(set("/a", "none"), -1);
    framework().scene_results = {{kUnprotect, 7}, {kProtect, -7}};
    EXPECT_EQ(set("/a", "readonly"), -1);
    EXPECT_EQ(set("/a", "none"), -1);
    expect_nothing_told();
}

TEST_P(LabelledNoDirectory, FailsWithMinusOneForANullLabelToldByTheFileSetter)
{
    errno = 0;
    EXPECT_EQ(set("/a", nullptr), -1);
    expect_refused("tresk_protect_set_zdk");
}

TEST_P(LabelledNoDirectory, FailsWithMinusOneForALabelThatIsNone)
{
    EXPECT_EQ(set("/a", "Readonly"), -1);
    expect_told(-1007, "Readonly", std::strerror(EINVAL));
    EXPECT_TRUE(framework().scene_calls.empty());
}

TEST_P(LabelledNoDirectory, FailsWithMinusOneForAPathThatCannotBeMadeAbsolute)
{
    framework().get_absolute_path = [](const char*) -> char* {
        errno = ENOENT;
        return nullptr;
    };
    EXPECT_EQ(set("/a", "readonly"), -1);
    expect_told_and_recorded(-1011, "/a",
                             std::string("faile to get absolute path: ") + std::strerror(ENOENT));
}

} // namespace

} // namespace tresk::test
