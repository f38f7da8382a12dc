// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "verify" as its users meet it; what it finds in each file is policy_problems_test.cpp's.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/temp_dir.h"

namespace tresk::test {

namespace {

class VerifyTest : public TreskctlTest {};

const std::string kAdvice =
    "  Correct the files, or remove the entries and add them again; \"list\" shows what is "
    "read of them now.\n";

TEST_F(VerifyTest, FindsNothingWhereNothingIs)
{
    EXPECT_EQ(treskctl({"verify"}), succeeded("PLACE  PROBLEM\n"));
}

TEST_F(VerifyTest, FindsNothingInWhatTheServiceWrites)
{
    ASSERT_EQ(treskctl({"ppro", "add", "--type", "1", kProgram}).exit_status, 0);
    ASSERT_EQ(treskctl({"pblk", "add", "--source", "vendor", kProgram}).exit_status, 0);
    ASSERT_EQ(treskctl({"netctl", "add", "--type", "1", "--name", "cat", kProgram}).exit_status, 0);
    ASSERT_EQ(treskctl({"pkg", "add", "--type", "1", "--path", kProgram, "coreutils"}).exit_status, 0);
    ASSERT_EQ(treskctl({"bwlist", "add", "white", "coreutils"}).exit_status, 0);
    EXPECT_EQ(treskctl({"verify"}), succeeded("PLACE  PROBLEM\n"));
}

TEST_F(VerifyTest, FindsNothingInWhatTheServiceWritesForEachUser)
{
    ASSERT_EQ(treskctl({"netctl", "user-distinct", "on"}).exit_status, 0);
    ASSERT_EQ(treskctl({"netctl", "add", "--type", "1", "--uid", "1000", kProgram}).exit_status, 0);
    ASSERT_EQ(treskctl({"netctl", "add", "--type", "1", "--uid", "4294967295", kProgram}).exit_status, 0);
    EXPECT_EQ(treskctl({"verify", "netctl"}), succeeded("PLACE  PROBLEM\n"));
}

TEST_F(VerifyTest, KnowsTheHashOfTheTimeWhenAllProgramsShareOne)
{
    write_state("func_status", "8 1\n");
    ASSERT_EQ(treskctl({"netctl", "add", "--type", "1", kProgram}).exit_status, 0);
    EXPECT_EQ(treskctl({"verify", "netctl"}), succeeded("PLACE  PROBLEM\n"));
    write_state("func_status", "8 0\n");
    EXPECT_EQ(treskctl({"verify", "netctl"}).exit_status, 9);
}

TEST_F(VerifyTest, TellsPlacesAndFails)
{
    write_policy("<ppro_root>\n  <ppro_node sm_status=\"1\"/>\n</ppro_root>\n");
    write_file("/etc/tresk/ppro/ppro_blacklist", "/usr/bin/a \n");
    EXPECT_EQ(treskctl({"verify"}),
              (Outcome{9,
                       "PLACE                               PROBLEM\n"
                       "/etc/tresk/ppro/ppro.xml:2:3        no entry: its first attribute is not \"path\"\n"
                       "/etc/tresk/ppro/ppro.xml:2:3        no entry: it has no <hash>\n"
                       "/etc/tresk/ppro/ppro.xml:2:3        no entry: it has no <type>\n"
                       "/etc/tresk/ppro/ppro_blacklist:1:1  the blanks at the line's end count\n",
                       "treskctl: verify: 4 problems in 2 files\n" + kAdvice}));
}

TEST_F(VerifyTest, TellsAFileThatIsNoPolicy)
{
    write_policy("<other/>");
    EXPECT_EQ(
        treskctl({"verify", "--no-legend"}),
        (Outcome{9, "/etc/tresk/ppro/ppro.xml:1:1  the file is no policy: its root is not \"ppro_root\"\n",
                 "treskctl: verify: 1 problem in 1 file\n" + kAdvice}));
}

TEST_F(VerifyTest, LooksAtTheNamedObjectsAlone)
{
    write_policy("<other/>");
    EXPECT_EQ(treskctl({"verify", "netctl", "bwlist", "device"}), succeeded("PLACE  PROBLEM\n"));
    EXPECT_EQ(treskctl({"verify", "bwlist", "ppro"}).exit_status, 9);
}

TEST_F(VerifyTest, AnUnknownObjectIsWrongUsage)
{
    const Outcome outcome = treskctl({"verify", "pro"});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_EQ(
        outcome.error.find("treskctl: verify: no file holds the policy of \"pro\"; did you mean \"ppro\"?\n"),
        0)
        << outcome;
}

TEST_F(VerifyTest, LooksBelowAnotherRoot)
{
    const TempDir root;
    write_file(root / "etc/tresk/bwlist/bwlist.xml", "<tresk_root>text</tresk_root>");
    const Outcome outcome = treskctl({"--root", root.path(), "verify", "--no-legend"});
    EXPECT_EQ(outcome.exit_status, 9);
    EXPECT_EQ(outcome.output,
              root.path().string() +
                  "/etc/tresk/bwlist/bwlist.xml:1:1  the text in <tresk_root> is overlooked\n");
}

TEST_F(VerifyTest, IsOneDocumentForPrograms)
{
    write_policy("<ppro_root><b/></ppro_root>");
    const Outcome outcome = treskctl({"verify", "--json"});
    EXPECT_EQ(outcome.exit_status, 9);
    EXPECT_EQ(parsed(outcome.output),
              nlohmann::json::parse(R"({"version": 1, "command": "verify", "problems": [
        {"place": "/etc/tresk/ppro/ppro.xml:1:12", "problem": "the element <b> is overlooked"}]})"));
    EXPECT_EQ(parsed(outcome.error)["errors"][0]["cause"], "policy");
}

TEST_F(VerifyTest, ChangesNothing)
{
    write_policy("");
    ASSERT_EQ(treskctl({"verify"}).exit_status, 0);
    EXPECT_EQ(read_policy(), "");
    EXPECT_FALSE(std::filesystem::exists("/etc/tresk/netctl/netctl.xml"));
    EXPECT_FALSE(std::filesystem::exists("/etc/tresk/db/whlist.db"));
    EXPECT_EQ(read_state("service.log"), "");
}

} // namespace

} // namespace tresk::test
