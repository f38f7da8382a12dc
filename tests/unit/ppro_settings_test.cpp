// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/capture.h"
#include "tests/unit/ppro_files.h"

#include <filesystem>

namespace tresk::test {

namespace {

using namespace std::string_literals;

class PproAction : public PproFilesTest {
  protected:
    /// The setting that a configuration of this content gives; nothing where the output stayed untouched.
    static std::optional<std::string> action(const std::string& content)
    {
        write_file(kConfigurationFile, content);
        char* setting = nullptr;
        EXPECT_EQ(tresk_ppro_get_action(&setting), 0) << content;
        const Malloced<char> owner(setting);
        return setting == nullptr ? std::nullopt : std::optional<std::string>(setting);
    }
};

TEST_F(PproAction, IsWhatFollowsTheEqualsSign)
{
    EXPECT_EQ(action("action=kill\n"), "kill");
    EXPECT_EQ(action("  \taction=kill\n"), "kill");
}

TEST_F(PproAction, IsNotTrimmed)
{
    EXPECT_EQ(action("action = kill\n"), " kill");
    EXPECT_EQ(action("action=kill  \n"), "kill  ");
    EXPECT_EQ(action("action=kill\r\n"), "kill\r");
    EXPECT_EQ(action("action=\n"), "");
}

TEST_F(PproAction, BeginsAtTheFirstEqualsSign)
{
    EXPECT_EQ(action("action=a=b\n"), "a=b");
    EXPECT_EQ(action("x=action\n"), "action");
}

TEST_F(PproAction, MayStandAnywhereInItsLine)
{
    EXPECT_EQ(action("the reaction here=log\n"), "log");
    EXPECT_EQ(action("ACTION=log\n"), std::nullopt);
}

TEST_F(PproAction, IsTheLastOneSet)
{
    EXPECT_EQ(action("action=kill\nother=1\naction=log\n"), "log");
    EXPECT_EQ(action("action=kill\naction\n"), "kill");
}

TEST_F(PproAction, NeedsNoFinalLineEnd)
{
    EXPECT_EQ(action("action=kill"), "kill");
}

TEST_F(PproAction, IsNotSetInComments)
{
    EXPECT_EQ(action("#action=kill\n"), std::nullopt);
    EXPECT_EQ(action(" \t # action=kill\n"), std::nullopt);
    EXPECT_EQ(action("action=#kill\n"), "#kill");
}

TEST_F(PproAction, StaysUntouchedWithoutASetting)
{
    for (const char* content : {"", "\n\n", "a\n", "action\n", "mode=1\n", "\n \n"}) {
        EXPECT_EQ(action(content), std::nullopt) << content;
    }
}

TEST_F(PproAction, EndsAtANulByte)
{
    EXPECT_EQ(action("action=ki\0ll\n"s), "ki");
    EXPECT_EQ(action("\0action=kill\n"s), std::nullopt);
}

TEST_F(PproAction, MayBeOfAnyLength)
{
    const std::string value(3'000'000, 'k');
    EXPECT_EQ(action(" action=" + value + "\n"), value);
}

TEST_F(PproAction, FailsWithoutItsFile)
{
    char untouched = 'u';
    char* setting = &untouched;
    EXPECT_EQ(tresk_ppro_get_action(&setting), -1);
    EXPECT_EQ(setting, &untouched);
    EXPECT_EQ(read_file(kConfigurationFile), std::nullopt);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PproAction, FailsWhereItsFileCannotBeRead)
{
    std::filesystem::create_directory(kConfigurationFile);
    char untouched = 'u';
    char* setting = &untouched;
    EXPECT_EQ(tresk_ppro_get_action(&setting), -1);
    EXPECT_EQ(setting, &untouched);
}

TEST_F(PproAction, FailsWithoutAnOutput)
{
    write_file(kConfigurationFile, "action=kill\n");
    EXPECT_EQ(tresk_ppro_get_action(nullptr), -1);
}

class PproBlacklist : public PproFilesTest {
  protected:
    static int check(const std::string& blacklist, std::string path)
    {
        write_file(kBlacklistFile, blacklist);
        return ppro_path_in_blacklist(path.data());
    }
};

TEST_F(PproBlacklist, TakesALineForThatPathAlone)
{
    EXPECT_EQ(check("/usr/bin/ab\n", "/usr/bin/ab"), 1);
    EXPECT_EQ(check("/usr/bin/ab\n", "/usr/bin/abc"), 0);
    EXPECT_EQ(check("/usr/bin/ab\n", "/opt/usr/bin/ab"), 0);
    EXPECT_EQ(check("/usr/bin/ab\n", "/usr/bin/a"), 0);
}

TEST_F(PproBlacklist, TakesAFinalStarForATextAnywhere)
{
    EXPECT_EQ(check("/usr/bin/ab*\n", "/opt/x/usr/bin/abc"), 1);
    EXPECT_EQ(check("/usr/bin/ab*\n", "/usr/bin/ab"), 1);
    EXPECT_EQ(check("/usr/bin/ab*\n", "/usr/bin/a"), 0);
    EXPECT_EQ(check("ab*\n", "/usr/bin/cab"), 1);
}

TEST_F(PproBlacklist, TakesNoOtherStarForAnything)
{
    EXPECT_EQ(check("/usr/*/ab\n", "/usr/bin/ab"), 0);
    EXPECT_EQ(check("/usr/*/ab\n", "/usr/*/ab"), 1);
    EXPECT_EQ(check("/usr/bin**\n", "/usr/bin/ab"), 0);
    EXPECT_EQ(check("/usr/bin**\n", "/usr/bin*"), 1);
}

TEST_F(PproBlacklist, TakesAStarAloneForEveryPath)
{
    EXPECT_EQ(check("*\n", "/usr/bin/ab"), 1);
    EXPECT_EQ(check("*\n", ""), 1);
    EXPECT_EQ(check("  *\n", "/usr/bin/ab"), 1);
}

TEST_F(PproBlacklist, SkipsLinesOfOneByte)
{
    EXPECT_EQ(check("\n\n", ""), 0);
    EXPECT_EQ(check("*", "/usr/bin/ab"), 0);
    EXPECT_EQ(check("a\n", "a"), 1);
}

TEST_F(PproBlacklist, SkipsComments)
{
    EXPECT_EQ(check("#/usr/bin/ab\n#*\n \t#*\n", "/usr/bin/ab"), 0);
    EXPECT_EQ(check("#/usr/bin/ab\n", "#/usr/bin/ab"), 0);
}

TEST_F(PproBlacklist, TrimsLeadingBlanksAlone)
{
    EXPECT_EQ(check("  \t/usr/bin/ab\n", "/usr/bin/ab"), 1);
    EXPECT_EQ(check("  /usr/bin/ab*\n", "/usr/bin/abc"), 1);
    EXPECT_EQ(check("/usr/bin/ab \n", "/usr/bin/ab"), 0);
    EXPECT_EQ(check("/usr/bin/ab* \n", "/usr/bin/abc"), 0);
}

TEST_F(PproBlacklist, LooksAtEveryLine)
{
    EXPECT_EQ(check("#first\n/b\n\n/usr/bin/ab\n/c\n", "/usr/bin/ab"), 1);
    EXPECT_EQ(check("#first\n/b\n\n/usr/bin/ab\n/c\n", "/usr/bin/a"), 0);
}

TEST_F(PproBlacklist, NeedsNoFinalLineEnd)
{
    EXPECT_EQ(check("/usr/bin/ab", "/usr/bin/ab"), 1);
    EXPECT_EQ(check("/usr/bin/ab*", "/usr/bin/abc"), 1);
}

TEST_F(PproBlacklist, KeepsACarriageReturn)
{
    EXPECT_EQ(check("/usr/bin/ab\r\n", "/usr/bin/ab"), 0);
    EXPECT_EQ(check("/usr/bin/ab\r\n", "/usr/bin/ab\r"), 1);
    EXPECT_EQ(check("/usr/bin/ab*\r\n", "/usr/bin/abc"), 0);
}

TEST_F(PproBlacklist, LooksForTheStarAtTheEndOfWhatWasRead)
{
    EXPECT_EQ(check("/usr/bin\0x*\n"s, "/usr/bin/ab"), 1);
    EXPECT_EQ(check("/usr/bin*\0x\n"s, "/usr/bin/ab"), 0);
    EXPECT_EQ(check("/usr/bin/ab\0x\n"s, "/usr/bin/ab"), 1);
}

TEST_F(PproBlacklist, TakesALineOfBlanksForTheEmptyPath)
{
    EXPECT_EQ(check(" \n", ""), 1);
    EXPECT_EQ(check(" \n", "/usr/bin/ab"), 0);
}

TEST_F(PproBlacklist, TakesLinesOfAnyLength)
{
    const std::string path = "/" + std::string(3'000'000, 'p');
    EXPECT_EQ(check(path + "\n", path), 1);
    EXPECT_EQ(check(path + "\n", path + "q"), 0);
    EXPECT_EQ(check(path + "\n/short\n", "/short"), 1);
}

TEST_F(PproBlacklist, LetsEverythingPassWhileEmpty)
{
    EXPECT_EQ(check("", "/usr/bin/ab"), 0);
}

TEST_F(PproBlacklist, SaysWhyItCannotBeOpened)
{
    char path[] = "/usr/bin/ab";
    int result = 0;
    const std::string said = captured_stderr([&] { result = ppro_path_in_blacklist(path); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(said, "/etc/tresk/ppro/ppro_blacklist: No such file or directory\n");
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PproBlacklist, SaysWhyItCannotBeRead)
{
    std::filesystem::create_directory(kBlacklistFile);
    char path[] = "/usr/bin/ab";
    int result = 0;
    const std::string said = captured_stderr([&] { result = ppro_path_in_blacklist(path); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(said, "/etc/tresk/ppro/ppro_blacklist: Is a directory\n");
}

TEST_F(PproBlacklist, FailsOnNullSilently)
{
    int result = 0;
    EXPECT_EQ(captured_stderr([&] { result = ppro_path_in_blacklist(nullptr); }), "");
    EXPECT_EQ(result, -1);
}

} // namespace

} // namespace tresk::test
