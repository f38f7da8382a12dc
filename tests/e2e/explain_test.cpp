// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "explain": every policy about a path, a package or a module.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <unistd.h>

#include <filesystem>

namespace tresk::test {

namespace {

using nlohmann::json;

class ExplainTest : public TreskctlTest {
  protected:
    /// The document's rows of that table.
    static json explained(const Words& subjects, const std::string& table)
    {
        Words words = {"explain", "--json"};
        words.insert(words.end(), subjects.begin(), subjects.end());
        const Outcome outcome = treskctl(words);
        EXPECT_EQ(outcome.exit_status, 0) << outcome;
        EXPECT_EQ(outcome.error, "");
        return parsed(outcome.output)[table];
    }

    /// One field of all rows.
    static std::vector<std::string> column(const json& rows, const char* field)
    {
        std::vector<std::string> values;
        for (const json& row : rows) {
            values.push_back(row[field].is_string() ? row[field].get<std::string>() : row[field].dump());
        }
        return values;
    }

    static std::vector<std::string> reasons(const Words& subjects)
    {
        return column(explained(subjects, "refusals"), "reason");
    }

    static std::string ppro_node(const std::string& path, const std::string& more = "")
    {
        return "<ppro_node path=\"" + path + "\"" + more + "><hash>" + kProgramHash +
               "</hash><type>1</type></ppro_node>";
    }
};

using Texts = std::vector<std::string>;

TEST_F(ExplainTest, TellsEveryPolicyOfAPath)
{
    ASSERT_EQ(treskctl({"ppro", "add", "--type", "3", "--source", "vendor", kProgram}).exit_status, 0);
    ASSERT_EQ(treskctl({"netctl", "add", "--type", "1", "--name", "cat", kProgram}).exit_status, 0);
    ASSERT_EQ(treskctl({"pkg", "add", "--type", "1", "--path", kProgram, "coreutils"}).exit_status, 0);
    ASSERT_EQ(treskctl({"pblk", "add", kProgram}).exit_status, 0);
    const json rows = explained({kProgram}, "policies");
    EXPECT_EQ(column(rows, "kind"), (Texts{"ppro", "netctl", "pkg", "pblk"}));
    EXPECT_EQ(column(rows, "settings"), (Texts{"type=3", "type=1 name=cat", "type=1 path=" + kProgram, ""}));
    EXPECT_EQ(column(rows, "owner"), (Texts{"owner=ordinary source=vendor", "", "", "source_type=1"}));
    EXPECT_EQ(column(rows, "switch"), (Texts{"ppro", "netctl", "netctl", "pblk"}));
    EXPECT_EQ(column(rows, "on"), (Texts{"true", "true", "true", "true"}));
    EXPECT_EQ(column(rows, "name"), (Texts{kProgram, kProgram, "coreutils", kProgram}));
    EXPECT_EQ(column(rows, "subject"), Texts(4, kProgram));
    EXPECT_EQ(rows[0]["place"].get<std::string>().find("/etc/tresk/ppro/ppro.xml:"), 0) << rows;
}

TEST_F(ExplainTest, IsTablesForPeople)
{
    write_policy("<ppro_root>\n" + ppro_node(kProgram) + "\n</ppro_root>\n");
    EXPECT_EQ(treskctl({"explain", kProgram}),
              succeeded("KIND  SETTINGS  OWNER           SWITCH  ON   PLACE                         NAME     "
                        "     SUBJECT\n"
                        "ppro  type=1    owner=ordinary  ppro    yes  /etc/tresk/ppro/ppro.xml:2:1  "
                        "/usr/bin/cat  /usr/bin/cat\n"
                        "\n"
                        "KIND  EDIT  REASON                                                    SUBJECT\n"
                        "ppro  add   the entry is there already: /etc/tresk/ppro/ppro.xml:2:1  /usr/bin/cat\n"
                        "\n"
                        "PLACE  PROBLEM  SUBJECT\n"
                        "\n"
                        "WHAT  POLICIES  FILE          SUBJECT\n"
                        "path  1         /usr/bin/cat  /usr/bin/cat\n"));
}

TEST_F(ExplainTest, TellsTheUserWhileUsersAreDistinguished)
{
    ASSERT_EQ(treskctl({"netctl", "user-distinct", "on"}).exit_status, 0);
    ASSERT_EQ(treskctl({"netctl", "add", "--type", "1", "--uid", "1000", kProgram}).exit_status, 0);
    EXPECT_EQ(column(explained({kProgram}, "policies"), "owner"), Texts{"uid=1000"});
}

TEST_F(ExplainTest, TellsEveryPolicyOfAPackage)
{
    ASSERT_EQ(treskctl({"pkg", "add", "--type", "1", "coreutils"}).exit_status, 0);
    ASSERT_EQ(treskctl({"bwlist", "add", "white", "coreutils"}).exit_status, 0);
    ASSERT_EQ(treskctl({"bwlist", "add", "--source", "vendor", "black", "coreutils"}).exit_status, 0);
    const json rows = explained({"coreutils"}, "policies");
    EXPECT_EQ(column(rows, "kind"), (Texts{"pkg", "bwlist", "bwlist"}));
    EXPECT_EQ(column(rows, "owner"), (Texts{"", "source_type=1", "source_type=1 source=vendor"}));
    EXPECT_EQ(column(rows, "switch"), (Texts{"netctl", "framework", "framework"}));
}

TEST_F(ExplainTest, TellsOfSeveralSubjectsInTheirOrder)
{
    ASSERT_EQ(treskctl({"ppro", "add", "--type", "1", kProgram}).exit_status, 0);
    const json rows = explained({"nothing", kProgram}, "subjects");
    EXPECT_EQ(rows, json::parse(R"([
        {"what": "name", "policies": 0, "file": null, "subject": "nothing"},
        {"what": "path", "policies": 1, "file": "/usr/bin/cat", "subject": "/usr/bin/cat"}])"));
}

TEST_F(ExplainTest, NothingToTellIsNoFailure)
{
    EXPECT_EQ(explained({"/usr/bin/env"}, "policies"), json::array());
    EXPECT_EQ(explained({"/usr/bin/env"}, "refusals"), json::array());
}

TEST_F(ExplainTest, MeetsEntriesThroughLinks)
{
    const std::string link = state_file("link");
    ASSERT_EQ(::symlink(kProgram.c_str(), link.c_str()), 0);
    write_policy("<ppro_root>" + ppro_node(kProgram) + ppro_node(link) + "</ppro_root>");
    EXPECT_EQ(column(explained({link}, "policies"), "name"), (Texts{kProgram, link}));
    EXPECT_EQ(column(explained({kProgram}, "policies"), "name"), (Texts{kProgram, link}));
}

TEST_F(ExplainTest, TellsWhatTheBlacklistForbids)
{
    write_file("/etc/tresk/ppro/ppro_blacklist", "/usr/bin/env\n/usr/bin/ca*\n");
    const json rows = explained({kProgram}, "policies");
    EXPECT_EQ(column(rows, "kind"), Texts{"ppro blacklist"});
    EXPECT_EQ(column(rows, "name"), Texts{"/usr/bin/ca*"});
    EXPECT_EQ(column(rows, "place"), Texts{"/etc/tresk/ppro/ppro_blacklist:2:1"});
    EXPECT_EQ(reasons({kProgram}), Texts{"the blacklist forbids it: /etc/tresk/ppro/ppro_blacklist:2:1"});
}

TEST_F(ExplainTest, AFunctionThatIsOffDecides)
{
    ASSERT_EQ(treskctl({"ppro", "add", "--type", "1", kProgram}).exit_status, 0);
    ASSERT_EQ(treskctl({"status", "set", "ppro", "off"}).exit_status, 0);
    const json rows = explained({kProgram}, "policies");
    EXPECT_EQ(column(rows, "switch"), Texts{"ppro"});
    EXPECT_EQ(column(rows, "on"), Texts{"false"});
}

TEST_F(ExplainTest, AFrameworkThatIsOffDecidesAndRefuses)
{
    ASSERT_EQ(treskctl({"pblk", "add", kProgram}).exit_status, 0);
    write_state("status", "0\n");
    const json rows = explained({kProgram}, "policies");
    EXPECT_EQ(column(rows, "switch"), Texts{"framework"});
    EXPECT_EQ(column(rows, "on"), Texts{"false"});
    EXPECT_EQ(reasons({kProgram}).front(), "the framework is switched off");
}

TEST_F(ExplainTest, TheSmSideRefuses)
{
    write_policy("<ppro_root>" + ppro_node(kProgram, " sm_status=\"1\"") + "</ppro_root>");
    EXPECT_EQ(explained({kProgram}, "refusals")[1], json::parse(R"({"kind": "ppro", "edit": "update, remove",
        "reason": "the \"sm\" side owns the entry: not without --owner sm", "subject": "/usr/bin/cat"})"));
}

TEST_F(ExplainTest, AFileThatIsMissingIsRefused)
{
    EXPECT_EQ(explained({"/nobody/has/this"}, "refusals"), json::parse(R"([{"kind": "ppro", "edit": "any",
        "reason": "there is no such file", "subject": "/nobody/has/this"}])"));
}

TEST_F(ExplainTest, TellsWhatIsWrongWithTheEntries)
{
    write_policy("<ppro_root>\n" + ppro_node(kProgram) + "\n" + ppro_node(kProgram) + ppro_node("/other") +
                 "</ppro_root>");
    EXPECT_EQ(explained({kProgram}, "problems"), json::parse(R"([{"place": "/etc/tresk/ppro/ppro.xml:3:1",
        "problem": "a second entry of \"/usr/bin/cat\"", "subject": "/usr/bin/cat"}])"));
}

TEST_F(ExplainTest, ABrokenPolicyIsAFailure)
{
    write_policy("<other/>");
    const Outcome outcome = treskctl({"explain", "--json", kProgram});
    EXPECT_EQ(outcome.exit_status, 9);
    EXPECT_EQ(parsed(outcome.output)["refusals"][0]["reason"],
              "the policy is broken: the file is no policy: its root is not \"ppro_root\"");
    EXPECT_EQ(parsed(outcome.error)["errors"][0]["subject"], "/etc/tresk/ppro/ppro.xml:1:1");
}

TEST_F(ExplainTest, APackageDoesNotCareForBrokenPoliciesOfPrograms)
{
    write_policy("<other/>");
    EXPECT_EQ(explained({"coreutils"}, "policies"), json::array());
}

TEST_F(ExplainTest, TellsModulesOfTheSmSide)
{
    write_state("service-faults", "tresk_xattr_protect_check_kmod_in_sm reply (0,)\n");
    const json rows = explained({"usb_storage"}, "policies");
    EXPECT_EQ(rows, json::parse(R"([{"kind": "kmod", "settings": "", "owner": "owner=sm", "switch": "kmodpro",
        "on": true, "place": null, "name": "usb_storage", "subject": "usb_storage"}])"));
}

TEST_F(ExplainTest, SaysWhenTheServiceDoesNotTellOfModules)
{
    const Outcome outcome = treskctl_without_bus({"explain", "--json", "usb_storage"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(parsed(outcome.output)["problems"].size(), 1) << outcome;
}

TEST_F(ExplainTest, BelowAnotherRootSwitchesAreNotKnown)
{
    const std::string root = state_file("root");
    write_file(root + kPolicy, "<ppro_root>" + ppro_node(kProgram) + "</ppro_root>");
    const json rows = explained({"--root", root, kProgram}, "policies");
    EXPECT_EQ(column(rows, "on"), Texts{"null"});
    EXPECT_EQ(column(rows, "place"), Texts{root + kPolicy + ":1:12"});
}

TEST_F(ExplainTest, ChangesNothing)
{
    ASSERT_EQ(treskctl({"explain", kProgram}).exit_status, 0);
    EXPECT_FALSE(std::filesystem::exists(kPolicy));
    EXPECT_EQ(read_state("service.log"), "");
}

} // namespace

} // namespace tresk::test
