// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The labels of one file.
#include "tests/support/capture.h"
#include "tests/unit/labels_scene.h"

#include <climits>
#include <ostream>
#include <string_view>
#include <utility>

namespace tresk::test {

namespace {

/// An exported setter of a label.
struct Setter {
    const char* name; ///< of the test's instance
    int (*call)(const char* path, const char* label);
    const char* function; ///< the general form, which speaks of itself
    std::vector<std::string> vocabulary;
};

std::ostream& operator<<(std::ostream& out, const Setter& setter)
{
    return out << setter.name;
}

int protect_with_both(const char* path, const char* label)
{
    return tresk_protect_set_zdk(path, label, INT_MIN, "extra");
}

int protect_with_none(const char* path, const char* label)
{
    return tresk_protect_set_zdk(path, label, 1, nullptr);
}

const std::vector<std::string> kProtectLabels = {"readonly", "verify", "none"};
const std::vector<std::string> kIdentifyLabels = {"secadm", "audadm", "none"};
const std::vector<std::string> kExectlLabels = {"unknown", "original", "verified", "mesoft",
                                                "parent",  "script",   "trusted"};

const Setter kSetters[] = {
    {"Protect", tresk_protect_set, "tresk_protect_set_zdk", kProtectLabels},
    {"ProtectSm", tresk_protect_set_sm, "tresk_protect_set_zdk", kProtectLabels},
    {"ProtectZdk", protect_with_both, "tresk_protect_set_zdk", kProtectLabels},
    {"ProtectZdkWithoutExtra", protect_with_none, "tresk_protect_set_zdk", kProtectLabels},
    {"Identify", tresk_identify_set, "tresk_identify_set", kIdentifyLabels},
    {"Exectl", tresk_exectl_set, "tresk_exectl_set", kExectlLabels},
};

void fail_to_make_absolute(int cause)
{
    framework().get_absolute_path = [cause](const char*) -> char* {
        errno = cause;
        return nullptr;
    };
}

/// The paths asked about are written down.
class LabelTest : public FrameworkTest {
  protected:
    using Question = std::pair<std::string, std::string>;

    void answer_same(int answer)
    {
        framework().path_is_same = [this, answer](const char* a, const char* b) {
            framework().note("same");
            same_questions.emplace_back(a, b);
            return answer;
        };
    }

    std::vector<Question> same_questions;
};

// --- what every setter refuses ---

class LabelSetter : public LabelTest, public ::testing::WithParamInterface<Setter> {
  protected:
    static int set(const char* path, const char* label) { return GetParam().call(path, label); }

    static const char* some_label() { return GetParam().vocabulary.front().c_str(); }
};

INSTANTIATE_TEST_SUITE_P(Setters, LabelSetter, ::testing::ValuesIn(kSetters), by_name);

TEST_P(LabelSetter, RefusesANullPath)
{
    errno = 0;
    EXPECT_EQ(set(nullptr, some_label()), -2);
    expect_refused(GetParam().function);
}

TEST_P(LabelSetter, RefusesANullLabel)
{
    errno = 0;
    EXPECT_EQ(set("/a", nullptr), -2);
    expect_refused(GetParam().function);
}

TEST_P(LabelSetter, RefusesNullBeforeItLooksAtTheLabel)
{
    errno = 0;
    EXPECT_EQ(set(nullptr, "no label"), -2);
    expect_refused(GetParam().function);
}

TEST_P(LabelSetter, TakesItsVocabularyAndNothingElse)
{
    std::vector<std::string> near = {"", " ", "all", "None", "NONE", "%s", "\xFF", std::string(5000, 'n')};
    for (const auto* vocabulary : {&kProtectLabels, &kIdentifyLabels, &kExectlLabels}) {
        for (const std::string& label : *vocabulary) {
            std::string capital = label;
            capital[0] = static_cast<char>(capital[0] - 'a' + 'A');
            near.insert(near.end(), {label, capital, label + " ", " " + label, label + "\n", label + label,
                                     label.substr(0, label.size() - 1)});
        }
    }
    const auto& own = GetParam().vocabulary;
    for (const std::string& label : near) {
        framework().reset();
        errno = 0;
        if (std::find(own.begin(), own.end(), label) != own.end()) {
            EXPECT_EQ(set("/a", label.c_str()), 0) << label;
            expect_nothing_told();
            EXPECT_FALSE(framework().scene_calls.empty()) << label;
            continue;
        }
        EXPECT_EQ(set("/a", label.c_str()), -1) << label;
        EXPECT_EQ(errno, EINVAL);
        expect_told(-1007, label, std::strerror(EINVAL));
        EXPECT_EQ(framework().errors[0].format, std::nullopt);
        EXPECT_TRUE(framework().scene_calls.empty()) << label;
    }
}

TEST_P(LabelSetter, RefusesALabelBeforeItLooksAtThePath)
{
    bool asked = false;
    framework().get_absolute_path = [&](const char*) -> char* {
        asked = true;
        return nullptr;
    };
    EXPECT_EQ(set("/a", "no label"), -1);
    EXPECT_FALSE(asked);
}

TEST_P(LabelSetter, RefusesAPathThatCannotBeMadeAbsolute)
{
    for (const int cause : {ENOENT, ELOOP, ENOMEM}) {
        framework().reset();
        answer_same(1);
        fail_to_make_absolute(cause);
        EXPECT_EQ(set("a/%s", some_label()), -1);
        EXPECT_EQ(errno, cause);
        expect_told_and_recorded(-1011, "a/%s",
                                 std::string("faile to get absolute path: ") + std::strerror(cause));
        EXPECT_EQ(framework().errors[0].format, "faile to get absolute path: %s");
        EXPECT_EQ(framework().logs[0].format, "faile to get absolute path: %s");
        EXPECT_TRUE(framework().scene_calls.empty());
    }
    EXPECT_TRUE(same_questions.empty());
}

// --- the path that the scene is told ---

/// A setter without a label beside the others: what they do with their path is the same.
int set_attribute(const char* path, const char* /*label*/)
{
    return tresk_label_set(path);
}

const Setter kPathSetters[] = {kSetters[0], kSetters[1],
                               kSetters[2], kSetters[4],
                               kSetters[5], {"Attribute", set_attribute, "tresk_label_set", {""}}};

class LabelledPath : public LabelSetter {
  protected:
    /// The paths that the scene is told when each label is set on @path.
    static void expect_scene_is_told(const std::string& path, const std::string& expected)
    {
        for (const std::string& label : GetParam().vocabulary) {
            framework().scene_calls.clear();
            EXPECT_EQ(set(path.c_str(), label.c_str()), 0);
            EXPECT_FALSE(framework().scene_calls.empty());
            for (const SceneCall& call : framework().scene_calls) {
                const bool with_role = call.function == kGive;
                EXPECT_EQ(with_role ? call.argument.substr(2) : call.argument, expected) << label;
            }
        }
        expect_nothing_told();
    }
};

INSTANTIATE_TEST_SUITE_P(Setters, LabelledPath, ::testing::ValuesIn(kPathSetters), by_name);

TEST_P(LabelledPath, IsAbsolute)
{
    framework().get_absolute_path = [](const char* path) {
        return ::strdup((std::string("/made/absolute/") + path).c_str());
    };
    answer_same(1);
    expect_scene_is_told("a b", "/made/absolute/a b");
    EXPECT_TRUE(same_questions.empty());
}

TEST_P(LabelledPath, LosesItsDataWhereBothFormsAreOneFile)
{
    answer_same(1);
    expect_scene_is_told("/data/home/u/a", "/home/u/a");
    EXPECT_EQ(same_questions.front(), (Question{"/data/home/u/a", "/home/u/a"}));
    expect_scene_is_told("/data/root/a", "/root/a");
    expect_scene_is_told("/data/homework", "/homework");
}

TEST_P(LabelledPath, KeepsItsDataWhereTheFormsAreTwoFiles)
{
    for (const int answer : {0, -1, 2}) {
        answer_same(answer);
        expect_scene_is_told("/data/home/u/a", "/data/home/u/a");
    }
}

TEST_P(LabelledPath, KeepsWhatIsBelowAnotherFolderWithoutAsking)
{
    answer_same(1);
    for (const char* path : {"/data/usr/a", "/data/hom", "/home/u/a", "/database/home/a", "/x/data/home/a"}) {
        expect_scene_is_told(path, path);
    }
    EXPECT_TRUE(same_questions.empty());
}

TEST_P(LabelledPath, LosesTheDataOfItsAbsoluteForm)
{
    framework().get_absolute_path = [](const char*) { return ::strdup("/data/root/b"); };
    answer_same(1);
    expect_scene_is_told("/elsewhere", "/root/b");
}

TEST_P(LabelledPath, KeepsAtMost4096BytesWhenItLosesItsData)
{
    answer_same(1);
    for (const std::size_t length : {4090U, 4095U, 4096U}) {
        const std::string rest = "/home/" + std::string(length - 6, 'a');
        expect_scene_is_told("/data" + rest, rest);
    }
    const std::string kept = "/home/" + std::string(4096 - 6, 'a');
    expect_scene_is_told("/data" + kept + "b", kept);
    expect_scene_is_told("/data" + kept + std::string(9000, 'b'), kept);
}

TEST_P(LabelledPath, IsNeverCutInsideACharacter)
{
    answer_same(1);
    const std::string rest = "/home/" + std::string(4095 - 6, 'a');
    expect_scene_is_told("/data" + rest + "\u00e4", rest);
}

TEST_P(LabelledPath, KeepsItsLengthWhereItKeepsItsData)
{
    for (const std::string& path : {"/data/home/" + std::string(9000, 'a'), "/" + std::string(9000, 'a')}) {
        expect_scene_is_told(path, path);
    }
}

TEST_P(LabelledPath, IsToldBehindTheQuestions)
{
    framework().get_absolute_path = [](const char* path) {
        framework().note("absolute");
        return ::strdup(path);
    };
    answer_same(1);
    EXPECT_EQ(set("/data/home/a", some_label()), 0);
    ASSERT_GE(framework().order.size(), 3U);
    EXPECT_EQ(framework().order[0], "absolute");
    EXPECT_EQ(framework().order[1], "same");
    EXPECT_TRUE(framework().order[2].starts_with("scene "));
}

// --- labels of one step, and what comes of the scene's code ---

constexpr int kCodes[] = {0, -1, -2, -3, -7, 1, INT_MIN};

/// A label whose setting is one call of the scene.
struct OneStep {
    const char* name;
    int (*call)(const char* path, const char* label);
    const char* label;
    const char* scene;
    int settled_code; ///< which counts as 0
};

std::ostream& operator<<(std::ostream& out, const OneStep& step)
{
    return out << step.name;
}

const OneStep kOneStep[] = {
    {"ProtectReadonly", tresk_protect_set, "readonly", kProtect, -2},
    {"ProtectVerify", tresk_protect_set, "verify", kProtect, -2},
    {"ProtectNone", tresk_protect_set, "none", kUnprotect, -3},
    {"ProtectSmReadonly", tresk_protect_set_sm, "readonly", kProtect, -2},
    {"ProtectSmVerify", tresk_protect_set_sm, "verify", kProtect, -2},
    {"ProtectSmNone", tresk_protect_set_sm, "none", kUnprotect, -3},
    {"ProtectZdkReadonly", protect_with_both, "readonly", kProtect, -2},
    {"ProtectZdkVerify", protect_with_none, "verify", kProtect, -2},
    {"ProtectZdkNone", protect_with_both, "none", kUnprotect, -3},
    {"IdentifyNone", tresk_identify_set, "none", kDeny, 0},
    {"ExectlUnknown", tresk_exectl_set, "unknown", kEndPermission, 0},
    {"ExectlOriginal", tresk_exectl_set, "original", kPermit, 0},
    {"ExectlVerified", tresk_exectl_set, "verified", kPermit, 0},
    {"ExectlMesoft", tresk_exectl_set, "mesoft", kPermit, 0},
    {"ExectlParent", tresk_exectl_set, "parent", kPermit, 0},
    {"ExectlScript", tresk_exectl_set, "script", kPermit, 0},
    {"ExectlTrusted", tresk_exectl_set, "trusted", kPermit, 0},
};

class LabelOfOneStep : public LabelTest, public ::testing::WithParamInterface<OneStep> {};

INSTANTIATE_TEST_SUITE_P(Labels, LabelOfOneStep, ::testing::ValuesIn(kOneStep), by_name);

TEST_P(LabelOfOneStep, IsOneCallOfTheSceneWithThePathAlone)
{
    EXPECT_EQ(GetParam().call("/usr/bin/a", GetParam().label), 0);
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{GetParam().scene, "/usr/bin/a"}}));
}

TEST_P(LabelOfOneStep, ReturnsTheScenesCode)
{
    for (const int code : kCodes) {
        framework().reset();
        framework().scene_results[GetParam().scene] = code;
        EXPECT_EQ(GetParam().call("/a", GetParam().label), code == GetParam().settled_code ? 0 : code);
        EXPECT_EQ(framework().scene_calls, (SceneCalls{{GetParam().scene, "/a"}}));
        expect_nothing_told();
    }
}

// --- roles ---

struct Role {
    const char* name;
    const char* label;
    const char* number;
};

class LabelOfARole : public LabelTest, public ::testing::WithParamInterface<Role> {
  protected:
    static int set() { return tresk_identify_set("/a", GetParam().label); }

    static SceneCalls both() { return {{kDeny, "/a"}, {kGive, std::string(GetParam().number) + " /a"}}; }
};

const Role kRoles[] = {{"Security", "secadm", "1"}, {"Audit", "audadm", "2"}};
INSTANTIATE_TEST_SUITE_P(Roles, LabelOfARole, ::testing::ValuesIn(kRoles), by_name);

TEST_P(LabelOfARole, DeniesThePathToAllAndThenGivesItToTheRole)
{
    EXPECT_EQ(set(), 0);
    EXPECT_EQ(framework().scene_calls, both());
}

TEST_P(LabelOfARole, IsGivenToTheRoleWhereItWasDeniedAlready)
{
    framework().scene_results[kDeny] = -2;
    EXPECT_EQ(set(), 0);
    EXPECT_EQ(framework().scene_calls, both());
}

TEST_P(LabelOfARole, EndsWhereThePathCannotBeDenied)
{
    for (const int code : {-1, -3, -7, 1}) {
        framework().reset();
        framework().scene_results[kDeny] = code;
        EXPECT_EQ(set(), code);
        EXPECT_EQ(framework().scene_calls, (SceneCalls{{kDeny, "/a"}}));
        expect_nothing_told();
    }
}

TEST_P(LabelOfARole, ReturnsTheCodeOfTheSecondStep)
{
    for (const int first : {0, -2}) {
        for (const int code : kCodes) {
            framework().reset();
            framework().scene_results = {{kDeny, first}, {kGive, code}};
            EXPECT_EQ(set(), code);
            EXPECT_EQ(framework().scene_calls, both());
            expect_nothing_told();
        }
    }
}

// --- the label attribute ---

class LabelAttribute : public LabelTest {};

TEST_F(LabelAttribute, IsSetOnThePath)
{
    EXPECT_EQ(captured_stdout([] { EXPECT_EQ(tresk_label_set("/usr/bin/a"), 0); }), "");
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{kSetAttribute, "/usr/bin/a"}}));
    expect_nothing_told();
}

TEST_F(LabelAttribute, ReturnsAndPrintsEveryOtherCodeOfTheScene)
{
    for (const int code : {-1, -2, -3, -7, 1}) {
        framework().scene_results[kSetAttribute] = code;
        EXPECT_EQ(captured_stdout([code] { EXPECT_EQ(tresk_label_set("/a"), code); }),
                  "tresk scene set exectl xattr failed ret: " + std::to_string(code) + "\n");
    }
    expect_nothing_told();
}

TEST_F(LabelAttribute, IsRefusedForANullPath)
{
    errno = 0;
    EXPECT_EQ(tresk_label_set(nullptr), -1);
    expect_refused("tresk_label_set");
}

TEST_F(LabelAttribute, IsRefusedForAPathThatCannotBeMadeAbsolute)
{
    fail_to_make_absolute(EACCES);
    EXPECT_EQ(captured_stdout([] { EXPECT_EQ(tresk_label_set("b/%d"), -1); }), "");
    expect_told_and_recorded(-1011, "b/%d",
                             std::string("faile to get absolute path: ") + std::strerror(EACCES));
    EXPECT_TRUE(framework().scene_calls.empty());
}

} // namespace

} // namespace tresk::test
