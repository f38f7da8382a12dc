// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every policy reader against the naive ones of this folder, over random documents.
//
//   TRESK_DIFFERENTIAL_DOCUMENTS=N  so many documents a family
//   TRESK_DIFFERENTIAL_FIRST=SEED   the first one's seed; a document's seed is its number, and a failure
//   names it
#include "common/policy_events.h"
#include "common/policy_tree.h"
#include "tests/differential/round.h"
#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"
#include "tests/support/recorded_walk.h"

#include <gtest/gtest.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>

namespace tresk::test {
namespace {

#ifdef TRESK_SANITIZED
constexpr std::uint64_t kUsualDocuments = 150;
#else
constexpr std::uint64_t kUsualDocuments = 1000;
#endif
/// By then each broken rule has shown; most do within a hundred documents.
constexpr std::uint64_t kDocumentsForRules = 6000;
constexpr int kShownDisagreements = 3;

std::uint64_t from_environment(const char* name, std::uint64_t otherwise)
{
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

std::string printable(char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    const bool plain = byte == '\n' || (value < 0x80 && std::isprint(value) != 0);
    return plain ? std::string(1, byte) : "\\" + std::to_string(static_cast<int>(value));
}

/// How many bytes from @start on repeat the @unit bytes that stand there.
std::size_t repeated(const std::string& text, std::size_t start, std::size_t unit)
{
    std::size_t end = start + unit;
    while (end < text.size() && text[end] == text[end - unit]) {
        ++end;
    }
    return end - start;
}

/// A field's zeros and texts that only fill are shown once.
std::string printable(const std::string& text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t bytes = repeated(text, i, 2);
        result += printable(text[i]);
        if (bytes > 60) {
            result += printable(text[i + 1]) + "{and so on for " + std::to_string(bytes) + " bytes}";
            i += bytes;
        } else {
            ++i;
        }
    }
    return result;
}

std::string described(const Round& round)
{
    std::string text = "user_distinguish " + std::to_string(round.distinguish) +
                       (round.error_before ? ", an old error stands" : "") + "\n";
    for (const auto& [path, content] : round.files) {
        text += path + ":\n" + content + "\n";
    }
    return printable(text);
}

/// Each family's documents have seeds of their own.
Random random_for(const Family& family, std::uint64_t seed)
{
    std::uint64_t mixed = seed;
    for (const char letter : std::string(family.name)) {
        mixed = mixed * 1099511628211U + static_cast<unsigned char>(letter);
    }
    return Random(mixed);
}

void be_silent(void*, const char*, ...) {}

class DifferentialTest : public ::testing::TestWithParam<Family> {
  protected:
    void SetUp() override
    {
        framework().reset();
        xmlSetGenericErrorFunc(nullptr, be_silent);
        ::testing::internal::CaptureStderr(); // a missing blacklist is said there
    }

    void TearDown() override
    {
        ::testing::internal::GetCapturedStderr();
        xmlSetGenericErrorFunc(nullptr, nullptr);
    }
};

TEST_P(DifferentialTest, ReadersAgreeWithTheNaiveOnes)
{
    const std::uint64_t documents = from_environment("TRESK_DIFFERENTIAL_DOCUMENTS", kUsualDocuments);
    const std::uint64_t first = from_environment("TRESK_DIFFERENTIAL_FIRST", 1);
    int disagreements = 0;
    std::uint64_t asked = 0;
    for (std::uint64_t seed = first; seed < first + documents && disagreements < kShownDisagreements;
         ++seed) {
        Random random = random_for(GetParam(), seed);
        const Round round = GetParam().round(random);
        Comparison comparison(round);
        for (const Question& question : round.questions) {
            ++asked;
            const std::string library = comparison.library_answer(question);
            const std::string naive = comparison.naive_answer(question, Rule::None);
            if (library != naive) {
                ++disagreements;
                ADD_FAILURE() << GetParam().name << " seed " << seed << ": " << question.name << "\n"
                              << described(round) << "library: " << printable(library)
                              << "\nnaive: " << printable(naive);
                break;
            }
        }
    }
    std::cout << GetParam().name << ": " << documents << " documents, " << asked << " calls compared, "
              << disagreements << " disagreements\n";
}

/// The documents of a family that each of the library's sources of nodes reads.
struct Shares {
    std::uint64_t by_events = 0;
    std::uint64_t by_tree = 0;
};

/// What one document gives by both sources, and whether libxml2 has an error to report then.
void compare_sources(const std::string& file, const std::string& root, bool grouped, Shares& shares)
{
    xmlResetLastError();
    RecordedWalk events(grouped);
    const Walked by_events = walk_events(file.c_str(), root.c_str(), events.reader());
    EXPECT_EQ(xmlGetLastError(), nullptr);
    if (by_events == Walked::unusual) {
        ++shares.by_tree;
        return;
    }
    ++shares.by_events;
    RecordedWalk tree(grouped);
    EXPECT_EQ(walk_tree(file.c_str(), root.c_str(), tree.reader()), by_events);
    EXPECT_EQ(printable(events.text()), printable(tree.text()));
    EXPECT_EQ(xmlGetLastError(), nullptr);
}

std::string root_of(const Family& family)
{
    const std::string name = family.name;
    return name == "ppro" || name == "pblk" ? name + "_root" : "tresk_root";
}

class SourcesTest : public DifferentialTest {};

TEST_P(SourcesTest, HandOutTheSameNodes)
{
    const std::uint64_t documents = from_environment("TRESK_DIFFERENTIAL_DOCUMENTS", kUsualDocuments);
    const std::uint64_t first = from_environment("TRESK_DIFFERENTIAL_FIRST", 1);
    Shares shares;
    for (std::uint64_t seed = first; seed < first + documents && !HasFailure(); ++seed) {
        Random random = random_for(GetParam(), seed);
        const Round round = GetParam().round(random);
        for (const auto& [path, content] : round.files) {
            SCOPED_TRACE(std::string(GetParam().name) + " seed " + std::to_string(seed) + " " + path);
            write_file(path, content);
            compare_sources(path, root_of(GetParam()), false, shares);
            compare_sources(path, root_of(GetParam()), true, shares);
        }
    }
    std::cout << GetParam().name << ": " << shares.by_events << " readings by events, " << shares.by_tree
              << " left to the tree\n";
    // The comparison is one only where both have their share, as has then the one with the naive readers.
    EXPECT_GT(shares.by_events, documents / 4);
    EXPECT_GT(shares.by_tree, documents / 4);
}

/// Takes the rules out of @left that show in the round: with one of them broken some answer is another.
void take_noticed(const Round& round, std::vector<Rule>& left)
{
    Comparison comparison(round);
    for (const Question& question : round.questions) {
        const std::string library = comparison.library_answer(question);
        std::erase_if(left, [&](Rule rule) { return comparison.naive_answer(question, rule) != library; });
    }
}

TEST_P(DifferentialTest, EveryBrokenRuleIsNoticed)
{
    std::vector<Rule> left = GetParam().rules;
    std::uint64_t seed = 1;
    for (; seed <= kDocumentsForRules && !left.empty(); ++seed) {
        Random random = random_for(GetParam(), seed);
        take_noticed(GetParam().round(random), left);
    }
    std::cout << GetParam().name << ": " << GetParam().rules.size() << " rules, the last noticed at document "
              << seed - 1 << "\n";
    for (const Rule rule : left) {
        ADD_FAILURE() << name_of(rule) << " can be broken without being noticed";
    }
}

const std::vector<Family>& families()
{
    static const std::vector<Family> all{netctl_family(), netctl_packages_family(), ppro_family(),
                                         pblk_family(),   bwlist_family(),          settings_family()};
    return all;
}

INSTANTIATE_TEST_SUITE_P(Of, DifferentialTest, ::testing::ValuesIn(families()),
                         [](const auto& row) { return std::string(row.param.name); });

std::vector<Family> families_with_nodes()
{
    std::vector<Family> policies = families();
    std::erase_if(policies, [](const Family& family) { return std::string(family.name) == "settings"; });
    return policies;
}

INSTANTIATE_TEST_SUITE_P(Of, SourcesTest, ::testing::ValuesIn(families_with_nodes()),
                         [](const auto& row) { return std::string(row.param.name); });

#define TRESK_COUNT_RULE(name) +1
constexpr std::size_t kRules = 0 TRESK_DIFFERENTIAL_RULES(TRESK_COUNT_RULE);

TEST(DifferentialRules, EachBelongsToAFamily)
{
    for (std::size_t i = 1; i < kRules; ++i) {
        const Rule rule = static_cast<Rule>(i);
        EXPECT_TRUE(std::any_of(families().begin(), families().end(), [&](const Family& family) {
            return std::count(family.rules.begin(), family.rules.end(), rule) == 1;
        })) << name_of(rule);
    }
}

} // namespace
} // namespace tresk::test
