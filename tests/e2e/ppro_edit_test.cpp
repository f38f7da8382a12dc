// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "ppro add", "update" and "remove": what they change, and what they say when they change nothing.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>

namespace tresk::test {

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

class PproEditTest : public TreskctlTest {
  protected:
    static Outcome add(const std::string& path) { return treskctl({"ppro", "add", path, "--type", "1"}); }
};

TEST_F(PproEditTest, AddWritesTheEntryThroughTheService)
{
    EXPECT_EQ(add(kProgram), succeeded("RESULT     PATH\nprotected  /usr/bin/cat\n"));
    EXPECT_TRUE(service_was_asked("tresk_ppro_add_zdk ('/usr/bin/cat', 1, 0, '')"));
    EXPECT_THAT(read_policy(), HasSubstr("path=\"/usr/bin/cat\""));
    EXPECT_EQ(read_state("scene/taskctl"), "/usr/bin/cat\n");
}

TEST_F(PproEditTest, AddPassesOwnerAndSource)
{
    EXPECT_EQ(treskctl({"ppro", "add", "--sm", "--source", "vendor", "--type", "-7", kProgram}).exit_status,
              0);
    EXPECT_TRUE(service_was_asked("tresk_ppro_add_zdk ('/usr/bin/cat', -7, 1, 'vendor')"));
}

TEST_F(PproEditTest, AddTakesManyPaths)
{
    EXPECT_EQ(treskctl({"ppro", "add", "/usr/bin/cat", "/usr/bin/env", "--type", "1", "--json"}).output,
              R"({
  "version": 1,
  "command": "ppro add",
  "results": [
    {
      "result": "protected",
      "path": "/usr/bin/cat"
    },
    {
      "result": "protected",
      "path": "/usr/bin/env"
    }
  ]
}
)");
}

TEST_F(PproEditTest, AddingTwiceIsNoFailure)
{
    add(kProgram);
    EXPECT_EQ(add(kProgram), succeeded("RESULT             PATH\nalready protected  /usr/bin/cat\n"));
}

TEST_F(PproEditTest, UpdateChangesTheType)
{
    add(kProgram);
    EXPECT_EQ(treskctl({"ppro", "update", kProgram, "--type", "5"}),
              succeeded("RESULT   PATH\nupdated  /usr/bin/cat\n"));
    EXPECT_THAT(read_policy(), HasSubstr("<type>5</type>"));
}

TEST_F(PproEditTest, RemoveTakesTheEntryAway)
{
    add(kProgram);
    EXPECT_EQ(treskctl({"ppro", "remove", kProgram}),
              succeeded("RESULT       PATH\nunprotected  /usr/bin/cat\n"));
    EXPECT_THAT(read_policy(), Not(HasSubstr(kProgram)));
    EXPECT_TRUE(service_was_asked("tresk_ppro_remove_zdk ('/usr/bin/cat', 0, '')"));
}

TEST_F(PproEditTest, RemovingWhatWasNeverProtectedIsNoFailure)
{
    EXPECT_EQ(treskctl({"ppro", "remove", kProgram}),
              succeeded("RESULT       PATH\nunprotected  /usr/bin/cat\n"));
}

TEST_F(PproEditTest, ARefusalPointsToTheLogThatHasItsReason)
{
    write_state("status", "0\n");
    EXPECT_EQ(add(kProgram),
              failed("treskctl: ppro add: /usr/bin/cat: the service refused; the framework's log "
                     "has the reason\n"));
    EXPECT_THAT(read_state("framework.log"), HasSubstr("MERON.TRESK.DISABLED"));
}

TEST_F(PproEditTest, ARefusedAddLeavesThePathInTheSceneAndTheNextOneSaysSo)
{
    refuse("tresk_ppro_add_zdk", "MERON.TRESK.CANCEL.AUTH");
    EXPECT_EQ(add(kProgram).exit_status, 1);
    EXPECT_EQ(add(kProgram), succeeded("RESULT            PATH\nalready in scene  /usr/bin/cat\n"));
}

TEST_F(PproEditTest, AServiceThatIsNotThereIsNamedAsTheCause)
{
    EXPECT_EQ(
        treskctl_without_bus({"ppro", "update", kProgram, "--type", "1"}),
        failed("treskctl: ppro update: /usr/bin/cat: no answer, and a status query fails too: the service "
               "could not be reached, or failed for an unknown reason (TRESK_ERROR_SERVICE, -1011)\n"));
}

TEST_F(PproEditTest, AnAnswerOfTheServicesOwnIsToldAsItIs)
{
    EXPECT_EQ(treskctl({"ppro", "update", kProgram, "--type", "1"}),
              failed("treskctl: ppro update: /usr/bin/cat: the service answered -3\n"));
}

TEST_F(PproEditTest, AStatusCodeAsAnswerHasItsMeaning)
{
    write_state("service-faults", "tresk_ppro_update_zdk reply (-1002,)\n");
    EXPECT_EQ(treskctl({"ppro", "update", kProgram, "--type", "1"}),
              failed("treskctl: ppro update: /usr/bin/cat: authorisation cancelled (TRESK_ERROR_CANCELLED, "
                     "-1002)\n"));
}

TEST_F(PproEditTest, WhatTheLibraryPrintsGoesToStandardError)
{
    write_state("scene-faults", "tresk_scene_taskctl_add_by_path -5\n");
    EXPECT_EQ(add(kProgram),
              failed("treskctl: ppro add: /usr/bin/cat: the framework's scene library failed with "
                     "code -5; the service was not asked\n"
                     "treskctl: library: tresk scene ppro add failed ret: -5\n"));
}

TEST_F(PproEditTest, ASceneFailureOfMinusOneIsNotTakenForTheServices)
{
    write_state("scene-faults", "tresk_scene_taskctl_remove_by_path -1\n");
    EXPECT_EQ(
        treskctl({"ppro", "remove", kProgram}),
        failed("treskctl: ppro remove: /usr/bin/cat: the framework's scene library failed with code -1; "
               "the service was not asked\n"
               "treskctl: library: tresk scene ppro remove failed ret: -1\n"));
}

TEST_F(PproEditTest, WhatTheLibraryPrintsNeverReachesAProgramsDocument)
{
    write_state("scene-faults", "tresk_scene_taskctl_add_by_path -5\n");
    const Outcome outcome = treskctl({"ppro", "add", kProgram, "--type", "1", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.output), json::parse(R"({"version": 1, "command": "ppro add", "results": []})"));
    EXPECT_EQ(parsed(outcome.error), json::parse(R"({"version": 1, "command": "ppro add",
        "errors": [{"cause": "scene", "subject": "/usr/bin/cat", "code": -5, "name": null, "message":
            "the framework's scene library failed with code -5; the service was not asked"}],
        "library": ["tresk scene ppro add failed ret: -5"]})"));
}

TEST_F(PproEditTest, EditsGoOnAfterAPathThatFailed)
{
    EXPECT_EQ(treskctl({"ppro", "add", "/no/such/file", kProgram, "--type", "1"}),
              (Outcome{1, "RESULT     PATH\nprotected  /usr/bin/cat\n",
                       "treskctl: ppro add: /no/such/file: failed; there is no such file\n"}));
}

TEST_F(PproEditTest, ControlBytesInAPathAreEscapedForPeople)
{
    const TempDir folder;
    const std::string file = folder / "a\nb";
    write_file(file, "");
    EXPECT_EQ(add(file), succeeded("RESULT     PATH\nprotected  " + folder.path().string() + "/a\\nb\n"));
    EXPECT_THAT(treskctl({"ppro", "list"}).output, HasSubstr("  " + folder.path().string() + "/a\\nb\n"));
}

TEST_F(PproEditTest, ControlBytesInAPathAreWholeForPrograms)
{
    const TempDir folder;
    const std::string file = folder / "a\nb";
    write_file(file, "");
    const json document = parsed(treskctl({"ppro", "add", file, "--type", "1", "--json"}).output);
    EXPECT_EQ(document["results"], (json{{{"result", "protected"}, {"path", file}}}));
}

TEST_F(PproEditTest, APathThatIsNotUtf8IsRefusedWithTheReason)
{
    const TempDir folder;
    const std::string file = folder / "a\xff";
    write_file(file, "");
    EXPECT_EQ(add(file), failed("treskctl: ppro add: " + folder.path().string() +
                                "/a\\xff: an argument was refused: the service takes only UTF-8 "
                                "(TRESK_ERROR_INVALID_ARGUMENT, -1007)\n"));
}

TEST_F(PproEditTest, APathThatIsNotUtf8KeepsItsBytesInAnErrorForPrograms)
{
    const Outcome outcome = treskctl({"ppro", "add", "/\xff", "--type", "1", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    const json error = parsed(outcome.error)["errors"][0];
    EXPECT_EQ(error["subject"], "/\ufffd");
    EXPECT_EQ(error["subject_hex"], "2fff");
}

} // namespace

} // namespace tresk::test
