// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "ppro list", "show" and the other questions.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <filesystem>

namespace tresk::test {

namespace {

using nlohmann::json;

class PproQueryTest : public TreskctlTest {};

TEST_F(PproQueryTest, ListOfAMissingPolicyIsEmptyAndMakesThePolicy)
{
    std::filesystem::create_directories("/etc/tresk/ppro");
    std::filesystem::remove(kPolicy);
    EXPECT_EQ(treskctl({"ppro", "list"}), succeeded("TYPE  OWNER  HASH  PATH\n"));
    EXPECT_TRUE(std::filesystem::exists(kPolicy));
}

TEST_F(PproQueryTest, ListShowsOrdinaryEntries)
{
    write_policy(kMixedPolicy);
    EXPECT_EQ(treskctl({"ppro", "list"}), succeeded("TYPE  OWNER     HASH  PATH\n"
                                                    "1     ordinary  a1    /opt/plain\n"
                                                    "3     ordinary  c3    /opt/vendor\n"));
}

TEST_F(PproQueryTest, ListAllShowsBothOwnersInThePolicysOrder)
{
    write_policy(kMixedPolicy);
    EXPECT_EQ(treskctl({"ppro", "list", "--all"}), succeeded("TYPE  OWNER     HASH  PATH\n"
                                                             "1     ordinary  a1    /opt/plain\n"
                                                             "2     sm        b2    /opt/owned\n"
                                                             "3     ordinary  c3    /opt/vendor\n"
                                                             "4     sm        d4    /opt/both\n"));
}

TEST_F(PproQueryTest, ListSmShowsOnlyTheSmSide)
{
    write_policy(kMixedPolicy);
    EXPECT_EQ(treskctl({"ppro", "list", "--sm"}), succeeded("TYPE  OWNER  HASH  PATH\n"
                                                            "2     sm     b2    /opt/owned\n"
                                                            "4     sm     d4    /opt/both\n"));
}

TEST_F(PproQueryTest, ListSourceShowsThatSourceAlone)
{
    write_policy(kMixedPolicy);
    EXPECT_EQ(treskctl({"ppro", "list", "--source", "vendor"}),
              succeeded("TYPE  OWNER     HASH  PATH\n"
                        "3     ordinary  c3    /opt/vendor\n"));
    EXPECT_EQ(treskctl({"ppro", "list", "--source", "vendor", "--all"}),
              succeeded("TYPE  OWNER     HASH  PATH\n"
                        "3     ordinary  c3    /opt/vendor\n"
                        "4     sm        d4    /opt/both\n"));
    EXPECT_EQ(treskctl({"ppro", "list", "--source", "", "--sm"}),
              succeeded("TYPE  OWNER  HASH  PATH\n"
                        "2     sm     b2    /opt/owned\n"));
}

TEST_F(PproQueryTest, ListEscapesWhatCouldMoveTheCursorOrReorderALine)
{
    write_policy("<ppro_root><ppro_node path=\"/opt/a&#9;\u202eb\"><hash>a1</hash><type>1</type></ppro_node>"
                 "</ppro_root>");
    EXPECT_EQ(treskctl({"ppro", "list"}), succeeded("TYPE  OWNER     HASH  PATH\n"
                                                    "1     ordinary  a1    /opt/a\\t\\xe2\\x80\\xaeb\n"));
}

TEST_F(PproQueryTest, ListIsOneDocumentForPrograms)
{
    write_policy(kMixedPolicy);
    const Outcome outcome = treskctl({"ppro", "list", "--sm", "--json"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(parsed(outcome.output), json::parse(R"({"version": 1, "command": "ppro list", "entries": [
        {"type": 2, "owner": "sm", "hash": "b2", "path": "/opt/owned"},
        {"type": 4, "owner": "sm", "hash": "d4", "path": "/opt/both"}]})"));
}

TEST_F(PproQueryTest, ListOfAFileThatIsNoPolicyIsAFailure)
{
    write_policy("<other_root/>");
    EXPECT_EQ(treskctl({"ppro", "list"}),
              failed("treskctl: ppro list: /etc/tresk/ppro/ppro.xml: the file is no "
                     "process protection policy\n"));
}

TEST_F(PproQueryTest, WhatTheParserSaysIsKeptApartFromTheResult)
{
    write_policy("<ppro_root><ppro_node path=\"/opt/a\"><hash>a1</hash><type>1</type></ppro_node>");
    const Outcome outcome = treskctl({"ppro", "list", "--json"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(parsed(outcome.output)["entries"],
              json::parse(R"([{"type": 1, "owner": "ordinary", "hash": "a1", "path": "/opt/a"}])"));
    const json said = parsed(outcome.error);
    EXPECT_EQ(said["errors"], json::array());
    EXPECT_FALSE(said["library"].empty());
}

TEST_F(PproQueryTest, ShowTellsTheEntryOfAPath)
{
    treskctl({"ppro", "add", kProgram, "--type", "6"});
    EXPECT_EQ(treskctl({"ppro", "show", "/usr/bin/../bin/cat"}),
              succeeded("TYPE  OWNER     HASH" + std::string(62, ' ') + "PATH\n6     ordinary  " +
                        kProgramHash + "  /usr/bin/cat\n"));
}

TEST_F(PproQueryTest, ShowOfAnUnprotectedProgramIsAFailure)
{
    write_policy("<ppro_root/>");
    EXPECT_EQ(treskctl({"ppro", "show", kProgram}),
              failed("treskctl: ppro show: /usr/bin/cat: not protected\n"));
}

TEST_F(PproQueryTest, ShowTellsThatAnotherOwnersEntryIsHidden)
{
    treskctl({"ppro", "add", kProgram, "--type", "6", "--sm"});
    EXPECT_EQ(
        treskctl({"ppro", "show", kProgram}),
        failed("treskctl: ppro show: /usr/bin/cat: protected, but by an entry of another owner or source "
               "(see --all)\n"));
    EXPECT_EQ(treskctl({"ppro", "show", kProgram, "--all"}).exit_status, 0);
    EXPECT_EQ(treskctl({"ppro", "show", kProgram, "--sm"}).exit_status, 0);
}

TEST_F(PproQueryTest, HashIsTheOneOfThePathsText)
{
    EXPECT_EQ(treskctl({"ppro", "hash", kProgram, "cat"}),
              succeeded("HASH" + std::string(62, ' ') + "PATH\n" + kProgramHash +
                        "  /usr/bin/cat\n"
                        "77af778b51abd4a3c51c5ddd97204a9c3ae614ebccb75a606c3b6865aed6744e  cat\n"));
}

TEST_F(PproQueryTest, HashTakesAnyBytes)
{
    const std::string hash = "6d04c512e4a0b743cfc86582954959ec7d458f3aa912d0adc2dd1ff458fc039f";
    EXPECT_EQ(treskctl({"ppro", "hash", "/\xff\033"}),
              succeeded("HASH" + std::string(62, ' ') + "PATH\n" + hash + "  /\\xff\\x1b\n"));
    const json row = parsed(treskctl({"ppro", "hash", "/\xff\033", "--json"}).output)["hashes"][0];
    EXPECT_EQ(row["path"], "/\ufffd\033");
    EXPECT_EQ(row["path_hex"], "2fff1b");
}

TEST_F(PproQueryTest, ActionIsWhatFollowsTheEqualsSign)
{
    write_file("/etc/tresk/ppro/ppro.conf", "# comment\naction= kill\n");
    EXPECT_EQ(treskctl({"ppro", "action"}), succeeded("ACTION\n kill\n"));
}

TEST_F(PproQueryTest, ActionWithoutASettingIsNull)
{
    write_file("/etc/tresk/ppro/ppro.conf", "# action=kill\n");
    EXPECT_EQ(treskctl({"ppro", "action"}), succeeded("ACTION\n-\n"));
    EXPECT_EQ(parsed(treskctl({"ppro", "action", "--json"}).output),
              json::parse(R"({"version": 1, "command": "ppro action", "action": [{"action": null}]})"));
}

TEST_F(PproQueryTest, ActionWithoutAFileIsAFailure)
{
    EXPECT_EQ(treskctl({"ppro", "action"}),
              failed("treskctl: ppro action: /etc/tresk/ppro/ppro.conf: the setting could not be read\n"));
}

TEST_F(PproQueryTest, BlacklistTellsForEachPath)
{
    write_file("/etc/tresk/ppro/ppro_blacklist", "/usr/bin/ab*\n/sbin/init\n");
    EXPECT_EQ(treskctl({"ppro", "blacklist", "/opt/usr/bin/abc", "/sbin/init2"}),
              succeeded("BLACKLISTED  PATH\nyes          /opt/usr/bin/abc\nno           /sbin/init2\n"));
}

TEST_F(PproQueryTest, BlacklistWithoutAFileIsAFailureWithTheLibrarysLine)
{
    EXPECT_EQ(treskctl({"ppro", "blacklist", kProgram}),
              failed("treskctl: ppro blacklist: /etc/tresk/ppro/ppro_blacklist: the list could not be read\n"
                     "treskctl: library: /etc/tresk/ppro/ppro_blacklist: No such file or directory\n"));
}

TEST_F(PproQueryTest, PidIsTheServicesAnswer)
{
    write_state("service-faults", "tresk_get_pid_by_path reply (4711,)\n");
    EXPECT_EQ(treskctl({"ppro", "pid", "cat"}), succeeded("PID   PATH\n4711  cat\n"));
    EXPECT_TRUE(service_was_asked("tresk_get_pid_by_path ('cat',)"));
}

TEST_F(PproQueryTest, PidOfAProgramThatDoesNotRunIsAFailure)
{
    EXPECT_EQ(treskctl({"ppro", "pid", "/no/such/program"}),
              failed("treskctl: ppro pid: /no/such/program: not running, or the service refused to tell\n"));
}

} // namespace

} // namespace tresk::test
