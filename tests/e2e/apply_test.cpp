// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Whole policies on a machine: "export", "diff" and "apply" with the stand-in service, and what is left when
// one of the steps fails.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/child_process.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <set>
#include <thread>

namespace tresk::test {

namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class WholePolicyTest : public TreskctlTest {
  protected:
    /// A file whose path the kinds that resolve paths can hold.
    std::string program(const std::string& name)
    {
        write_file(programs_ / name, "");
        return programs_ / name;
    }

    /// The path of a document with this policy.
    std::string document(const json& policy, const std::string& name = "wanted.json")
    {
        write_file(documents_ / name, json{{"version", 1}, {"policy", policy}}.dump());
        return documents_ / name;
    }

    [[nodiscard]] std::string documents() const { return documents_.path(); }

    std::string document_text(const std::string& name, const std::string& text)
    {
        write_file(documents_ / name, text);
        return documents_ / name;
    }

    void apply_well(const json& policy)
    {
        const Outcome outcome = treskctl({"apply", "--allow-removals", document(policy, "start.json")});
        ASSERT_EQ(outcome.exit_status, 0) << outcome;
    }

    /// What the machine has.
    static json policy()
    {
        const Outcome outcome = treskctl({"export"});
        EXPECT_EQ(outcome.exit_status, 0) << outcome;
        return parsed(outcome.output)["policy"];
    }

    /// The same of some kinds.
    static json policy_of(const json& like)
    {
        const json all = policy();
        json some = json::object();
        for (const auto& [kind, entries] : like.items()) {
            some[kind] = all.at(kind);
        }
        return some;
    }

    /// "OPERATION KIND RESULT" of each step of a run with --json.
    static std::vector<std::string> steps(const Outcome& outcome)
    {
        std::vector<std::string> lines;
        const json document = parsed(outcome.output);
        for (const json& step : document.at("steps")) {
            lines.push_back(step["operation"].get<std::string>() + " " + step["kind"].get<std::string>() +
                            " " + step["result"].get<std::string>());
        }
        return lines;
    }

    /// Runs a command of the shell in which $T is treskctl.
    static Outcome shell(const std::string& command)
    {
        return run_program({{"/bin/sh", "-c", command}, {{"T", TRESKCTL_PROGRAM}}, {}});
    }

  private:
    TempDir programs_;
    TempDir documents_;
};

json sorted_entries(json policy)
{
    for (auto& [kind, entries] : policy.items()) {
        std::sort(entries.begin(), entries.end());
    }
    return policy;
}

} // namespace

// --- export ---

TEST_F(WholePolicyTest, ExportWritesEveryEntryAndWhatDiffersFromTheStandard)
{
    const std::string path = program("a b");
    const json wanted = {
        {"ppro", {{{"path", path}, {"type", 1}}}},
        {"netctl", {{{"path", "/opt/n"}, {"type", 2}, {"name", "\"N\" é"}, {"server_type", 4}}}},
        {"pkg", {{{"package", "vim"}, {"type", 1}, {"path", "/usr/bin/vim"}}}},
        {"pblk", {{{"path", path}, {"source_type", 2}, {"source", "s"}}}},
        {"bwlist", {{{"list", "white"}, {"package", "coreutils"}}}},
    };
    apply_well(wanted);

    EXPECT_EQ(policy_of(wanted), wanted);
}

TEST_F(WholePolicyTest, ExportIsOneDocumentInEachForm)
{
    apply_well({{"pkg", {{{"package", "vim"}, {"type", 1}}}}});

    EXPECT_THAT(treskctl({"export"}).output,
                StartsWith("{\n  \"version\": 1,\n  \"policy\": {\n    \"ppro\": []"));
    EXPECT_THAT(treskctl({"export", "--json=short"}).output,
                StartsWith(R"({"version":1,"policy":{"ppro":[],)"));
    EXPECT_THAT(treskctl({"export", "--yaml"}).output,
                StartsWith("version: 1\npolicy:\n  ppro: []\n  netctl: []\n  pkg:\n    - package: \"vim\"\n"
                           "      type: 1\n"));
}

TEST_F(WholePolicyTest, ExportReadsBelowAnotherRoot)
{
    const TempDir root;
    write_file(root / "etc/tresk/ppro/ppro.xml", kMixedPolicy);

    const Outcome outcome = treskctl({"--root", root.path(), "export"});

    EXPECT_EQ(parsed(outcome.output)["policy"]["ppro"].size(), 4U);
    EXPECT_EQ(outcome.exit_status, 0);
}

TEST_F(WholePolicyTest, ExportWritesNothingWhereAPolicyCannotBeRead)
{
    write_policy("this is no policy");

    const Outcome outcome = treskctl({"export"});

    EXPECT_EQ(outcome.exit_status, 9);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.error, HasSubstr(kPolicy));
}

TEST_F(WholePolicyTest, ExportHasNoColumnsAndOneForm)
{
    EXPECT_EQ(treskctl({"export", "-o", "path"}).exit_status, 2);
    EXPECT_EQ(treskctl({"export", "-g", "path"}).exit_status, 2);
    EXPECT_EQ(treskctl({"export", "--yaml", "--json"}).exit_status, 2);
}

TEST_F(WholePolicyTest, AppliedExportsChangeNothing)
{
    const std::string path = program("p\xC2\x85\xE2\x80\xA8 \"'\\");
    apply_well({{"ppro", {{{"path", path}, {"type", 1}, {"owner", "sm"}, {"source", "s"}}}},
                {"netctl", {{{"path", "/opt/\t\n"}, {"type", 1}, {"desktop", " x "}}}}});
    const std::string log = read_state("service.log");

    for (const char* form : {"", "--json=short", "--yaml"}) {
        const Outcome outcome = shell(std::string("\"$T\" export ") + form + " | \"$T\" apply -");
        EXPECT_EQ(outcome.exit_status, 0) << outcome;
        EXPECT_THAT(outcome.output, HasSubstr("changed: no\n"));
    }
    EXPECT_EQ(read_state("service.log"), log);
}

TEST_F(WholePolicyTest, EntriesThatNoCallWouldAddStayAsTheyAreExported)
{
    write_policy(kMixedPolicy); // of programs that are not there
    write_file("/etc/tresk/netctl/netctl.xml", "<tresk_root user_dist=\"1\"><tresk_user userID=\"7\">"
                                               "<tresk_node path=\"relative\"><type>1</type><hash/><name>" +
                                                   std::string(300, 'n') +
                                                   "</name></tresk_node></tresk_user></tresk_root>");

    const Outcome outcome = shell("\"$T\" export | \"$T\" apply -");

    EXPECT_EQ(outcome.exit_status, 0) << outcome;
    EXPECT_THAT(outcome.output, HasSubstr("changed: no\n"));
}

// --- diff ---

TEST_F(WholePolicyTest, DiffSaysHowTheMachineDiffersFromADocument)
{
    apply_well({{"pkg", {{{"package", "here"}, {"type", 1}}, {{"package", "both"}, {"type", 1}}}},
                {"bwlist", {{{"list", "white"}, {"package", "not named"}}}}});
    const std::string wanted = document(
        {{"pkg", {{{"package", "there"}, {"type", 1}}, {{"package", "both"}, {"type", 2}, {"ico", "i"}}}}});

    EXPECT_EQ(treskctl({"diff", wanted}), (Outcome{1,
                                                   "CHANGE   KIND  NAME   FIELD  FROM  TO\n"
                                                   "removed  pkg   there  -      -     -\n"
                                                   "removed  pkg   there  type   1     -\n"
                                                   "changed  pkg   both   type   2     1\n"
                                                   "changed  pkg   both   ico    i     \"\"\n"
                                                   "added    pkg   here   -      -     -\n"
                                                   "added    pkg   here   type   -     1\n",
                                                   ""}));
    EXPECT_THAT(treskctl({"diff", "machine", wanted}).output, HasSubstr("added    pkg   there"));
}

TEST_F(WholePolicyTest, DiffIsEqualToWhatWasExported)
{
    apply_well({{"pkg", {{{"package", "a"}, {"type", 1}}}}});

    const Outcome outcome = shell("\"$T\" export --yaml | \"$T\" diff --no-legend -");

    EXPECT_EQ(outcome, succeeded(""));
}

TEST_F(WholePolicyTest, DiffComparesTwoDocumentsWithoutTheMachine)
{
    const std::string one = document({{"pkg", {{{"package", "a"}, {"type", 1}}}}}, "1.json");
    const std::string other =
        document({{"pkg", {{{"package", "a"}, {"type", 2}}}}, {"pblk", json::array()}}, "2.json");

    const Outcome outcome = treskctl_without_bus({"--json", "diff", one, other});

    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.output)["differences"],
              json::parse(
                  R"([{"change": "changed", "kind": "pkg", "name": "a", "field": "type", "from": 1, "to": 2},
                  {"change": "added", "kind": "pblk", "name": null, "field": null, "from": null, "to": null}])"));
    EXPECT_EQ(treskctl({"diff", one, one}).exit_status, 0);
}

TEST_F(WholePolicyTest, DiffRefusesWhatCannotDiffer)
{
    EXPECT_EQ(treskctl({"diff", "machine"}).exit_status, 2);
    EXPECT_EQ(treskctl({"diff", "-", "-"}).exit_status, 2);
}

// --- documents ---

TEST_F(WholePolicyTest, AMissingDocumentIsNotFound)
{
    EXPECT_EQ(treskctl({"apply", "/not/there"}).exit_status, 3);
}

TEST_F(WholePolicyTest, AWrongDocumentIsToldWithItsLineAndChangesNothing)
{
    const std::string file =
        document_text("a.yaml", "version: 1\npolicy:\n  bwlst: []\n  pkg: [{package: a, type: 1}]\n");

    EXPECT_EQ(
        treskctl({"apply", file}),
        (Outcome{9, "",
                 "treskctl: apply: " + file +
                     ":3: there is no kind of entries \"bwlst\"; did you mean \"bwlist\"?\n"
                     "  Nothing was done. The manual has the form of documents; \"export\" writes one.\n"}));
    EXPECT_EQ(read_state("service.log"), "");
}

TEST_F(WholePolicyTest, DropInsAreMergedInTheOrderOfTheirNames)
{
    document({{"pkg", {{{"package", "b"}, {"type", 1}}, {{"package", "a"}, {"type", 1}}}}}, "20.json");
    document_text("10.yaml", "version: 1\npolicy: {pkg: [{package: b, type: 1}, {package: c, type: 1}]}\n");
    document_text(".hidden.json", "of an editor");
    document_text("readme.txt", "no document");

    const Outcome outcome = treskctl({"-n", "-g", "name", "apply", documents()});

    EXPECT_EQ(outcome, succeeded("b\nc\na\n"));
}

TEST_F(WholePolicyTest, AContradictionOfDropInsNamesBothPlaces)
{
    const std::string one = document({{"pkg", {{{"package", "a"}, {"type", 1}}}}}, "1.json");
    const std::string other =
        document_text("2.yml", "version: 1\npolicy:\n  pkg:\n    - {package: a, type: 2}\n");

    const Outcome outcome = treskctl({"apply", documents()});

    EXPECT_EQ(outcome.exit_status, 4);
    EXPECT_THAT(outcome.error, StartsWith("treskctl: apply: " + other +
                                          ":4: pkg a: type is 2 here and 1 in " + one + ":1\n"));
}

TEST_F(WholePolicyTest, ADirectoryWithoutDocumentsIsAFailure)
{
    EXPECT_EQ(treskctl({"apply", documents()}).exit_status, 3);
}

// --- apply ---

TEST_F(WholePolicyTest, ApplyShowsThePlanThenWhatCameOfIt)
{
    EXPECT_EQ(treskctl({"apply", document({{"pkg", {{{"package", "a"}, {"type", 1}}}}})}),
              succeeded("STEP  OPERATION  KIND  NAME\n"
                        "1     add        pkg   a\n"
                        "\n"
                        "STEP  OPERATION  KIND  NAME  RESULT\n"
                        "1     add        pkg   a     done\n"
                        "changed: yes\n"));
}

TEST_F(WholePolicyTest, ADryRunShowsTheCallsAndMakesNone)
{
    const std::string wanted = document({{"bwlist", {{{"list", "white"}, {"package", "a\"b"}}}}});

    EXPECT_EQ(treskctl({"apply", "-n", wanted}),
              succeeded("STEP  OPERATION  KIND    NAME       CALL\n"
                        "1     add        bwlist  white a\"b  "
                        "tresk_bwlist_add_zdk(\"white\", \"a\\\\\"b\", 1, \"\")\n"
                        "would change: yes\n"));
    EXPECT_EQ(read_state("service.log"), "");
}

TEST_F(WholePolicyTest, TheSecondTimeChangesNothingAndAsksNobody)
{
    const std::string wanted = document({{"pkg", {{{"package", "a"}, {"type", 1}}}},
                                         {"ppro", {{{"path", program("x")}, {"type", 1}, {"owner", "sm"}}}}});
    ASSERT_EQ(treskctl({"apply", wanted}).exit_status, 0);
    const std::string log = read_state("service.log");

    EXPECT_EQ(treskctl({"apply", wanted}), succeeded("STEP  OPERATION  KIND  NAME  RESULT\nchanged: no\n"));
    EXPECT_EQ(parsed(treskctl({"--json", "apply", wanted}).output)["changed"], false);
    EXPECT_EQ(treskctl({"--strict", "apply", wanted}).exit_status, 4);
    EXPECT_EQ(treskctl({"diff", wanted}).exit_status, 0);
    EXPECT_EQ(read_state("service.log"), log);
}

TEST_F(WholePolicyTest, OnlyWhatDiffersIsChangedInTheStatedOrder)
{
    const std::string a = program("a");
    const std::string b = program("b");
    apply_well({{"ppro", {{{"path", a}, {"type", 1}}, {{"path", b}, {"type", 1}}}},
                {"pkg",
                 {{{"package", "same"}, {"type", 1}},
                  {{"package", "old"}, {"type", 1}},
                  {{"package", "other"}, {"type", 1}}}}});

    const Outcome outcome = treskctl(
        {"--json", "apply",
         document({{"ppro", {{{"path", a}, {"type", 2}}, {{"path", b}, {"type", 1}, {"owner", "sm"}}}},
                   {"pkg",
                    {{{"package", "new"}, {"type", 1}},
                     {{"package", "other"}, {"type", 2}},
                     {{"package", "same"}, {"type", 1}}}}})});

    EXPECT_THAT(steps(outcome), ElementsAre("remove ppro done", "update ppro done", "add ppro done",
                                            "remove pkg done", "update pkg done", "add pkg done"));
    EXPECT_EQ(outcome.exit_status, 0);
}

TEST_F(WholePolicyTest, APackageThatLosesItsProgramIsReplaced)
{
    apply_well({{"pkg", {{{"package", "a"}, {"type", 1}, {"path", "/a"}}}}});

    const Outcome outcome =
        treskctl({"--json", "apply", document({{"pkg", {{{"package", "a"}, {"type", 2}}}}})});

    EXPECT_THAT(steps(outcome), ElementsAre("remove pkg done", "add pkg done"));
    EXPECT_EQ(policy()["pkg"], json({{{"package", "a"}, {"type", 2}}}));
}

TEST_F(WholePolicyTest, KeepOnlyAddsAndChanges)
{
    apply_well({{"pkg", {{{"package", "a"}, {"type", 1}}, {{"package", "b"}, {"type", 1}}}}});

    const Outcome outcome =
        treskctl({"--json", "apply", "--keep", document({{"pkg", {{{"package", "a"}, {"type", 2}}}}})});

    EXPECT_THAT(steps(outcome), ElementsAre("update pkg done"));
    EXPECT_EQ(policy()["pkg"].size(), 2U);
}

TEST_F(WholePolicyTest, MoreThanHalfIsOnlyRemovedWhenAllowed)
{
    apply_well({{"pkg", {{{"package", "a"}, {"type", 1}}, {{"package", "b"}, {"type", 1}}}}});
    const std::string none = document({{"pkg", json::array()}});
    const std::string log = read_state("service.log");

    const Outcome refused = treskctl({"apply", none});
    EXPECT_EQ(refused.exit_status, 5);
    EXPECT_EQ(refused.error,
              "treskctl: apply: this would remove 2 of 2 entries, more than half\n"
              "  Nothing was done. --allow-removals if this is meant; --keep removes nothing.\n");
    EXPECT_EQ(treskctl({"apply", "-n", none}).exit_status, 5);
    EXPECT_EQ(treskctl({"apply", "--keep", none}),
              succeeded("STEP  OPERATION  KIND  NAME  RESULT\nchanged: no\n"));
    EXPECT_EQ(read_state("service.log"), log);

    EXPECT_EQ(treskctl({"apply", "--allow-removals", none}).exit_status, 0);
    EXPECT_EQ(policy()["pkg"].size(), 0U);
}

TEST_F(WholePolicyTest, WhatCannotBeSentIsRefusedBeforeAnyCall)
{
    const std::string wanted =
        document({{"pkg", {{{"package", "good"}, {"type", 1}}, {{"package", "\x01"}, {"type", 1}}}},
                  {"ppro", {{{"path", "/not/there"}, {"type", 1}}}}});

    const Outcome outcome = treskctl({"apply", wanted});

    EXPECT_EQ(outcome.exit_status, 3); // of the first in the order of changes
    EXPECT_THAT(outcome.error, HasSubstr("pkg: package has a character that no policy file can hold"));
    EXPECT_THAT(outcome.error, HasSubstr("ppro /not/there: there is no such file"));
    EXPECT_EQ(read_state("service.log"), "");
}

TEST_F(WholePolicyTest, ApplyIsForThisMachineAlone)
{
    EXPECT_EQ(treskctl({"--root", "/tmp", "apply", document(json::object())}).exit_status, 2);
}

TEST_F(WholePolicyTest, PoliciesPerUserHaveUsers)
{
    ASSERT_EQ(treskctl({"netctl", "user-distinct", "on"}).exit_status, 0);
    const json wanted = {
        {"netctl", {{{"path", "/a"}, {"uid", 0}, {"type", 1}}, {{"path", "/a"}, {"uid", 7}, {"type", 2}}}},
        {"pkg", {{{"package", "p"}, {"uid", 7}, {"type", 1}}}}};
    apply_well(wanted);

    EXPECT_EQ(policy_of(wanted), wanted);
    EXPECT_EQ(treskctl({"diff", document(wanted)}).exit_status, 0);
}

TEST_F(WholePolicyTest, ADisabledFrameworkChangesNothing)
{
    write_state("status", "0");

    const Outcome outcome =
        treskctl({"--json", "apply", document({{"pkg", {{{"package", "a"}, {"type", 1}}}}})});

    EXPECT_EQ(outcome.exit_status, 7);
    EXPECT_THAT(steps(outcome), ElementsAre("add pkg failed"));
}

TEST_F(WholePolicyTest, AMissingBusChangesNothing)
{
    const Outcome outcome =
        treskctl_without_bus({"--json", "apply", document({{"pkg", {{{"package", "a"}, {"type", 1}}}}})});

    EXPECT_EQ(outcome.exit_status, 8);
    EXPECT_THAT(steps(outcome), ElementsAre("add pkg failed"));
}

// --- steps that fail ---

namespace {

/// A step of the plan below: its method, the one that undoes it, and what is its entry.
struct PlannedStep {
    const char* method;
    const char* undone_by;
    const char* kind;
    const char* operation;
};

constexpr PlannedStep kPlan[] = {
    {"tresk_ppro_remove_zdk", "tresk_ppro_add_zdk", "ppro", "remove"},
    {"tresk_ppro_update_zdk", "tresk_ppro_update_zdk", "ppro", "update"},
    {"tresk_ppro_add_zdk", "tresk_ppro_remove_zdk", "ppro", "add"},
    {"tresk_netctl_remove", "tresk_netctl_add", "netctl", "remove"},
    {"tresk_netctl_ext_update", "tresk_netctl_ext_update", "netctl", "update"},
    {"tresk_netctl_add", "tresk_netctl_remove", "netctl", "add"},
    {"tresk_netctl_pkg_remove", "tresk_netctl_pkg_add", "pkg", "remove"},
    {"tresk_netctl_pkg_update", "tresk_netctl_pkg_update", "pkg", "update"},
    {"tresk_netctl_pkg_add", "tresk_netctl_pkg_remove", "pkg", "add"},
    {"tresk_pblk_remove_zdk", "tresk_pblk_add_zdk", "pblk", "remove"},
    {"tresk_pblk_add_zdk", "tresk_pblk_remove_zdk", "pblk", "add"},
    {"tresk_bwlist_del_zdk", "tresk_bwlist_add_zdk", "bwlist", "remove"},
    {"tresk_bwlist_add_zdk", "tresk_bwlist_del_zdk", "bwlist", "add"},
};

class FailingStepTest : public WholePolicyTest, public ::testing::WithParamInterface<std::size_t> {
  protected:
    void SetUp() override
    {
        WholePolicyTest::SetUp();
        for (const char* name : {"old", "both", "new", "keep"}) {
            (void)program(name);
        }
        before_ = state("old", 1);
        wanted_ = state("new", 2);
        apply_well(before_);
        ASSERT_EQ(sorted_entries(policy_of(before_)), sorted_entries(before_));
    }

    /// The policy after the first steps of the plan, in its kinds' form.
    [[nodiscard]] json after(const std::set<std::size_t>& standing) const
    {
        json policy = before_;
        for (const std::size_t step : standing) {
            play(policy, kPlan[step]);
        }
        return sorted_entries(policy);
    }

    json before_;
    json wanted_;

  private:
    /// Entries that stay, one that is changed, and one that is there under this name alone.
    json state(const std::string& name, int type)
    {
        const auto both = [&](const char* key, const std::string& folder) {
            return json{{{key, folder + "keep"}, {"type", 1}},
                        {{key, folder + "both"}, {"type", type}},
                        {{key, folder + name}, {"type", 1}}};
        };
        const std::string folder = program("keep").substr(0, program("keep").size() - 4);
        return {
            {"ppro", both("path", folder)},
            {"netctl", both("path", "/")},
            {"pkg", both("package", "")},
            {"pblk", {{{"path", folder + "keep"}}, {{"path", folder + name}}}},
            {"bwlist", {{{"list", "white"}, {"package", "keep"}}, {{"list", "white"}, {"package", name}}}}};
    }

    static json& entry_of(json& entries, const std::string& name)
    {
        return *std::find_if(entries.begin(), entries.end(), [&](const json& entry) {
            const std::string key = entry.contains("path") ? entry["path"] : entry["package"];
            return key == name || key.ends_with("/" + name);
        });
    }

    void play(json& policy, const PlannedStep& step) const
    {
        json& entries = policy[step.kind];
        const std::string operation = step.operation;
        if (operation == "update") {
            entry_of(entries, "both")["type"] = 2;
        } else if (operation == "remove") {
            entries.erase(std::find(entries.begin(), entries.end(), entry_of(entries, "old")));
        } else {
            json wanted = wanted_[step.kind];
            entries.push_back(entry_of(wanted, "new"));
        }
    }
};

} // namespace

TEST_P(FailingStepTest, WhatWasDoneIsUndoneAndWhatStandsIsTold)
{
    const std::size_t failing = GetParam();
    const std::string method = kPlan[failing].method;
    std::set<std::size_t> standing;
    std::vector<std::string> expected;
    for (std::size_t step = 0; step < std::size(kPlan); ++step) {
        const bool stands = step < failing && kPlan[step].undone_by == method;
        if (stands) {
            standing.insert(step);
        }
        const std::string result = step > failing    ? "not reached"
                                   : step == failing ? "failed"
                                   : stands          ? "done"
                                                     : "undone";
        expected.push_back(std::string(kPlan[step].operation) + " " + kPlan[step].kind + " " + result);
    }
    refuse(method, "MERON.TRESK.AUTH.FAILED");

    const Outcome outcome = treskctl({"--json", "apply", document(wanted_)});

    EXPECT_EQ(steps(outcome), expected);
    EXPECT_EQ(outcome.exit_status, standing.empty() ? 5 : 10);
    EXPECT_EQ(parsed(outcome.output).value("changed", false), !standing.empty());
    EXPECT_EQ(parsed(outcome.error)["errors"].size(), 1 + standing.size()) << outcome.error;
    EXPECT_EQ(sorted_entries(policy_of(before_)), after(standing));

    write_state("service-faults", "");
    EXPECT_EQ(treskctl({"apply", document(wanted_)}).exit_status, 0) << "the scene was left half-way";
    EXPECT_EQ(sorted_entries(policy_of(wanted_)), sorted_entries(wanted_));
}

INSTANTIATE_TEST_SUITE_P(EachStep, FailingStepTest, ::testing::Range(std::size_t{0}, std::size(kPlan)));

TEST_F(WholePolicyTest, AStepThatTheSceneRefusesIsUndoneLikewise)
{
    write_state("scene-faults", "tresk_scene_pblkctl_add_by_path -9\n");

    const Outcome outcome = treskctl({"--json", "apply",
                                      document({{"ppro", {{{"path", program("x")}, {"type", 1}}}},
                                                {"pblk", {{{"path", program("x")}}}}})});

    EXPECT_EQ(outcome.exit_status, 12);
    EXPECT_THAT(steps(outcome), ElementsAre("add ppro undone", "add pblk failed"));
    EXPECT_EQ(policy()["ppro"], json::array());
}

TEST_F(WholePolicyTest, AStepOfTwoCallsIsTakenBackWhenTheSecondFails)
{
    refuse("tresk_netctl_pkg_path_update", "MERON.TRESK.AUTH.FAILED");

    const Outcome outcome =
        treskctl({"--json", "apply", document({{"pkg", {{{"package", "a"}, {"type", 1}, {"path", "/a"}}}}})});

    EXPECT_EQ(outcome.exit_status, 5);
    EXPECT_THAT(steps(outcome), ElementsAre("add pkg failed"));
    EXPECT_EQ(policy()["pkg"], json::array());
}

TEST_F(WholePolicyTest, AStepThatChangesNothingThoughItIsAnsweredWithSuccessIsFound)
{
    const std::string path = program("x");
    apply_well({{"ppro", {{{"path", path}, {"type", 1}}}}, {"pkg", {{{"package", "a"}, {"type", 1}}}}});
    write_state("service-faults", "tresk_ppro_remove_zdk reply (0,)\n");

    const Outcome outcome =
        treskctl({"--json", "apply", "--allow-removals",
                  document({{"ppro", json::array()}, {"pkg", {{{"package", "a"}, {"type", 2}}}}})});

    EXPECT_EQ(outcome.exit_status, 12);
    EXPECT_THAT(steps(outcome), ElementsAre("remove ppro without effect", "update pkg undone"));
    EXPECT_EQ(policy()["pkg"], json({{{"package", "a"}, {"type", 1}}}));
}

/// The library does not ask the service to remove what the running scene does not have.
TEST_F(WholePolicyTest, WhatThePolicyAloneHasIsRemovedAllTheSame)
{
    const std::string path = program("x");
    write_policy("<ppro_root><ppro_node path=\"" + path + "\"><hash/><type>1</type></ppro_node></ppro_root>");

    const Outcome outcome =
        treskctl({"--json", "apply", "--allow-removals", document({{"ppro", json::array()}})});

    EXPECT_EQ(outcome.exit_status, 0) << outcome.error;
    EXPECT_THAT(steps(outcome), ElementsAre("remove ppro done"));
    EXPECT_EQ(policy()["ppro"], json::array());
}

// --- the user, the clock and the service end it ---

namespace {

void wait_until(const std::function<bool()>& so)
{
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (!so() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
}

} // namespace

TEST_F(WholePolicyTest, AServiceThatIsGoneIsNotAskedAgainAndWhatStandsIsTold)
{
    write_state("service-faults", "tresk_netctl_pkg_add delay 600000\n");
    const TempDir folder;
    const std::string wanted = document({{"ppro", {{{"path", program("x")}, {"type", 1}}}},
                                         {"netctl", {{{"path", "/n"}, {"type", 1}}}},
                                         {"pkg", {{{"package", "a"}, {"type", 2}}}}});
    ChildProcess apply(Command{{TRESKCTL_PROGRAM, "apply", wanted}, {}, 3, folder / "error"});
    // The last step begins with the scene, and waits for the service then.
    wait_until([] { return !read_state("scene/netctl_pkg").empty(); });

    ASSERT_EQ(::kill(std::stoi(std::getenv("TRESK_STANDIN_SERVICE_PID")), SIGKILL), 0);

    EXPECT_EQ(apply.wait(), (Ending{10, 0}));
    const std::string error = read_file(folder / "error").value_or("");
    EXPECT_THAT(error, StartsWith("treskctl: apply: a: "));
    EXPECT_THAT(error, HasSubstr("treskctl: apply: /n: add stands, it could not be undone: "));
    EXPECT_THAT(error, HasSubstr("treskctl: apply: " + program("x") +
                                 ": add stands, it could not be undone: the service does not answer\n"));
}

TEST_F(WholePolicyTest, ASignalEndsBetweenTheStepsAndUndoesThem)
{
    write_state("service-faults", "tresk_netctl_pkg_add delay 400\n");
    const TempDir folder;
    const std::string wanted = document({{"netctl", {{{"path", "/n"}, {"type", 1}}}},
                                         {"pkg", {{{"package", "a"}, {"type", 1}}}},
                                         {"bwlist", {{{"list", "white"}, {"package", "a"}}}}});
    ChildProcess apply(Command{{TRESKCTL_PROGRAM, "apply", wanted}, {}, 3, folder / "error"});
    wait_until([] { return read_state("service.log").find("tresk_netctl_add") != std::string::npos; });

    apply.signal(SIGINT);

    EXPECT_EQ(apply.wait(), (Ending{6, 0})) << read_file(folder / "error").value_or("");
    EXPECT_EQ(policy()["netctl"], json::array());
    EXPECT_EQ(policy()["pkg"], json::array());
    EXPECT_THAT(read_state("service.log"), Not(HasSubstr("tresk_bwlist")));
}

TEST_F(WholePolicyTest, ATimeoutTellsWhatStands)
{
    write_state("service-faults", "tresk_netctl_pkg_add silent\n");

    const Outcome outcome = treskctl({"--json", "--timeout", "2", "apply",
                                      document({{"netctl", {{{"path", "/n"}, {"type", 1}}}},
                                                {"pkg", {{{"package", "a"}, {"type", 1}}}}})});

    EXPECT_EQ(outcome.exit_status, 10);
    EXPECT_THAT(steps(outcome), ElementsAre("add netctl done", "add pkg no answer"));
    EXPECT_EQ(parsed(outcome.error)["errors"][0]["cause"], "timed_out");
}

} // namespace tresk::test
