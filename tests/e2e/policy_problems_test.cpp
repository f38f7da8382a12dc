// SPDX-License-Identifier: LGPL-2.1-or-later
//
// All that the library's readers would skip, cut or misread, told where it stands. The files are below a root
// of their own.
#include "common/handles.h"
#include "tests/support/temp_dir.h"
#include "tresk_extend.h"
#include "treskctl/policy/device_database.h"
#include "treskctl/policy/judged_files.h"
#include "treskctl/policy/ppro_lists.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <ostream>
#include <sstream>

namespace tresk::ctl {

namespace {

using test::TempDir;
using test::write_file;

/// What the cases' texts write in braces.
std::string meaning_of(const std::string& word)
{
    const std::string rest = word.substr(std::min<std::size_t>(2, word.size()));
    if (word.starts_with("P:")) { // the hash of a path in process protection and blocking
        return Malloced<char>(tresk_ppro_get_path_hash(rest.c_str())).get();
    }
    if (word.starts_with("N:")) { // in network control
        return Malloced<char>(tresk_netctl_get_path_hash(rest.c_str(), 0)).get();
    }
    if (word.starts_with("x:")) { // as many letters
        return std::string(std::stoul(rest), 'x');
    }
    return word == "0" ? std::string(1, '\0') : "";
}

std::string expanded(std::string text)
{
    for (std::size_t at = 0; (at = text.find('{', at)) != std::string::npos;) {
        const std::size_t end = text.find('}', at);
        text.replace(at, end + 1 - at, meaning_of(text.substr(at + 1, end - at - 1)));
    }
    return text;
}

/// The judgement of the file of that name below @root.
Reading judged(const std::string& file, const std::string& root)
{
    const std::vector<JudgedFile> files = judged_files();
    const auto found = std::ranges::find(files, file, &JudgedFile::file);
    EXPECT_NE(found, files.end()) << file;
    return found->judge(root);
}

/// "LINE:COLUMN: PROBLEM", without what is the same in all.
std::vector<std::string> problems_of(const std::string& file, const std::string& root)
{
    std::vector<std::string> texts;
    for (const Problem& problem : problems_in(judged(file, root))) {
        const std::string place = text_of(problem.place);
        EXPECT_TRUE(place.starts_with(root + file)) << place;
        const std::string rest = place.substr(std::min(place.size(), (root + file).size()));
        texts.push_back((rest.empty() ? "" : rest.substr(1) + ": ") + problem.text);
    }
    return texts;
}

/// A file whose text is @before, a case's own text, and @behind.
struct Frame {
    const char* file;
    const char* before;
    const char* behind;
};

struct Case {
    const char* name;
    Frame frame;
    const char* text;
    /// One a line.
    const char* problems;
};

void PrintTo(const Case& one, std::ostream* stream)
{
    *stream << one.name;
}

std::vector<std::string> lines_of(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

#define HASH "<hash>{P:/a}</hash>"
#define HASH_AND_TYPE HASH "<type>1</type>"

constexpr Frame kPproFile = {"/etc/tresk/ppro/ppro.xml", "", ""};
/// A node's attributes and content.
constexpr Frame kPproNode = {kPproFile.file, "<ppro_root>\n <ppro_node ", "</ppro_node>\n</ppro_root>\n"};

constexpr Case kPproCases[] = {
    {"ASoundEntry", kPproNode, "path=\"/a\" sm_status=\"1\" data_source_name=\"x\">" HASH_AND_TYPE, ""},
    {"Comments", kPproFile, "<!-- a --><ppro_root><!-- b --></ppro_root>", ""},
    {"BlanksAroundANumber", kPproNode, "path=\"/a\">" HASH "<type>\n 1 </type>", ""},
    {"AnEmptyFile", kPproFile, "", ""},
    {"NothingButBlanks", kPproFile, " \n",
     "2:1: Start tag expected, '<' not found\n1:1: the file is no policy: it holds no document"},
    {"AnotherRoot", kPproFile, "<!-- a -->\n <pblk_root/>",
     "2:2: the file is no policy: its root is not \"ppro_root\""},
    {"ADocumentType", kPproFile, "<?xml version=\"1.0\"?>\n<!DOCTYPE ppro_root>\n<ppro_root/>",
     "2:1: the file is no policy: it declares a document type, as no policy of the service's does"},
    {"WhatTheParserForgives", kPproFile, "<ppro_root>\n</ppro_roo>",
     "2:12: Opening and ending tag mismatch: ppro_root line 1 and ppro_roo"},
    {"APathThatIsNotFirst", kPproNode, "sm_status=\"1\" path=\"/a\">" HASH_AND_TYPE,
     "2:2: no entry: its first attribute is not \"path\""},
    {"NoPath", kPproNode, ">" HASH_AND_TYPE, "2:2: no entry: its first attribute is not \"path\""},
    {"NoHashAndNoType", kPproNode, "path=\"/a\">",
     "2:2: no entry: it has no <hash>\n2:2: no entry: it has no <type>"},
    {"APathThatIsTooLong", kPproNode, "path=\"/{x:4095}\">" HASH_AND_TYPE,
     "2:2: no entry: \"path\" is longer than 4095 bytes"},
    {"ARelativePath", kPproNode, "path=\"a\"><hash>{P:a}</hash><type>1</type>",
     "2:2: the path is not absolute and plain: no look-up asks for it"},
    {"APathThatIsNotPlain", kPproNode, "path=\"/a/../b\"><hash>{P:/a/../b}</hash><type>1</type>",
     "2:2: the path is not absolute and plain: no look-up asks for it"},
    {"AnotherPathsHash", kPproNode, "path=\"/b\">" HASH_AND_TYPE,
     "2:2: the hash is not the path's: look-ups by hash do not find the entry"},
    {"AHashThatIsTooLong", kPproNode, "path=\"/a\"><hash>{P:/a}0</hash><type>1</type>",
     "2:2: the hash is not the path's: look-ups by hash do not find the entry\n"
     "2:2: the hash is cut to 64 bytes"},
    {"ATypeBeforeTheHash", kPproNode, "path=\"/a\"><type>1</type>" HASH,
     "2:2: <hash> does not come first: look-ups by hash overlook the entry"},
    {"ATypeThatIsNoNumber", kPproNode, "path=\"/a\">" HASH "<type>1x</type>",
     "2:2: type \"1x\" is read as 1"},
    {"ATypeThatIsTooLarge", kPproNode, "path=\"/a\">" HASH "<type>4294967297</type>",
     "2:2: type \"4294967297\" is read as 1"},
    {"AnUnclearOwner", kPproNode, "path=\"/a\" sm_status=\"01\">" HASH_AND_TYPE,
     "2:2: sm_status \"01\" is neither 0 nor 1: readers disagree on who owns the entry"},
    {"TwoTypes", kPproNode, "path=\"/a\">" HASH_AND_TYPE "<type>2</type>",
     "2:2: more than one <type>: the last one counts"},
    {"ElementsInAType", kPproNode, "path=\"/a\">" HASH "\n<type><b>1</b></type>",
     "3:1: of the elements in <type> only the text counts"},
    {"AnUnknownAttribute", kPproNode, "path=\"/a\" note=\"x\">" HASH_AND_TYPE,
     "2:2: the attribute \"note\" is overlooked"},
    {"AnUnknownElement", kPproFile, "<ppro_root>\n\t<pblk_node/>\n</ppro_root>",
     "2:2: the element <pblk_node> is overlooked"},
    {"AnUnknownPrefix", kPproFile, "<ppro_root>\n<x:ppro_node/><b/></ppro_root>",
     "2:1: the element <x:ppro_node> is overlooked\n2:13: Namespace prefix x on ppro_node is not defined\n"
     "2:15: the element <b> is overlooked"},
    {"TextBesideElements", kPproNode, "path=\"/a\">" HASH_AND_TYPE "text",
     "2:2: the text in <ppro_node> is overlooked"},
    {"TwoEntriesOfOneName", kPproNode,
     "path=\"/a\">" HASH_AND_TYPE "</ppro_node>\n<ppro_node path=\"/a\" sm_status=\"1\">" HASH_AND_TYPE,
     "3:1: a second entry of \"/a\""},
    {"TwoEntriesOfTwoSources", kPproNode,
     "path=\"/a\">" HASH_AND_TYPE
     "</ppro_node>\n<ppro_node path=\"/a\" data_source_name=\"x\">" HASH_AND_TYPE,
     ""},
};

/// A node's attributes and content.
constexpr Frame kPblkNode = {"/etc/tresk/pblk/pblk.xml", "<pblk_root>\n <pblk_node ",
                             "</pblk_node>\n</pblk_root>\n"};
#define SOURCE " data_source_type=\"1\" data_source_name=\"\""

constexpr Case kPblkCases[] = {
    {"ABlockedProgram", kPblkNode, "path=\"/a\"" SOURCE ">" HASH, ""},
    {"APathThatIsNotFirst", kPblkNode, SOURCE " path=\"/a\">" HASH,
     "2:2: no entry: its first attribute is not \"path\""},
    {"NoHash", kPblkNode, "path=\"/a\"" SOURCE ">", "2:2: no entry: it has no <hash>"},
    {"AnotherPathsHash", kPblkNode, "path=\"/b\"" SOURCE ">" HASH,
     "2:2: the hash is not the path's: look-ups by hash do not find the entry"},
    {"ARelativePath", kPblkNode, "path=\"a\"" SOURCE "><hash>{P:a}</hash>",
     "2:2: the path is not absolute: no look-up asks for it"},
    {"NoSource", kPblkNode, "path=\"/a\" data_source_type=\"1\">" HASH,
     "2:2: the entry does not say its source: it counts for every one, and is on no one's list"},
    {"ASourceTypeThatIsNoNumber", kPblkNode,
     "path=\"/a\" data_source_type=\"01\" data_source_name=\"\">" HASH,
     "2:2: data_source_type \"01\" is found under no number: it is no decimal of at most 7 characters"},
    {"ASourceTypeThatIsTooLong", kPblkNode,
     "path=\"/a\" data_source_type=\"12345678\" data_source_name=\"\">" HASH,
     "2:2: data_source_type \"12345678\" is found under no number: it is no decimal of at most 7 characters"},
};

constexpr Frame kNetctlFile = {"/etc/tresk/netctl/netctl.xml", "", ""};
/// The content of a user's element.
constexpr Frame kNetctlUser = {kNetctlFile.file, "<tresk_root user_dist=\"0\">\n<tresk_user userID=\"0\">\n ",
                               "\n</tresk_user></tresk_root>"};
constexpr Frame kPkgFile = {"/etc/tresk/netctl/netctl_pkg.xml", "", ""};
constexpr Frame kPkgUser = {kPkgFile.file, kNetctlUser.before, kNetctlUser.behind};
#define PROGRAM(more) "<tresk_node path=\"/a\"><type>1</type><hash>{N:/a}</hash>" more "</tresk_node>"
#define USER(id, content) "<tresk_user userID=\"" id "\">\n " content "\n</tresk_user>\n"

constexpr Case kNetctlCases[] = {
    {"AProgram", kNetctlUser, PROGRAM(""), ""},
    {"AUserBeyondSignedNumbers", kNetctlFile,
     "<tresk_root user_dist=\"0\">" USER("4294967295", PROGRAM("")) "</tresk_root>", ""},
    {"NoDistinction", kNetctlFile, "<tresk_root/>",
     "1:1: the first attribute is not \"user_dist\": users count as not distinguished"},
    {"ADistinctionThatIsNoNumber", kNetctlFile, "<tresk_root user_dist=\"yes\"/>",
     "1:1: user_dist \"yes\" is read as 0"},
    {"AUserWithoutId", kNetctlFile,
     "<tresk_root user_dist=\"0\">\n<tresk_user>" PROGRAM("") "</tresk_user></tresk_root>",
     "2:1: no user: the first attribute is not \"userID\""},
    {"AUserThatIsNoNumber", kNetctlFile, "<tresk_root user_dist=\"0\">\n" USER("joe", "") "</tresk_root>",
     "2:1: userID \"joe\" is read as 0"},
    {"ASecondElementOfADistinguishedUser", kNetctlFile,
     "<tresk_root user_dist=\"1\">\n" USER("7", "") USER("7", PROGRAM("")) "</tresk_root>",
     "5:1: the user has an element already, and readers look no further"},
    {"ASecondElementOfAUserWhoDoesNotCount", kNetctlFile,
     "<tresk_root user_dist=\"0\">\n" USER("7", "") USER("7", PROGRAM("")) "</tresk_root>", ""},
    {"OneProgramOfTwoUsersWhoDoNotCount", kNetctlFile,
     "<tresk_root user_dist=\"0\">\n" USER("7", PROGRAM("")) USER("8", PROGRAM("")) "</tresk_root>",
     "6:2: a second entry of \"/a\""},
    {"TheHashOfNoUser", kNetctlFile, "<tresk_root user_dist=\"1\">\n" USER("7", PROGRAM("")) "</tresk_root>",
     "3:2: the hash is not the path's: look-ups by hash do not find the entry"},
    {"ANameThatIsTooLong", kNetctlUser, PROGRAM("<name>{x:256}</name>"), "3:2: name is cut to 255 bytes"},
    {"AnIconThatIsTooLong", kNetctlUser, PROGRAM("<ico>{x:4096}</ico>"), "3:2: ico is cut to 4095 bytes"},
    {"AServerTypeThatIsEmpty", kNetctlUser, PROGRAM("<server_type/>"), "3:2: server_type \"\" is read as 0"},
    {"NoType", kNetctlUser, "<tresk_node path=\"/a\"><hash>{N:/a}</hash></tresk_node>",
     "3:2: no entry: it has no <type>"},
    {"APackage", kPkgUser, "<tresk_node pkg=\"a\"><type>1</type></tresk_node>", ""},
    {"APackageWhoseProgramIsMissing", kPkgUser,
     "<tresk_node pkg=\"a\"><type>1</type><path>/b</path></tresk_node>",
     "3:2: there is no file \"/b\": lists leave the entry out"},
    {"APackageWithoutType", kPkgUser, "<tresk_node pkg=\"a\"/>", "3:2: no entry: it has no <type>"},
    {"APackagePolicyThatSaysOtherwise", kPkgFile, "<tresk_root user_dist=\"1\"/>",
     "1:1: user_dist is not what the policy of programs says, which decides"},
    {"APackagePolicyThatSaysNothing", kPkgFile, "<tresk_root/>", ""},
};

constexpr Frame kBwlistFile = {"/etc/tresk/bwlist/bwlist.xml", "", ""};
/// A node's attributes.
constexpr Frame kBwlistNode = {kBwlistFile.file,
                               "<tresk_root>\n<tresk_bwlist bw_value=\"white\">\n <tresk_node ",
                               "/>\n</tresk_bwlist></tresk_root>"};

constexpr Case kBwlistCases[] = {
    {"APackage", kBwlistNode, "rpm_name=\"a\"" SOURCE, ""},
    {"AttributesInAnyOrder", kBwlistNode, SOURCE " rpm_name=\"a\"", ""},
    {"AListWithoutName", kBwlistFile, "<tresk_root>\n<tresk_bwlist/></tresk_root>",
     "2:1: no list: it has no name"},
    {"AListOfBothLists", kBwlistFile, "<tresk_root>\n<tresk_bwlist bw_value=\"bwlist\"/></tresk_root>",
     "2:1: look-ups that unite sources take this name for the white and the black list"},
    {"APackageWithoutName", kBwlistNode, SOURCE, "3:2: no entry: it names no package"},
    {"APackageWithoutSource", kBwlistNode, "rpm_name=\"a\"",
     "3:2: the entry does not say its source: the service cannot remove it"},
    {"APackageOfAnOddSource", kBwlistNode, "rpm_name=\"a\" data_source_type=\" 1\" data_source_name=\"\"",
     "3:2: data_source_type \" 1\" is found under no number: it is no decimal of at most 7 characters"},
};

constexpr Frame kSettingsFile = {kPproSettings, "", ""};

constexpr Case kSettingsCases[] = {
    {"AnAction", kSettingsFile, "# the action\n\n  action=kill\n", ""},
    {"ABlankBeforeTheSign", kSettingsFile, "action =kill\n", ""},
    {"ABlankBeforeTheAction", kSettingsFile, "action= kill\n", "1:1: the blanks around the action count"},
    {"ABlankBehindTheAction", kSettingsFile, "\taction=kill \n", "1:2: the blanks around the action count"},
    {"ALineEndOfAnotherSystem", kSettingsFile, "action=kill\r\n", "1:1: the blanks around the action count"},
    {"NoAction", kSettingsFile, "action=\n", "1:1: the action is empty"},
    {"AnotherWord", kSettingsFile, "reaction=kill\n",
     "1:1: the line is taken for the action, since the word stands in it"},
    {"OtherSettings", kSettingsFile, "level=1\naction\n",
     "1:1: the line is overlooked: it sets no action\n2:1: the line is overlooked: it sets no action"},
    {"TwoActions", kSettingsFile, "action=kill\n#\naction=warn\n",
     "1:1: a later line sets the action: this one is overlooked"},
    {"ANulByte", kSettingsFile, "action=a{0}b\n", "1:1: what follows the NUL byte is overlooked"},
    {"ALineThatIsTooShort", kSettingsFile, "action=a\nx",
     "2:1: a last line of one character without an end is overlooked"},
};

constexpr Frame kBlacklistFile = {kPproBlacklist, "", ""};

constexpr Case kBlacklistCases[] = {
    {"Patterns", kBlacklistFile, "# none of these\n\n/usr/bin/a\n  /usr/b*\nlib*\n", ""},
    {"AComment", kBlacklistFile, "#*\n", ""},
    {"APatternForEverything", kBlacklistFile, " *\n", "1:2: the pattern stands in every path"},
    {"AStarInTheMiddle", kBlacklistFile, "/usr/*/a\n",
     "1:1: a \"*\" that is not the line's last character stands for itself"},
    {"ABlankAtTheEnd", kBlacklistFile, "/usr/bin/a \n", "1:1: the blanks at the line's end count"},
    {"AStarBeforeABlank", kBlacklistFile, "/usr/bin/a* \n",
     "1:1: a \"*\" that is not the line's last character stands for itself\n1:1: the blanks at the line's "
     "end count"},
    {"ARelativePattern", kBlacklistFile, "bin/a\n",
     "1:1: no absolute path is this text; a part of one ends in \"*\""},
    {"ANulByte", kBlacklistFile, "/a{0}b\n", "1:1: what follows the NUL byte is overlooked"},
    {"APatternThatIsTooShort", kBlacklistFile, "/a\n*",
     "2:1: a last line of one character without an end is overlooked"},
};

class PolicyProblemsTest : public ::testing::TestWithParam<Case> {};

TEST_P(PolicyProblemsTest, AreToldWhereTheyStand)
{
    const TempDir root;
    const Case& one = GetParam();
    const Frame& frame = one.frame;
    write_file(root.path().string() + frame.file,
               expanded(std::string(frame.before) + one.text + frame.behind));
    EXPECT_EQ(problems_of(frame.file, root.path()), lines_of(one.problems));
}

const auto kNameOfCase = [](const ::testing::TestParamInfo<Case>& row) {
    return std::string(row.param.name);
};
INSTANTIATE_TEST_SUITE_P(Ppro, PolicyProblemsTest, ::testing::ValuesIn(kPproCases), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Pblk, PolicyProblemsTest, ::testing::ValuesIn(kPblkCases), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Netctl, PolicyProblemsTest, ::testing::ValuesIn(kNetctlCases), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Bwlist, PolicyProblemsTest, ::testing::ValuesIn(kBwlistCases), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Settings, PolicyProblemsTest, ::testing::ValuesIn(kSettingsCases), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Blacklist, PolicyProblemsTest, ::testing::ValuesIn(kBlacklistCases), kNameOfCase);

/// The parser's own words on it are its own business.
TEST(PlacesTest, AreKnownBehindADamagedTag)
{
    const TempDir root;
    write_file(root.path().string() + kPproFile.file, "<ppro_root>\n<ppro_node=\"0\"/>\n  <b/></ppro_root>");
    const std::vector<std::string> problems = problems_of(kPproFile.file, root.path());
    EXPECT_TRUE(std::ranges::find(problems, "3:3: the element <b> is overlooked") != problems.end())
        << ::testing::PrintToString(problems);
}

TEST(MissingFilesTest, HaveNoProblems)
{
    const TempDir root;
    for (const JudgedFile& file : judged_files()) {
        EXPECT_EQ(problems_of(file.file, root.path()), std::vector<std::string>()) << file.file;
    }
}

TEST(UnreadableFilesTest, AreProblems)
{
    const TempDir root;
    for (const JudgedFile& file : judged_files()) {
        std::filesystem::create_directories(root.path().string() + file.file);
        EXPECT_EQ(problems_of(file.file, root.path()).size(), 1) << file.file;
    }
}

TEST(JudgedFilesTest, StandBesideTheirKindsPolicy)
{
    std::vector<std::string> files;
    for (const JudgedFile& file : judged_files()) {
        files.push_back(file.object + " " + file.file);
    }
    EXPECT_EQ(files, (std::vector<std::string>{
                         "ppro /etc/tresk/ppro/ppro.xml", "ppro /etc/tresk/ppro/ppro.conf",
                         "ppro /etc/tresk/ppro/ppro_blacklist", "netctl /etc/tresk/netctl/netctl.xml",
                         "pkg /etc/tresk/netctl/netctl_pkg.xml", "pblk /etc/tresk/pblk/pblk.xml",
                         "bwlist /etc/tresk/bwlist/bwlist.xml", "device /etc/tresk/db/whlist.db"}));
}

// --- the database ---

class DeviceDatabaseTest : public ::testing::Test {
  protected:
    void SetUp() override
    {
        std::filesystem::create_directories(std::filesystem::path(file()).parent_path());
    }

    [[nodiscard]] std::string file() const { return root_.path().string() + kDeviceDatabase; }

    void run(const std::string& statements)
    {
        sqlite3* opened = nullptr;
        ASSERT_EQ(sqlite3_open(file().c_str(), &opened), SQLITE_OK);
        const Handle<sqlite3, ::sqlite3_close> database(opened);
        ASSERT_EQ(sqlite3_exec(opened, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(opened);
    }

    [[nodiscard]] std::vector<std::string> problems() const
    {
        return problems_of(kDeviceDatabase, root_.path());
    }

  private:
    TempDir root_;
};

const std::string kTable =
    "CREATE TABLE device_record (number INTEGER PRIMARY KEY, kind, vendor, product, t1, t2, "
    "access_t, t3, state);";

TEST_F(DeviceDatabaseTest, IsSoundWithTheTableThatIsListed)
{
    run(kTable +
        "INSERT INTO device_record VALUES (1, 2, '1d6b', '0x0002', '', '', '2026-01-02 03:04:05', '', -1)");
    EXPECT_EQ(problems(), std::vector<std::string>());
}

TEST_F(DeviceDatabaseTest, MayBeEmpty)
{
    write_file(file(), "");
    EXPECT_EQ(problems(), std::vector<std::string>());
}

TEST_F(DeviceDatabaseTest, LacksItsTable)
{
    run("CREATE TABLE other (a)");
    EXPECT_EQ(problems(),
              std::vector<std::string>{"it has not the table that is listed: no such table: device_record"});
}

TEST_F(DeviceDatabaseTest, LacksTheTime)
{
    run("CREATE TABLE device_record (a, b, c, d, e, f, g, h, i)");
    EXPECT_EQ(problems(),
              std::vector<std::string>{"it has not the table that is listed: no such column: access_t"});
}

TEST_F(DeviceDatabaseTest, HasTooFewColumns)
{
    run("CREATE TABLE device_record (number, access_t)");
    EXPECT_EQ(problems(),
              std::vector<std::string>{"device_record has fewer than the 9 columns that are listed"});
}

TEST_F(DeviceDatabaseTest, IsNoDatabase)
{
    write_file(file(), std::string(4096, 'x'));
    EXPECT_EQ(problems(),
              std::vector<std::string>{"it is no database that can be read: file is not a database"});
}

TEST_F(DeviceDatabaseTest, HasARowThatIsNeverListed)
{
    run(kTable + "INSERT INTO device_record VALUES (7, 2, '1d6b', '2', '', '', 'yesterday', '', 1)");
    EXPECT_EQ(problems(),
              std::vector<std::string>{
                  "device_record 7: access_t \"yesterday\" is no time: the device is never listed"});
}

TEST_F(DeviceDatabaseTest, HasNumbersThatAreNone)
{
    run(kTable + "INSERT INTO device_record VALUES (7, 'two', 'xyz', '2', '', '', '2026-01-02', '', '')");
    EXPECT_EQ(problems(),
              (std::vector<std::string>{"device_record 7: kind \"two\" is no decimal number",
                                        "device_record 7: vendor \"xyz\" is no hexadecimal number",
                                        "device_record 7: state \"\" is no decimal number"}));
}

} // namespace

} // namespace tresk::ctl
