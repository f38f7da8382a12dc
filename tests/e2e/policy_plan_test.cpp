// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Plans: which changes lead from what a machine has to what a document wants, and in which order.
#include "tests/support/temp_dir.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace tresk::test {

namespace {

using namespace tresk::ctl;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

Entry ppro(const std::string& path, int type, const std::string& owner = "ordinary")
{
    return {{std::int64_t{type}, owner, "", Value(), path}, {"a.json", 7, 0}, {}};
}

Entry pblk(const std::string& path)
{
    return {{std::int64_t{1}, "", Value(), path}, {"a.json", 8, 0}, {}};
}

Entry netctl(const std::string& path, const Value& uid, const std::string& name = "")
{
    return {{uid, std::int64_t{1}, std::int64_t{0}, name, "", "", Value(), path}, {"a.json", 9, 0}, {}};
}

Machine machine(std::vector<Entry> ppro_entries, std::vector<Entry> pblk_entries = {})
{
    return {{&ppro_kind(), {std::move(ppro_entries), {}}}, {&pblk_kind(), {std::move(pblk_entries), {}}}};
}

Document wanted(std::vector<Entry> ppro_entries)
{
    return {{{&ppro_kind(), std::move(ppro_entries)}}};
}

/// "add /a", "remove /b", ...
std::vector<std::string> told(const Plan& plan)
{
    std::vector<std::string> lines;
    for (const Change& change : plan.changes) {
        const char* const word = change.operation == Operation::Add      ? "add "
                                 : change.operation == Operation::Update ? "update "
                                                                         : "remove ";
        lines.push_back(word + name_of(*change.kind, change.wanted));
    }
    return lines;
}

/// "CHANGE KIND NAME FIELD FROM TO"
std::vector<std::string> told(const std::vector<Difference>& differences)
{
    std::vector<std::string> lines;
    for (const Difference& one : differences) {
        lines.push_back(std::string(one.change) + " " + one.kind->name);
        if (one.entry != nullptr) {
            lines.back() += " " + name_of(*one.kind, *one.entry);
        }
        if (one.field != nullptr) {
            lines.back() += std::string(" ") + one.field->name + " " + shown(one.from) + " " + shown(one.to);
        }
    }
    return lines;
}

std::vector<std::string> messages(const std::vector<Failure>& failures)
{
    std::vector<std::string> lines;
    for (const Failure& failure : failures) {
        lines.push_back(failure.subject.value_or("") + ": " + failure.message);
    }
    return lines;
}

} // namespace

TEST(PolicyPlan, ThereIsNothingToDoWhereAllIsAsWanted)
{
    EXPECT_THAT(plan_of(machine({ppro("/a", 1)}), wanted({ppro("/a", 1)}), Others::Removed).changes,
                IsEmpty());
}

TEST(PolicyPlan, RemovalsComeFirstThenUpdatesThenAdditions)
{
    const Plan plan =
        plan_of(machine({ppro("/old2", 1), ppro("/b", 1), ppro("/old1", 1), ppro("/a", 1)}),
                wanted({ppro("/new2", 1), ppro("/a", 2), ppro("/new1", 1), ppro("/b", 2)}), Others::Removed);

    EXPECT_THAT(told(plan), ElementsAre("remove /old2", "remove /old1", "update /a", "update /b", "add /new2",
                                        "add /new1"));
}

TEST(PolicyPlan, KindsComeInTheirOrder)
{
    Document both = wanted({ppro("/a", 1)});
    both.kinds.push_back({&pblk_kind(), {}});

    EXPECT_THAT(told(plan_of(machine({}, {pblk("/b")}), both, Others::Removed)),
                ElementsAre("add /a", "remove /b"));
}

TEST(PolicyPlan, WhatNoUpdateChangesIsRemovedAndAdded)
{
    const Plan plan = plan_of(machine({ppro("/a", 1, "sm"), ppro("/b", 1)}),
                              wanted({ppro("/a", 1), ppro("/b", 2)}), Others::Removed);

    EXPECT_THAT(told(plan), ElementsAre("remove /a", "update /b", "add /a"));
    EXPECT_EQ(plan.leaving, 0U); // it is there again afterwards
}

TEST(PolicyPlan, WhatIsKeptIsNotRemovedButReplaced)
{
    const Plan plan =
        plan_of(machine({ppro("/a", 1, "sm"), ppro("/b", 1)}), wanted({ppro("/a", 1)}), Others::Kept);

    EXPECT_THAT(told(plan), ElementsAre("remove /a", "add /a"));
}

TEST(PolicyPlan, AKindThatIsNotNamedIsLeftAlone)
{
    EXPECT_THAT(plan_of(machine({}, {pblk("/b")}), wanted({}), Others::Removed).changes, IsEmpty());
}

TEST(PolicyPlan, AnEmptyListRemovesAll)
{
    EXPECT_THAT(told(plan_of(machine({ppro("/a", 1)}), wanted({}), Others::Removed)),
                ElementsAre("remove /a"));
}

TEST(PolicyPlan, OfTwoEntriesWithOneNameTheFirstCounts)
{
    EXPECT_THAT(
        plan_of(machine({ppro("/a", 1), ppro("/a", 2)}), wanted({ppro("/a", 1)}), Others::Removed).changes,
        IsEmpty());
    EXPECT_THAT(told(plan_of(machine({ppro("/a", 1), ppro("/a", 2)}), wanted({}), Others::Removed)),
                ElementsAre("remove /a"));
}

TEST(PolicyPlan, MoreThanHalfIsMuch)
{
    const Machine two = machine({ppro("/a", 1), ppro("/b", 1)});

    EXPECT_FALSE(plan_of(two, wanted({ppro("/a", 1)}), Others::Removed).leaves_little());
    EXPECT_TRUE(plan_of(two, wanted({ppro("/c", 1)}), Others::Removed).leaves_little());
    EXPECT_FALSE(plan_of(two, wanted({}), Others::Kept).leaves_little());
    EXPECT_FALSE(plan_of(machine({}), wanted({}), Others::Removed).leaves_little());
}

// --- obstacles ---

TEST(PolicyPlan, TextsThatCannotBeSentAreObstacles)
{
    const std::string too_long(255, 'n');
    const Machine empty = {{&netctl_kind(), {}}};
    const Document document = {
        {{&netctl_kind(),
          {netctl("/a", {}, "\xFF"), netctl("/b", {}, "\x01"), netctl("/c", {}, "\uFFFE"),
           netctl("/d", {}, too_long), netctl("/e", {}, too_long.substr(1))}}}};

    EXPECT_THAT(messages(obstacles_to(plan_of(empty, document, Others::Removed))),
                ElementsAre("a.json:9: netctl: name is not UTF-8, which alone can be sent to the service",
                            "a.json:9: netctl: name has a character that no policy file can hold",
                            "a.json:9: netctl: name has a character that no policy file can hold",
                            "a.json:9: netctl: name is longer than 254 bytes"));
}

TEST(PolicyPlan, WhatIsThereAlreadyOrIsOnlyRemovedNeedsNoSending)
{
    const std::string too_long(255, 'n');
    const Machine both = {{&netctl_kind(), {{netctl("/a", {}, too_long), netctl("/b", {}, too_long)}, {}}}};
    const Document document = {{{&netctl_kind(), {netctl("/a", {}, too_long)}}}};
    const Plan plan = plan_of(both, document, Others::Removed);

    EXPECT_THAT(told(plan), ElementsAre("remove /b"));
    EXPECT_THAT(obstacles_to(plan), IsEmpty());
}

TEST(PolicyPlan, AFileThatIsNotThereIsAnObstacleToEveryChangeOfItsEntry)
{
    const auto failures =
        obstacles_to(plan_of(machine({ppro("/not/there", 1)}), wanted({}), Others::Removed));

    ASSERT_THAT(
        messages(failures),
        ElementsAre("a.json:7: ppro /not/there: there is no such file, so no call can name the entry"));
    EXPECT_EQ(failures.front().cause, Cause::NotFound);
}

TEST(PolicyPlan, ALinkThatIsAnEntrysPathIsAnObstacle)
{
    const TempDir folder;
    write_file(folder / "file", "");
    std::filesystem::create_symlink(folder / "file", folder / "link");
    const auto failures =
        obstacles_to(plan_of(machine({ppro(folder / "link", 1)}), wanted({}), Others::Removed));

    ASSERT_THAT(messages(failures),
                ElementsAre("a.json:7: ppro " + (folder / "link").string() +
                            ": every call would take it for " + (folder / "file").string()));
    EXPECT_EQ(failures.front().cause, Cause::Refused);
}

// --- fitting ---

TEST(FittedPolicyDocument, PathsAreResolvedUnlessTheMachineHasThemAsTheyAre)
{
    const TempDir folder;
    write_file(folder / "file", "");
    std::filesystem::create_symlink(folder / "file", folder / "link");
    const std::string link = folder / "link";
    const std::string file = folder / "file";
    std::vector<Failure> failures;

    const Document resolved = fitted(wanted({ppro(link, 1)}), machine({}), failures);
    const Document kept = fitted(wanted({ppro(link, 1)}), machine({ppro(link, 2)}), failures);

    EXPECT_THAT(failures, IsEmpty());
    EXPECT_EQ(text_at(ppro_kind(), resolved.kinds.at(0).entries.at(0), "path"), file);
    EXPECT_EQ(text_at(ppro_kind(), kept.kinds.at(0).entries.at(0), "path"), link);
}

TEST(FittedPolicyDocument, EntriesThatAreOneAfterResolvingHaveToBeEqual)
{
    const TempDir folder;
    write_file(folder / "file", "");
    std::filesystem::create_symlink(folder / "file", folder / "link");
    std::vector<Failure> failures;

    const Document equal =
        fitted(wanted({ppro(folder / "link", 1), ppro(folder / "file", 1)}), machine({}), failures);
    EXPECT_THAT(failures, IsEmpty());
    EXPECT_EQ(equal.kinds.at(0).entries.size(), 1U);

    (void)fitted(wanted({ppro(folder / "link", 1), ppro(folder / "file", 2)}), machine({}), failures);
    ASSERT_EQ(failures.size(), 1U);
    EXPECT_EQ(failures.front().cause, Cause::Conflict);
}

TEST(FittedPolicyDocument, ARelativePathIsRefused)
{
    std::vector<Failure> failures;

    (void)fitted(wanted({ppro("bin/cat", 1)}), machine({}), failures);

    EXPECT_THAT(messages(failures), ElementsAre("a.json:7: ppro: the path \"bin/cat\" is not absolute"));
}

TEST(FittedPolicyDocument, WhatItsKindRefusesIsRefusedAtItsPlace)
{
    Entry device{Row(device_kind().fields.size()), {"a.json", 11, 0}, {}};
    for (const char* unset : {"vendor", "product"}) {
        device.values[index_of(device_kind(), unset)] = "";
    }
    device.values[index_of(device_kind(), "type")] = std::int64_t{17};
    std::vector<Failure> failures;

    (void)fitted({{{&device_kind(), {device}}}}, {{&device_kind(), Reading()}}, failures);

    EXPECT_THAT(messages(failures), ElementsAre("a.json:11: device: there are no policies for a type 17"));
}

TEST(FittedPolicyDocument, UsersPlayNoPartWhileTheyAreNotDistinguished)
{
    const Document document = {{{&netctl_kind(), {netctl("/a", std::int64_t{1000})}}}};
    std::vector<Failure> failures;
    Reading together;
    together.per_user = false;

    const Document same = fitted(document, {{&netctl_kind(), together}}, failures);
    const Document apart = fitted(document, {{&netctl_kind(), {}}}, failures);

    EXPECT_EQ(same.kinds.at(0).entries.at(0).values.at(0), Value());
    EXPECT_EQ(apart.kinds.at(0).entries.at(0).values.at(0), Value(std::int64_t{1000}));
}

// --- differences ---

TEST(PolicyDifferences, SayWhatIsRemovedChangedAndAdded)
{
    const Document from = wanted({ppro("/a", 1), ppro("/b", 1), ppro("/c", 1)});
    const Document to = wanted({ppro("/d", 1), ppro("/b", 2, "sm"), ppro("/c", 1)});

    EXPECT_THAT(told(differences(from, to)),
                ElementsAre("removed ppro /a", "removed ppro /a type 1 ", "changed ppro /b type 1 2",
                            "changed ppro /b owner ordinary sm", "added ppro /d", "added ppro /d type  1"));
    EXPECT_THAT(differences(from, from), IsEmpty());
}

TEST(PolicyDifferences, AKindThatOnlyOneNamesIsADifferenceEvenWithoutEntries)
{
    const Document none = {};

    EXPECT_THAT(told(differences(none, wanted({}))), ElementsAre("added ppro"));
    EXPECT_THAT(told(differences(wanted({}), none)), ElementsAre("removed ppro"));
    EXPECT_THAT(told(differences(none, wanted({ppro("/a", 1)}))),
                ElementsAre("added ppro /a", "added ppro /a type  1"));
}

// --- any two policies ---

namespace {

/// What the library and the service make of a change.
void play(std::vector<Entry>& entries, const Change& change)
{
    const auto found = std::ranges::find(entries, key_of(*change.kind, change.wanted),
                                         [&](const Entry& entry) { return key_of(*change.kind, entry); });
    switch (change.operation) {
    case Operation::Add:
        ASSERT_EQ(found, entries.end());
        entries.push_back(change.wanted);
        return;
    case Operation::Update:
        ASSERT_NE(found, entries.end());
        found->values.at(0) = change.wanted.values.at(0); // the type alone, not the owner
        return;
    default:
        ASSERT_NE(found, entries.end());
        entries.erase(found);
    }
}

std::vector<Entry> random_entries(std::mt19937& random)
{
    std::vector<Entry> entries;
    for (int name = 0; name < 12; ++name) {
        if (random() % 2 == 0) {
            entries.push_back(ppro("/" + std::to_string(name), static_cast<int>(random() % 3),
                                   random() % 3 == 0 ? "sm" : "ordinary"));
        }
    }
    std::ranges::shuffle(entries, random);
    return entries;
}

} // namespace

TEST(PolicyPlan, LeadsFromAnyPolicyToAnyOtherAndBack)
{
    static std::mt19937 random(500); // large for a frame
    for (int round = 0; round < 500; ++round) {
        const std::vector<Entry> from = random_entries(random);
        const Document to = wanted(random_entries(random));
        const Plan plan = plan_of(machine(from), to, Others::Removed);
        std::vector<Entry> entries = from;

        for (const Change& change : plan.changes) {
            ASSERT_NO_FATAL_FAILURE(play(entries, change));
        }
        ASSERT_THAT(differences(wanted(entries), to), IsEmpty()) << "round " << round;
        ASSERT_THAT(plan_of(machine(entries), to, Others::Removed).changes, IsEmpty()) << "round " << round;

        for (auto change = plan.changes.rbegin(); change != plan.changes.rend(); ++change) {
            ASSERT_NO_FATAL_FAILURE(play(entries, inverse_of(*change)));
        }
        ASSERT_THAT(differences(wanted(entries), wanted(from)), IsEmpty()) << "round " << round;
    }
}

} // namespace tresk::test
