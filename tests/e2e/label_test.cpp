// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "label": what the scene does about files, one by one and in lists.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace tresk::test {

namespace {

using ::testing::HasSubstr;

class LabelTest : public TreskctlTest {
  protected:
    void SetUp() override
    {
        TreskctlTest::SetUp();
        write_file(first_, "");
        write_file(second_, "");
    }

    [[nodiscard]] std::string both() const { return first_ + "\n" + second_ + "\n"; }

    TempDir folder_;
    std::string first_ = folder_ / "first";
    std::string second_ = folder_ / "second";
};

/// One label of one verb, and the scene's list that it changes.
struct Case {
    const char* name;
    const char* verb;
    const char* label;
    const char* done;
    const char* policy;
    /// Whether the paths are on the list afterwards.
    bool listed;
};

void PrintTo(const Case& row, std::ostream* stream)
{
    *stream << row.name;
}

class LabelVerbTest : public LabelTest, public ::testing::WithParamInterface<Case> {
  protected:
    static Words line(const Words& paths)
    {
        Words words = {"label", GetParam().verb};
        if (*GetParam().label != '\0') {
            words.emplace_back(GetParam().label);
        }
        words.insert(words.end(), paths.begin(), paths.end());
        return words;
    }

    static std::string header()
    {
        const std::size_t width = std::max(std::string(GetParam().done).size(), std::string("RESULT").size());
        return "RESULT" + std::string(width - 6, ' ') + "  PATH\n";
    }

    static void list(const std::string& paths)
    {
        if (!GetParam().listed) {
            write_state("scene/" + std::string(GetParam().policy), paths);
        }
    }

    static std::string listed() { return read_state("scene/" + std::string(GetParam().policy)); }
};

std::string padded(std::string text)
{
    text.resize(std::max<std::size_t>(text.size(), 6), ' ');
    return text;
}

TEST_P(LabelVerbTest, DoesOnePath)
{
    list(first_ + "\n");
    EXPECT_EQ(treskctl(line({first_})), succeeded(header() + padded(GetParam().done) + "  " + first_ + "\n"));
    EXPECT_EQ(listed(), GetParam().listed ? first_ + "\n" : "");
}

TEST_P(LabelVerbTest, DoesMorePaths)
{
    list(both());
    EXPECT_EQ(treskctl(line({first_, second_})),
              succeeded(header() + padded(GetParam().done) + "  " + first_ + "\n" + padded(GetParam().done) +
                        "  " + second_ + "\n"));
    EXPECT_EQ(listed(), GetParam().listed ? both() : "");
}

TEST_P(LabelVerbTest, TakesWhatIsSoAlreadyForDone)
{
    treskctl(line({first_, second_}));
    EXPECT_EQ(treskctl(line({first_})).exit_status, 0);
    EXPECT_EQ(treskctl(line({first_, second_})).exit_status, 0);
}

TEST_P(LabelVerbTest, DoesTheListOfStandardInput)
{
    list(both());
    EXPECT_EQ(treskctl_with_input(both(), line({"-f", "-"})).exit_status, 0);
    EXPECT_EQ(listed(), GetParam().listed ? both() : "");
}

constexpr Case kCases[] = {
    {"Readonly", "protect", "readonly", "protected", "filectl", true},
    {"Verify", "protect", "verify", "protected", "filectl", true},
    {"Unprotect", "protect", "none", "unprotected", "filectl", false},
    {"Secadm", "identify", "secadm", "given to secadm", "admctl_role_1", true},
    {"Audadm", "identify", "audadm", "given to audadm", "admctl_role_2", true},
    {"Deny", "identify", "deny", "denied", "admctl_deny_all", true},
    {"Free", "identify", "free", "freed", "admctl_deny_all", false},
    {"Trusted", "exec", "trusted", "listed", "exectl_wlist", true},
    {"Original", "exec", "original", "listed", "exectl_wlist", true},
    {"Unknown", "exec", "unknown", "unlisted", "exectl_wlist", false},
    {"Attribute", "xattr", "", "labelled", "exectl_xattr", true},
};

INSTANTIATE_TEST_SUITE_P(Verbs, LabelVerbTest, ::testing::ValuesIn(kCases),
                         [](const auto& parameter) { return parameter.param.name; });

TEST_F(LabelTest, ARoleAlsoDeniesThePathToEverybody)
{
    treskctl({"label", "identify", "audadm", first_});
    EXPECT_EQ(read_state("scene/admctl_deny_all"), first_ + "\n");
    treskctl({"label", "identify", "free", first_});
    EXPECT_EQ(read_state("scene/admctl_deny_all"), "");
    EXPECT_EQ(read_state("scene/admctl_role_2"), "");
}

TEST_F(LabelTest, TheSmSideProtectsAsWell)
{
    treskctl({"label", "protect", "readonly", "--sm", first_, second_});
    EXPECT_EQ(read_state("scene/filectl"), both());
    treskctl({"label", "protect", "none", "--sm", "--recursive", folder_.path().string()});
    EXPECT_EQ(read_state("scene/filectl"), "");
}

TEST_F(LabelTest, RecursionProtectsTheFilesBelowADirectory)
{
    EXPECT_EQ(treskctl({"label", "protect", "verify", "-r", folder_.path().string()}),
              succeeded("RESULT     PATH\nprotected  " + folder_.path().string() + "\n"));
    EXPECT_EQ(read_state("scene/filectl"), both());
}

TEST_F(LabelTest, OnePathIsResolvedByTheLibraryAndAListStaysAsItIsGiven)
{
    const std::string link = folder_ / "link";
    std::filesystem::create_symlink("first", link);
    treskctl({"label", "exec", "trusted", link});
    EXPECT_EQ(read_state("scene/exectl_wlist"), first_ + "\n");
    treskctl({"label", "exec", "trusted", link, second_});
    EXPECT_EQ(read_state("scene/exectl_wlist"), first_ + "\n" + link + "\n" + second_ + "\n");
}

TEST_F(LabelTest, RelativePathsOfAListAreMadeAbsolute)
{
    std::filesystem::current_path(folder_.path());
    EXPECT_EQ(treskctl({"label", "protect", "readonly", "first", "./second", "gone"}),
              succeeded("RESULT     PATH\nprotected  first\nprotected  ./second\nprotected  gone\n"));
    EXPECT_EQ(read_state("scene/filectl"), both() + (folder_ / "gone").string() + "\n");
}

TEST_F(LabelTest, AListMayEndItsPathsWithNullCharacters)
{
    const std::string strange = folder_ / "line\nfeed";
    const std::string list = strange + '\0' + second_ + '\0';
    EXPECT_EQ(treskctl_with_input(list, {"label", "exec", "script", "-0", "-f", "-"}).exit_status, 0);
    EXPECT_EQ(read_state("scene/exectl_wlist"), (folder_ / "line\\nfeed").string() + "\n" + second_ + "\n");
}

TEST_F(LabelTest, AListMayComeFromAFileAndHoldBlankLines)
{
    const std::string list = folder_ / "list";
    write_file(list, "\n" + second_ + "\n\n");
    treskctl({"label", "protect", "readonly", first_, "--from-file", list});
    EXPECT_EQ(read_state("scene/filectl"), both());
}

TEST_F(LabelTest, AnEmptyListIsNoFailure)
{
    EXPECT_EQ(treskctl_with_input("", {"label", "protect", "readonly", "-f", "-"}),
              succeeded("RESULT  PATH\n"));
    EXPECT_EQ(read_state("scene/filectl"), "");
}

TEST_F(LabelTest, AListThatCannotBeReadIsAFailure)
{
    EXPECT_EQ(treskctl({"label", "protect", "readonly", first_, "-f", "/no/such"}),
              failed("treskctl: label protect: /no/such: cannot be read: No such file or directory\n"));
    EXPECT_EQ(read_state("scene/filectl"), "");
}

TEST_F(LabelTest, APathThatFitsNoRecordIsWrongUsageAndNothingIsDone)
{
    const std::string list = first_ + "\n/" + std::string(4095, 'x') + "\n";
    const Outcome outcome = treskctl_with_input(list, {"label", "protect", "readonly", "-f", "-"});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: PATH: a path of 4096 bytes is longer than 4095 bytes\n"));
    EXPECT_EQ(read_state("scene/filectl"), "");
}

TEST_F(LabelTest, TheLongestPathFits)
{
    const std::string path = "/" + std::string(4094, 'x');
    treskctl({"label", "protect", "readonly", path, first_});
    EXPECT_EQ(read_state("scene/filectl"), path + "\n" + first_ + "\n");
}

TEST_F(LabelTest, ANullCharacterInALineIsWrongUsage)
{
    const Outcome outcome =
        treskctl_with_input(first_ + '\0' + second_, {"label", "protect", "readonly", "-f", "-"});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error,
                HasSubstr("treskctl: --from-file: there are null characters in the list (see --null)\n"));
}

TEST_F(LabelTest, AnEmptyPathIsWrongUsage)
{
    EXPECT_EQ(treskctl({"label", "protect", "readonly", ""}).exit_status, 2);
}

TEST_F(LabelTest, ALongListGoesInPartsAndInOrder)
{
    constexpr int kPaths = 600;
    std::string list;
    for (int number = 0; number < kPaths; ++number) {
        list += "/opt/" + std::to_string(number) + "\n";
    }
    EXPECT_EQ(treskctl_with_input(list, {"label", "exec", "verified", "-f", "-"}).exit_status, 0);
    EXPECT_EQ(read_state("scene/exectl_wlist"), list);
}

TEST_F(LabelTest, APathThatDoesNotExistIsAFailureForItAlone)
{
    EXPECT_EQ(treskctl({"label", "protect", "readonly", "/no/such"}),
              failed("treskctl: label protect: /no/such: the path cannot be resolved, or the scene library "
                     "refused it\n"));
}

TEST_F(LabelTest, ASceneFailureHasItsCode)
{
    write_state("scene-faults", "tresk_scene_exectl_wlist_add -7\ntresk_scene_exectl_xattr_set -8\n");
    EXPECT_EQ(
        treskctl({"label", "exec", "trusted", first_}),
        failed("treskctl: label exec: " + first_ + ": the framework's scene library failed with code -7\n"));
    EXPECT_EQ(treskctl({"label", "xattr", first_}),
              failed("treskctl: label xattr: " + first_ +
                     ": the framework's scene library failed with code -8\n"
                     "treskctl: library: tresk scene set exectl xattr failed ret: -8\n"));
}

TEST_F(LabelTest, AListThatIsRefusedIsTriedPathByPath)
{
    write_state("scene-faults", "tresk_scene_filectl_multi_add_by_path -7\n");
    const Outcome outcome = treskctl({"label", "protect", "readonly", first_, second_, "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    const auto errors = parsed(outcome.error)["errors"];
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_EQ(errors[1]["subject"], second_);
    EXPECT_EQ(errors[1]["code"], -7);
    EXPECT_EQ(errors[1]["cause"], "scene");
}

TEST_F(LabelTest, ClearEndsTheProtectionOfAllFiles)
{
    treskctl({"label", "protect", "readonly", first_, second_});
    EXPECT_EQ(treskctl({"label", "clear"}), succeeded("PROTECTION\ncleared\n"));
    EXPECT_EQ(read_state("scene/filectl"), "");
}

TEST_F(LabelTest, AFileThatStaysProtectedIsAFailureOfClear)
{
    treskctl({"label", "protect", "readonly", first_});
    write_state("scene-faults", "tresk_scene_filectl_remove_by_path -9\n");
    EXPECT_EQ(
        treskctl({"label", "clear"}),
        failed("treskctl: label clear: the framework's scene library failed with code -9; what was before "
               "that file is no longer protected\n"));
}

TEST_F(LabelTest, NumbersAreTheKernels)
{
    EXPECT_EQ(treskctl({"label", "number", "verified", "script", "else"}),
              succeeded("NUMBER  LABEL\n1       verified\n7       script\n5       else\n"));
}

} // namespace

} // namespace tresk::test
