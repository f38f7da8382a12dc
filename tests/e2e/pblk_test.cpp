// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "pblk": blocked programs and the sources that asked for it.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace tresk::test {

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string kPblk = "/etc/tresk/pblk/pblk.xml";
constexpr std::size_t kLongestText = 4095;

const std::string kThreeSources = R"(<pblk_root>
<pblk_node path="/opt/none"><hash>a1</hash></pblk_node>
<pblk_node path="/opt/plain" data_source_type="1" data_source_name=""><hash>b2</hash></pblk_node>
<pblk_node path="/opt/vendor" data_source_type="5" data_source_name="vendor"><hash>c3</hash></pblk_node>
</pblk_root>
)";

class PblkTest : public TreskctlTest {
  protected:
    static void write_entries(const std::string& content) { write_file(kPblk, content); }

    static Outcome add() { return treskctl({"pblk", "add", kProgram}); }
};

TEST_F(PblkTest, AddWritesTheEntryThroughTheService)
{
    EXPECT_EQ(add(), succeeded("RESULT   PATH\nblocked  /usr/bin/cat\n"));
    EXPECT_TRUE(service_was_asked("tresk_pblk_add_zdk ('/usr/bin/cat', 1, '')"));
    EXPECT_THAT(read_file(kPblk).value_or(""), HasSubstr("path=\"/usr/bin/cat\""));
    EXPECT_EQ(read_state("scene/pblkctl"), "/usr/bin/cat\n");
}

TEST_F(PblkTest, AddPassesTheSource)
{
    treskctl({"pblk", "add", "--source-type", "-5", "--source", "vendor", kProgram});
    EXPECT_TRUE(service_was_asked("tresk_pblk_add_zdk ('/usr/bin/cat', -5, 'vendor')"));
}

TEST_F(PblkTest, AddingTwiceIsNoFailure)
{
    add();
    EXPECT_EQ(add(), succeeded("RESULT           PATH\nalready blocked  /usr/bin/cat\n"));
    EXPECT_EQ(treskctl({"pblk", "add", kProgram, "--source-type", "7"}),
              succeeded("RESULT            PATH\nalready in scene  /usr/bin/cat\n"));
}

TEST_F(PblkTest, RemoveTakesTheEntryAway)
{
    add();
    EXPECT_EQ(treskctl({"pblk", "remove", kProgram}),
              succeeded("RESULT     PATH\nunblocked  /usr/bin/cat\n"));
    EXPECT_TRUE(service_was_asked("tresk_pblk_remove_zdk ('/usr/bin/cat', 1, '')"));
    EXPECT_THAT(read_file(kPblk).value_or(""), Not(HasSubstr(kProgram)));
    EXPECT_EQ(treskctl({"pblk", "remove", kProgram}),
              succeeded("RESULT     PATH\nunblocked  /usr/bin/cat\n"));
}

TEST_F(PblkTest, APathThatTheLibraryShortensIsToldAsItWasGiven)
{
    std::filesystem::create_directory_symlink("/home", "/data/home");
    EXPECT_EQ(treskctl({"pblk", "add", "/data/home"}), succeeded("RESULT   PATH\nblocked  /data/home\n"));
    EXPECT_TRUE(service_was_asked("tresk_pblk_add_zdk ('/home', 1, '')"));
}

TEST_F(PblkTest, ARefusalPointsToTheLogThatHasItsReason)
{
    refuse("tresk_pblk_add_zdk", "MERON.TRESK.CANCEL.AUTH");
    EXPECT_EQ(add(), failed("treskctl: pblk add: /usr/bin/cat: the service refused; the framework's log has "
                            "the reason\n"));
    EXPECT_EQ(add(), succeeded("RESULT            PATH\nalready in scene  /usr/bin/cat\n"));
}

TEST_F(PblkTest, ASceneFailureIsToldWithTheLibrarysLine)
{
    write_state("scene-faults",
                "tresk_scene_pblkctl_add_by_path -5\ntresk_scene_pblkctl_remove_by_path -6\n");
    EXPECT_EQ(add(), failed("treskctl: pblk add: /usr/bin/cat: the framework's scene library failed with "
                            "code -5; the service was not asked\n"
                            "treskctl: library: tresk scene pblk add failed -5\n"));
    EXPECT_EQ(
        treskctl({"pblk", "remove", kProgram}),
        failed("treskctl: pblk remove: /usr/bin/cat: the framework's scene library failed with code -6; "
               "the service was not asked\n"
               "treskctl: library: tresk scene pblk remove failed ,ret :-6\n"));
}

TEST_F(PblkTest, TextsThatAreNotUtf8AreRefusedWithTheReason)
{
    const std::string reason = "an argument was refused: the service takes only UTF-8 "
                               "(TRESK_ERROR_INVALID_ARGUMENT, -1007)\n";
    EXPECT_EQ(treskctl({"pblk", "add", "/a\xff"}), failed("treskctl: pblk add: /a\\xff: " + reason));
    EXPECT_EQ(treskctl({"pblk", "add", kProgram, "--source", "\xff"}),
              failed("treskctl: pblk add: /usr/bin/cat: " + reason));
    EXPECT_EQ(read_state("scene/pblkctl"), "");
}

TEST_F(PblkTest, APathThatFitsNoEntryIsWrongUsage)
{
    const Outcome outcome = treskctl({"pblk", "remove", "/" + std::string(kLongestText, 'x')});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: PATH: longer than 4095 bytes\n"));
}

TEST_F(PblkTest, ListOfAMissingPolicyIsEmptyAndMakesThePolicy)
{
    std::filesystem::create_directories("/etc/tresk/pblk");
    std::filesystem::remove(kPblk);
    EXPECT_EQ(treskctl({"pblk", "list"}), succeeded("HASH  PATH\n"));
    EXPECT_TRUE(std::filesystem::exists(kPblk));
}

TEST_F(PblkTest, ListShowsAllEntriesWithTheirHashes)
{
    write_entries(kThreeSources);
    EXPECT_EQ(treskctl({"pblk", "list"}), succeeded("HASH  PATH\n"
                                                    "a1    /opt/none\n"
                                                    "b2    /opt/plain\n"
                                                    "c3    /opt/vendor\n"));
}

TEST_F(PblkTest, ListOfASourceShowsItsPathsAlone)
{
    write_entries(kThreeSources);
    EXPECT_EQ(treskctl({"pblk", "list", "--source-type", "5", "--source", "vendor"}),
              succeeded("HASH  PATH\n-     /opt/vendor\n"));
    EXPECT_EQ(parsed(treskctl({"pblk", "list", "--source", "", "--json"}).output),
              json::parse(R"({"version": 1, "command": "pblk list",
                              "entries": [{"hash": null, "path": "/opt/plain"}]})"));
}

TEST_F(PblkTest, AFileThatIsNoPolicyIsAFailure)
{
    write_entries("<other_root/>");
    for (const Words& words : {Words{"list"}, Words{"list", "--source", "x"}, Words{"show", "/opt/none"}}) {
        Words line = {"pblk"};
        line.insert(line.end(), words.begin(), words.end());
        EXPECT_EQ(treskctl(line),
                  failed("treskctl: pblk " + words.front() +
                         ": /etc/tresk/pblk/pblk.xml: the file is no process blocking policy\n"));
    }
}

TEST_F(PblkTest, APolicyThatCannotBeOpenedIsAFailureWithTheReason)
{
    std::filesystem::create_directories("/etc/tresk/pblk");
    std::filesystem::create_symlink(kPblk, kPblk);
    EXPECT_THAT(treskctl({"pblk", "list"}).error,
                HasSubstr("treskctl: pblk list: /etc/tresk/pblk/pblk.xml: cannot read the policy: Too many "
                          "levels of symbolic links\n"));
}

TEST_F(PblkTest, ShowTellsTheEntryOfThisSourceOrOfNone)
{
    write_entries(kThreeSources);
    EXPECT_EQ(treskctl({"pblk", "show", "/opt/none"}), succeeded("HASH  PATH\na1    /opt/none\n"));
    EXPECT_EQ(treskctl({"pblk", "show", "/opt/vendor", "--source-type", "5", "--source", "vendor"}),
              succeeded("HASH  PATH\nc3    /opt/vendor\n"));
    EXPECT_EQ(treskctl({"pblk", "show", "/opt/vendor"}),
              failed("treskctl: pblk show: /opt/vendor: not blocked for this source\n"));
}

TEST_F(PblkTest, HashIsTheOneOfThePathsText)
{
    EXPECT_EQ(treskctl({"pblk", "hash", kProgram, "/\xff\033"}),
              succeeded("HASH" + std::string(62, ' ') + "PATH\n" + kProgramHash +
                        "  /usr/bin/cat\n"
                        "6d04c512e4a0b743cfc86582954959ec7d458f3aa912d0adc2dd1ff458fc039f  /\\xff\\x1b\n"));
}

} // namespace

} // namespace tresk::test
