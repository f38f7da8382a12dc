// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What is proposed where a command line is still being typed.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>

#include <sstream>

namespace tresk::test {

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

constexpr const char* kBlocked = "/etc/tresk/pblk/pblk.xml";

std::string blocked(const std::string& path, const std::string& source)
{
    return "<pblk_node path=\"" + path + "\" data_source_type=\"1\" data_source_name=\"" + source +
           "\"><hash>a</hash></pblk_node>";
}

std::string blocking(const std::string& entries)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<pblk_root>" + entries + "</pblk_root>\n";
}

class CompletionTest : public TreskctlTest {
  protected:
    /// The proposals' lines.
    static Words lines(Words words)
    {
        words.insert(words.begin(), {"complete", "--"});
        const Outcome outcome = treskctl(words);
        EXPECT_EQ(outcome.exit_status, 0);
        EXPECT_EQ(outcome.error, "");
        Words lines;
        std::istringstream stream(outcome.output);
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    /// The proposed words alone.
    static Words proposed(const Words& words)
    {
        Words answers = lines(words);
        for (std::string& line : answers) {
            line = line.substr(0, line.find('\t'));
        }
        return answers;
    }

    static void block(const std::string& entries) { write_file(kBlocked, blocking(entries)); }
};

TEST_F(CompletionTest, CommandsAreProposedWithTheirHelp)
{
    EXPECT_THAT(lines({"ppro", "sh"}), ElementsAre("show\tShow entries by name"));
}

TEST_F(CompletionTest, EveryObjectIsProposedAndNothingHidden)
{
    const Words objects = proposed({""});
    EXPECT_THAT(objects,
                IsSupersetOf({"status", "module", "conf", "ppro", "netctl", "pkg", "pblk", "bwlist"}));
    EXPECT_THAT(objects, Not(Contains("complete")));
}

TEST_F(CompletionTest, OptionsAreTheCommandsAndTreskctlsOwn)
{
    EXPECT_THAT(proposed({"ppro", "add", "--"}), IsSupersetOf({"--type", "--owner", "--source", "--json"}));
    EXPECT_THAT(proposed({"--"}), Not(Contains("--owner")));
}

TEST_F(CompletionTest, WordsOfAClosedSetAreProposed)
{
    EXPECT_THAT(proposed({"ppro", "add", "--owner", ""}), ElementsAre("ordinary", "sm"));
    EXPECT_THAT(proposed({"status", "set", "ppro", "o"}), ElementsAre("on", "off"));
    EXPECT_THAT(proposed({"completion", ""}), ElementsAre("bash", "zsh", "fish"));
}

TEST_F(CompletionTest, AValueBehindAnEqualsSignKeepsItsOption)
{
    EXPECT_THAT(proposed({"ppro", "add", "--owner=s"}), ElementsAre("--owner=sm"));
    EXPECT_THAT(proposed({"--json="}), ElementsAre("--json=pretty", "--json=short"));
}

TEST_F(CompletionTest, SwitchesAreProposed)
{
    EXPECT_THAT(proposed({"status", "check", "p"}), ElementsAre("ppro", "pblk"));
}

TEST_F(CompletionTest, UsersAreThoseOfTheMachine)
{
    EXPECT_THAT(lines({"netctl", "list", "--uid", "roo"}), ElementsAre("root\t0"));
}

TEST_F(CompletionTest, ColumnsAreTheCommands)
{
    EXPECT_THAT(proposed({"pblk", "list", "-g", "so"}), ElementsAre("source_type", "source"));
    EXPECT_THAT(proposed({"pblk", "list", "-o", "path,ha"}), ElementsAre("path,hash"));
}

TEST_F(CompletionTest, NamesAreThoseOfThePolicysEntries)
{
    block(blocked("/usr/bin/a", "") + blocked("/usr/bin/b", "vendor") + blocked("/opt/c", ""));
    EXPECT_THAT(lines({"pblk", "remove", "/usr/b"}), ElementsAre("/usr/bin/a", "/usr/bin/b\tsource vendor"));
}

TEST_F(CompletionTest, EntriesThatTheLineExcludesAreLeftOut)
{
    block(blocked("/usr/bin/a", "") + blocked("/usr/bin/b", "vendor"));
    EXPECT_THAT(proposed({"pblk", "remove", "--source", "vendor", ""}), ElementsAre("/usr/bin/b"));
    EXPECT_THAT(proposed({"pblk", "remove", "/usr/bin/a", ""}), ElementsAre("/usr/bin/b"));
}

TEST_F(CompletionTest, ValuesOfKeysAreThoseOfThePolicysEntries)
{
    block(blocked("/usr/bin/a", "factory") + blocked("/usr/bin/b", "vendor"));
    EXPECT_THAT(proposed({"pblk", "list", "--source", ""}), ElementsAre("factory", "vendor"));
}

TEST_F(CompletionTest, EntriesAreReadBelowTheRootThatTheLineNames)
{
    const TempDir root;
    write_file(root / "etc/tresk/pblk/pblk.xml", blocking(blocked("/usr/bin/elsewhere", "")));
    EXPECT_THAT(proposed({"--root", root.path().string(), "pblk", "show", ""}),
                ElementsAre("/usr/bin/elsewhere"));
}

TEST_F(CompletionTest, NewNamesAreFiles)
{
    block(blocked("/usr/bin/a", ""));
    EXPECT_THAT(lines({"pblk", "add", "/usr"}), ElementsAre("\tfiles"));
    EXPECT_THAT(lines({"pblk", "remove", "--from-file", ""}), ElementsAre("\tfiles"));
    EXPECT_THAT(lines({"--root", ""}), ElementsAre("\tdirectories"));
}

TEST_F(CompletionTest, AnArgumentAfterTwoDashesIsNoOption)
{
    block(blocked("-odd", ""));
    EXPECT_THAT(proposed({"pblk", "remove", "--", "-"}), ElementsAre("-odd"));
}

TEST_F(CompletionTest, ANameThatNoLineHoldsIsLeftOut)
{
    block(blocked("/a&#10;b", "") + blocked("/a&#9;b", "") + blocked("/a b", ""));
    EXPECT_THAT(proposed({"pblk", "remove", ""}), ElementsAre("/a b"));
}

TEST_F(CompletionTest, ABrokenPolicyIsNoReasonToSpeak)
{
    write_file(kBlocked, "<broken");
    EXPECT_THAT(lines({"pblk", "remove", ""}), IsEmpty());
}

TEST_F(CompletionTest, AnUnknownWordHasNoContinuation)
{
    EXPECT_THAT(lines({"pblk", "show", "--bogus=", ""}), IsEmpty());
    EXPECT_THAT(lines({"status", "set", "ppro", "on", ""}), IsEmpty());
}

TEST_F(CompletionTest, NobodyIsAsked)
{
    block(blocked("/usr/bin/a", ""));
    write_state("service.log", "");
    for (const Words& words :
         {Words{""}, Words{"pblk", "remove", ""}, Words{"device", "remove", "--type", ""},
          Words{"wireless", "remove", ""}, Words{"netctl", "show", ""}}) {
        lines(words);
    }
    EXPECT_EQ(read_state("service.log"), "");
}

TEST_F(CompletionTest, AnotherShellIsWrongUsage)
{
    const Outcome outcome = treskctl({"completion", "csh"});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.error, ::testing::HasSubstr("bash|zsh|fish"));
}

} // namespace

} // namespace tresk::test
