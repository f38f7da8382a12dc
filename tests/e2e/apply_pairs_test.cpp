// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Any policy after any other: 500 random pairs A and B, each applied by the program to the stand-in service,
// where the pair before left it. After each the machine is exactly what the document says, and says so when
// it is asked to become that again.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/effort.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <algorithm>
#include <map>
#include <random>

namespace tresk::test {

namespace {

using nlohmann::json;

constexpr unsigned kRounds = rounds(8U, 2U);
constexpr unsigned kPairsOfARound = 25;

/// Names as somebody made them who wants to see them break: all of them XML can hold.
const std::vector<std::string> kHostileNames = {
    "plain",      "with blank", " blanks around ",
    "\"quoted\"", "'single'",   "back\\slash",
    "tab\there",  "line\nfeed", "return\rhere",
    "<tag>&amp;", "]]>",        "%s%n",
    "-dash",      "--json",     "$(id)`id`",
    "null",       "~",          "# comment",
    "key: value", "{\"a\":1}",  "é",
    "e\u0301",    "漢字",       "\U0001F600",
    "\u202Ertl",  "\u2028line", "del\x7f",
    "c1\u0085",   "\uFEFFbom",  "ends with \\",
};

class PolicyPairTest : public TreskctlTest, public ::testing::WithParamInterface<unsigned> {
  protected:
    void SetUp() override
    {
        TreskctlTest::SetUp();
        for (const std::string& name : kHostileNames) {
            write_file(programs_ / name, "");
        }
    }

    /// Applies it in one of both forms, and asks for it again.
    void become(const json& wanted, bool as_yaml)
    {
        // JSON is YAML: the file's name decides which reader has it.
        const std::string file = documents_ / (as_yaml ? "wanted.yaml" : "wanted.json");
        write_file(file, json{{"version", 1}, {"policy", wanted}}.dump(-1, ' ',
                                                                       as_yaml ? false : random_() % 2 == 0));
        const Outcome first = treskctl({"apply", "--allow-removals", "--json=short", file});
        ASSERT_EQ(first.exit_status, 0) << first << wanted;

        const json policy = parsed(treskctl({"export", "--json=short"}).output)["policy"];
        for (const auto& [kind, entries] : wanted.items()) {
            ASSERT_EQ(policy.at(kind), sorted(entries)) << kind;
        }
        const std::string log = read_state("service.log");
        const Outcome second = treskctl({"apply", "--json=short", file});
        ASSERT_EQ(parsed(second.output)["changed"], false) << second;
        ASSERT_EQ(read_state("service.log"), log);
    }

    json random_policy()
    {
        json policy = {{"ppro", json::array()},
                       {"netctl", json::array()},
                       {"pkg", json::array()},
                       {"pblk", json::array()},
                       {"bwlist", json::array()}};
        for (const std::string& name : some_names()) {
            policy["ppro"].push_back(with({{"path", (programs_ / name).string()}, {"type", number(3)}},
                                          "owner", std::vector<std::string>{"sm"}));
        }
        for (const std::string& name : some_names()) {
            policy["pblk"].push_back(with({{"path", (programs_ / name).string()}}, "source", kHostileNames));
        }
        for (const std::string& name : some_names()) {
            json entry = with({{"path", "/opt/" + name}, {"type", 1 + number(2)}}, "name", kHostileNames);
            policy["netctl"].push_back(with(with(entry, "desktop", kHostileNames), "ico", kHostileNames));
        }
        for (const std::string& name : some_names()) {
            json entry = with({{"package", name}, {"type", 1 + number(2)}}, "ico", kHostileNames);
            if (number(2) == 0) {
                entry["path"] = "/opt/" + name;
            }
            policy["pkg"].push_back(with(entry, "server_type", std::vector<int>{1, 2, -1}));
        }
        for (const std::string& name : some_names()) {
            policy["bwlist"].push_back(with({{"list", number(2) == 0 ? "white" : "black"}, {"package", name}},
                                            "source_type", std::vector<int>{2, 3}));
        }
        return policy;
    }

    std::mt19937 random_{GetParam()};

  private:
    int number(unsigned limit) { return static_cast<int>(random_() % limit); }

    std::vector<std::string> some_names()
    {
        std::vector<std::string> names;
        std::ranges::sample(kHostileNames, std::back_inserter(names), number(5), random_);
        std::ranges::shuffle(names, random_);
        return names;
    }

    /// With the field in half of all cases; without it, it has its standard.
    template <class Choice>
    json with(json entry, const char* field, const std::vector<Choice>& choices)
    {
        if (number(2) == 0) {
            entry[field] = choices[random_() % choices.size()];
        }
        return entry;
    }

    /// In the order in which documents are written: by path, package, or list and package.
    static json sorted(json entries)
    {
        const auto name = [](const json& entry) {
            return entry.value("list", "") + '\0' + entry.value("package", entry.value("path", ""));
        };
        std::sort(entries.begin(), entries.end(),
                  [&](const json& a, const json& b) { return name(a) < name(b); });
        return entries;
    }

    TempDir programs_;
    TempDir documents_;
};

} // namespace

TEST_P(PolicyPairTest, TheMachineEndsExactlyInTheSecond)
{
    for (unsigned pair = 0; pair < kPairsOfARound; ++pair) {
        SCOPED_TRACE("pair " + std::to_string(pair));
        ASSERT_NO_FATAL_FAILURE(become(random_policy(), pair % 2 == 0));
        ASSERT_NO_FATAL_FAILURE(become(random_policy(), pair % 3 == 0));
    }
}

INSTANTIATE_TEST_SUITE_P(Rounds, PolicyPairTest, ::testing::Range(0U, kRounds));

} // namespace tresk::test
