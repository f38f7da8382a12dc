// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Documents as texts: what is read from them, what is said about wrong ones, and that what is written is read
// as the same.
#include "treskctl/policy/document.h"
#include "treskctl/policy/kinds/kinds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <random>

namespace tresk::test {

namespace {

using namespace tresk::ctl;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

Document read_well(const std::string& text, const std::string& file = "site.json")
{
    std::vector<Failure> failures;
    Document document = read_document(text, file, failures);
    for (const Failure& failure : failures) {
        ADD_FAILURE() << failure.subject.value_or("") << ": " << failure.message;
    }
    return document;
}

/// "SUBJECT: MESSAGE" of each failure.
std::vector<std::string> complaints(const std::string& text, const std::string& file)
{
    std::vector<Failure> failures;
    (void)read_document(text, file, failures);
    std::vector<std::string> lines;
    for (const Failure& failure : failures) {
        EXPECT_EQ(failure.cause, Cause::Policy);
        lines.push_back(failure.subject.value_or("") + ": " + failure.message);
    }
    return lines;
}

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

const Entry& only_entry(const Document& document, const Kind& kind)
{
    static const Entry none{Row(kind.fields.size()), {}, {}};
    const KindEntries* const entries = document.find(kind);
    EXPECT_TRUE(entries != nullptr && entries->entries.size() == 1);
    return entries != nullptr && entries->entries.size() == 1 ? entries->entries.front() : none;
}

const Value& value(const Kind& kind, const Entry& entry, std::string_view field)
{
    return entry.values[index_of(kind, field)];
}

std::string short_json(const Document& document)
{
    Settings settings;
    settings.form = Form::JsonShort;
    return written_json(document, settings);
}

} // namespace

TEST(PolicyDocument, AnEntryHasWhatIsSaidAndTheStandardForTheRest)
{
    const Document document = read_well(R"({"version": 1, "policy": {
        "ppro": [{"path": "/usr/bin/cat", "type": -3, "note": "for the backup"}]}})");

    const Entry& entry = only_entry(document, ppro_kind());
    EXPECT_EQ(value(ppro_kind(), entry, "path"), Value("/usr/bin/cat"));
    EXPECT_EQ(value(ppro_kind(), entry, "type"), Value(std::int64_t{-3}));
    EXPECT_EQ(value(ppro_kind(), entry, "owner"), Value("ordinary"));
    EXPECT_EQ(value(ppro_kind(), entry, "source"), Value(""));
    EXPECT_EQ(value(ppro_kind(), entry, "hash"), Value());
    EXPECT_EQ(entry.note, "for the backup");
    EXPECT_EQ(text_of(entry.place), "site.json:2");
}

TEST(PolicyDocument, AKindThatIsNotNamedIsNotInIt)
{
    const Document document = read_well(R"({"version": 1, "policy": {"bwlist": [], "ppro": []}})");

    EXPECT_THAT(document.kinds, SizeIs(2));
    EXPECT_EQ(document.kinds.front().kind, &ppro_kind()); // in the kinds' order
    EXPECT_EQ(document.find(netctl_kind()), nullptr);
}

TEST(PolicyDocument, SurrogateEscapesBecomeOneCharacter)
{
    const Document document =
        read_well(R"({"version": 1, "policy": {"pblk": [{"path": "/\ud83d\ude00\u0009\"\\"}]}})");

    EXPECT_EQ(value(pblk_kind(), only_entry(document, pblk_kind()), "path"),
              Value("/\xF0\x9F\x98\x80\t\"\\"));
}

TEST(PolicyDocument, BytesThatAreNotUtf8StandInHexadecimal)
{
    const Document document = read_well(R"({"version": 1, "policy": {"pblk": [{"path_hex": "2fFf61"}]}})");

    EXPECT_EQ(value(pblk_kind(), only_entry(document, pblk_kind()), "path"), Value("/\xFF"
                                                                                   "a"));
    EXPECT_EQ(short_json(document), R"({"version":1,"policy":{"pblk":[{"path_hex":"2fff61"}]}})"
                                    "\n");
}

TEST(PolicyDocument, UsersAreNamesOrNumbers)
{
    const Document document = read_well(R"({"version": 1, "policy": {"netctl": [
        {"path": "/a", "type": 1, "uid": "root"}, {"path": "/a", "type": 1, "uid": 4294967295}]}})");

    const std::vector<Entry>& entries = document.find(netctl_kind())->entries;
    EXPECT_EQ(value(netctl_kind(), entries.at(0), "uid"), Value(std::int64_t{0}));
    EXPECT_EQ(value(netctl_kind(), entries.at(1), "uid"), Value(std::int64_t{4294967295}));
}

TEST(PolicyDocument, YamlSaysTheSame)
{
    const Document document = read_well(R"(# of the site
version: 1
policy:
  ppro:
    - path: /usr/bin/cat
      type: 2
      note: |
        two
        lines
    - {path: "/\x09\u263a", type: 3
      , owner: sm}
  netctl: []
)",
                                        "site.yaml");

    EXPECT_EQ(short_json(document),
              R"({"version":1,"policy":{"ppro":[{"path":"/usr/bin/cat","type":2,"note":"two\nlines\n"},)"
              R"({"path":"/\t☺","type":3,"owner":"sm"}],"netctl":[]}})"
              "\n");
    EXPECT_EQ(text_of(document.find(ppro_kind())->entries.at(1).place), "site.yaml:10");
}

TEST(PolicyDocument, YamlTextsWithoutQuotesStayTexts)
{
    const Document document = read_well(
        "version: 1\npolicy: {bwlist: [{list: no, package: 7}, {list: 'null', package: 1e3}]}\n", "site.yml");

    EXPECT_EQ(short_json(document), R"({"version":1,"policy":{"bwlist":[{"list":"no","package":"7"},)"
                                    R"({"list":"null","package":"1e3"}]}})"
                                    "\n");
}

TEST(PolicyDocument, TheFormIsToldByTheNameOrElseByTheText)
{
    const std::string json = R"( {"version": 1, "policy": {}})";

    EXPECT_THAT(complaints(json, "standard input"), IsEmpty());
    EXPECT_THAT(complaints("version: 1\npolicy: {}", "standard input"), IsEmpty());
    EXPECT_THAT(complaints(json, "a.yaml"), IsEmpty()); // JSON is YAML as well
    EXPECT_THAT(complaints("version: 1\npolicy: {}", "a.json"), SizeIs(1));
}

// --- what is wrong ---

struct WrongDocument {
    const char* name;
    const char* file;
    const char* text;
    /// One a line.
    const char* complaints;
};

std::ostream& operator<<(std::ostream& stream, const WrongDocument& wrong)
{
    return stream << wrong.name;
}

class WrongPolicyDocument : public ::testing::TestWithParam<WrongDocument> {};

TEST_P(WrongPolicyDocument, IsToldWithItsLine)
{
    EXPECT_EQ(joined(complaints(GetParam().text, GetParam().file)), GetParam().complaints);
}

constexpr WrongDocument kWrongDocuments[] = {
    {"UnknownKind", "a.json", "{\"version\": 1, \"policy\": {\n\"pro\": []}}",
     "a.json:2: there is no kind of entries \"pro\"; did you mean \"ppro\"?\n"},
    {"UnknownWord", "a.json", "{\"version\": 1,\n\"polcy\": {}}",
     "a.json:2: there is no \"polcy\" in a document; did you mean \"policy\"?\n"
     "a.json:1: the document lacks \"policy\"\n"},
    {"NoVersion", "a.json", "{\"policy\": {}}", "a.json:1: the document lacks \"version\"\n"},
    {"OtherVersion", "a.json", "{\n\"version\":\n2, \"policy\": {}}",
     "a.json:2: only documents of version 1 are known\n"},
    {"VersionAsText", "a.json", "{\"version\": \"1\", \"policy\": {}}",
     "a.json:1: only documents of version 1 are known\n"},
    {"SaidTwice", "a.json", "{\"version\": 1, \"policy\": {},\n\"policy\": {}}",
     "a.json:2: \"policy\" is said twice\n"},
    {"KindSaidTwice", "a.json", "{\"version\": 1, \"policy\": {\"ppro\": [],\n\n\"ppro\": []}}",
     "a.json:3: \"ppro\" is said twice\n"},
    {"NoMap", "a.json", "\n[]", "a.json:2: the document has to be a map of names and values\n"},
    {"NoMapOfKinds", "a.json", "{\"version\": 1, \"policy\": []}",
     "a.json:1: \"policy\" has to be a map of names and values\n"},
    {"NoList", "a.yaml", "version: 1\npolicy:\n  ppro:\n  pblk: []\n", "a.yaml:3: ppro has to be a list\n"},
    {"NullForText", "a.yaml", "version: 1\npolicy:\n  pblk:\n    - path:\n",
     "a.yaml:4: pblk: path: it has to be a text\n"},
    {"SecondEntry", "a.json",
     "{\"version\": 1, \"policy\": {\"pblk\": [{\"path\": \"/a\"},\n{\"path\": \"/a\", \"source\": \"\"}]}}",
     "a.json:2: pblk: a second entry \"/a\"; the first is in line 1\n"},
    {"EverythingAtOnce", "a.json",
     "{\"version\": 2,\n\"policy\": {\"abcdefg\": [],\n\"pblk\": [{\"pth\": \"/a\"}]}}",
     "a.json:1: only documents of version 1 are known\n"
     "a.json:2: there is no kind of entries \"abcdefg\"\n"
     "a.json:3: pblk: there is no field \"pth\"; did you mean \"path\"?\n"
     "a.json:3: pblk: the entry lacks \"path\"\n"},
    {"YamlReference", "a.yaml", "version: 1\npolicy:\n  ppro: &all []\n  pblk: *all\n",
     "a.yaml:4: references (*NAME) have no place in a document\n"},
    {"YamlSecondDocument", "a.yaml", "version: 1\npolicy: {}\n---\nversion: 1\n",
     "a.yaml:4: a second document: one file holds one\n"},
    {"YamlControlCharacter", "a.yaml", "version: 1\npolicy: {}\n\x04\nrest: lost\n",
     "a.yaml:3: YAML has no control characters; in double quotes they are written \"\\xNN\"\n"},
    {"YamlEmpty", "a.yaml", "# nothing\n", "a.yaml:1: the text holds no document\n"},
    {"YamlListAsName", "a.yaml", "version: 1\n? [policy]\n: {}\n", "a.yaml:2: only a text can be a name\n"},
    {"NotUtf8", "a.json", "{\"version\": 1,\n\"policy\": {\"pblk\": [{\"path\": \"/\xFF\"}]}}",
     "a.json:2: the text is not UTF-8; other bytes are written in a field with \"_hex\" behind its name\n"},
};

INSTANTIATE_TEST_SUITE_P(All, WrongPolicyDocument, ::testing::ValuesIn(kWrongDocuments),
                         [](const auto& wrong) { return wrong.param.name; });

struct WrongEntry {
    const char* name;
    const char* kind;
    const char* entry;
    const char* complaint;
};

std::ostream& operator<<(std::ostream& stream, const WrongEntry& wrong)
{
    return stream << wrong.name;
}

class WrongPolicyEntry : public ::testing::TestWithParam<WrongEntry> {};

TEST_P(WrongPolicyEntry, IsToldWithItsLine)
{
    const std::string head = std::string("{\"version\": 1, \"policy\": {\"") + GetParam().kind + "\": [\n\n";

    EXPECT_THAT(complaints(head + GetParam().entry + "\n]}}", "a.json"),
                ElementsAre(std::string("a.json:3: ") + GetParam().kind + ": " + GetParam().complaint));
}

constexpr WrongEntry kWrongEntries[] = {
    {"NoMap", "ppro", "1", "an entry has to be a map of names and values"},
    {"UnknownField", "ppro", R"({"path": "/a", "type": 1, "ownr": "sm"})",
     "there is no field \"ownr\"; did you mean \"owner\"?"},
    {"DerivedField", "ppro", R"({"path": "/a", "type": 1, "hash": "00"})",
     "hash: it follows from the other fields and is not given"},
    {"MissingSetting", "ppro", R"({"path": "/a"})", "the entry lacks \"type\""},
    {"MissingName", "pblk", "{}", "the entry lacks \"path\""},
    {"TextForNumber", "ppro", R"({"path": "/a", "type": "1"})", "type: it has to be a number"},
    {"FlagForNumber", "ppro", R"({"path": "/a", "type": true})", "type: it has to be a number"},
    {"FractionForNumber", "ppro", R"({"path": "/a", "type": 1.5})",
     "type: \"1.5\" is no number from -2147483648 to 2147483647"},
    {"NumberOutOfRange", "ppro", R"({"path": "/a", "type": 99999999999999999999})",
     "type: \"99999999999999999999\" is no number from -2147483648 to 2147483647"},
    {"NumberForText", "pblk", R"({"path": 1})", "path: it has to be a text"},
    {"MapForNote", "pblk", R"({"path": "/a", "note": {}})", "note: it has to be a text"},
    {"OtherWord", "ppro", R"({"path": "/a", "type": 1, "owner": "ordinry"})",
     "owner: \"ordinry\" is none of ordinary|sm; did you mean \"ordinary\"?"},
    {"Nul", "pblk", R"({"path": "/a\u0000b"})", "path: no text of a policy can hold a NUL"},
    {"OddHexadecimal", "pblk", R"({"path_hex": "2f6"})",
     "path_hex: it has to be two hexadecimal digits for each byte, none of them 00"},
    {"NulInHexadecimal", "pblk", R"({"path_hex": "2f00"})",
     "path_hex: it has to be two hexadecimal digits for each byte, none of them 00"},
};

INSTANTIATE_TEST_SUITE_P(All, WrongPolicyEntry, ::testing::ValuesIn(kWrongEntries),
                         [](const auto& wrong) { return wrong.param.name; });

TEST(PolicyDocument, ATextAndItsBytesAreNotBothSaid)
{
    EXPECT_THAT(
        complaints(R"({"version": 1, "policy": {"pblk": [{"path": "/a", "path_hex": "2f62"}]}})", "a.json"),
        ElementsAre("a.json:1: \"path\" is said twice"));
}

TEST(PolicyDocument, NestingHasAnEnd)
{
    EXPECT_THAT(complaints(std::string(100'000, '['), "a.json"),
                ElementsAre("a.json:1: the nesting is deeper than any document's"));
    EXPECT_THAT(complaints(std::string(100, '[') + std::string(100, ']'), "a.yaml"),
                ElementsAre("a.yaml:1: the nesting is deeper than any document's"));
}

TEST(PolicyDocument, ATextThatIsNoJsonIsToldWithItsLine)
{
    const auto said = complaints("{\"version\": 1,\n\"policy\": {,}}", "a.json");

    ASSERT_THAT(said, SizeIs(1));
    EXPECT_THAT(said.front(), ::testing::StartsWith("a.json:2: syntax error while parsing object key"));
}

TEST(PolicyDocument, ATextThatIsNoYamlIsToldWithItsLine)
{
    const auto said = complaints("version: 1\npolicy: {\n", "a.yaml");

    ASSERT_THAT(said, SizeIs(1));
    EXPECT_THAT(said.front(), ::testing::StartsWith("a.yaml:3: "));
}

TEST(PolicyDocument, ALineIsTheOneOfTheNumberBeforeItsEnd)
{
    EXPECT_THAT(complaints("{\"version\": 1, \"policy\": {\"ppro\": [\n1\n,\n2\n\n]}}", "a.json"),
                ElementsAre("a.json:2: ppro: an entry has to be a map of names and values",
                            "a.json:4: ppro: an entry has to be a map of names and values"));
}

// --- several ---

TEST(PolicyDocument, EqualEntriesOfSeveralDocumentsBecomeOne)
{
    const std::string both = R"({"version": 1, "policy": {"ppro": [{"path": "/a", "type": 1}]}})";
    const std::string more =
        R"({"version": 1, "policy": {"pblk": [], "ppro": [{"path": "/b", "type": 1}, {"path": "/a", "type": 1}]}})";
    std::vector<Failure> failures;

    const Document document = merged({read_well(both), read_well(more)}, failures);

    EXPECT_THAT(failures, IsEmpty());
    EXPECT_EQ(short_json(document),
              R"({"version":1,"policy":{"ppro":[{"path":"/a","type":1},{"path":"/b","type":1}],"pblk":[]}})"
              "\n");
}

TEST(PolicyDocument, AContradictionNamesBothPlaces)
{
    const Document first =
        read_well("{\"version\": 1, \"policy\": {\"ppro\": [\n{\"path\": \"/a\", \"type\": 1}]}}", "10.json");
    const Document second = read_well("version: 1\npolicy:\n  ppro:\n    - {path: /a, type: 2}\n", "20.yaml");
    std::vector<Failure> failures;

    (void)merged({first, second}, failures);

    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures.front().cause, Cause::Conflict);
    EXPECT_EQ(failures.front().subject, "20.yaml:4");
    EXPECT_EQ(failures.front().message, "ppro /a: type is 2 here and 1 in 10.json:2");
}

TEST(PolicyDocument, SortingLeavesTheFirstOfEachName)
{
    Document document{{{&ppro_kind(), {}}}};
    for (const auto& [path, type] : {std::pair("/b", 1), {"/a", 2}, {"/b", 3}}) {
        document.kinds.front().entries.push_back(
            {{std::int64_t{type}, "ordinary", "", Value(), path}, {}, {}});
    }

    EXPECT_EQ(short_json(sorted(document)),
              R"({"version":1,"policy":{"ppro":[{"path":"/a","type":2},{"path":"/b","type":1}]}})"
              "\n");
}

// --- written and read ---

namespace {

/// Texts that some form has to quote, escape or spell.
std::string hostile_text(std::mt19937& random)
{
    static const std::vector<std::string> pieces = {
        "a",    "/",    " ",      "\"",     "'",      "\\",        "\n",     "\t",   "\r",
        "#",    ": ",   "- ",     "null",   "~",      "yes",       "1",      "{",    "}",
        "[",    "]",    "*x",     "&x",     "!x",     "%",         "é",      "漢",   "😀",
        "\x7f", "\x01", "\x1b",   "\u0085", "\u2028", "\ufeff",    "\ufffe", "\xFF", "\xC3",
        "0x1f", "1e5",  "\u202e", "\uFFFF", "\uFDD0", "\U0001FFFE"};
    std::string text;
    for (auto count = random() % 6; count > 0; --count) {
        text += pieces[random() % pieces.size()];
    }
    return text;
}

Value random_value(const Field& field, std::mt19937& random)
{
    switch (field.type) {
    case FieldType::Text:
    case FieldType::Path:
        return hostile_text(random);
    case FieldType::Word:
        return field.words[random() % field.words.size()];
    case FieldType::Number:
        return std::int64_t{static_cast<std::int32_t>(random())};
    default:
        return std::int64_t{static_cast<std::uint32_t>(random())};
    }
}

Entry random_entry(const Kind& kind, std::mt19937& random)
{
    Entry entry{Row(kind.fields.size()), {}, {}};
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const Field& one = kind.fields[field];
        if (one.role != Role::Derived) {
            entry.values[field] =
                one.standard && random() % 3 == 0 ? *one.standard : random_value(one, random);
        }
    }
    return entry;
}

Document random_document(std::mt19937& random)
{
    Document document;
    for (const Kind* kind : kinds()) {
        if (random() % 4 != 0) {
            KindEntries& entries = document.kinds.emplace_back(KindEntries{kind, {}});
            for (auto count = random() % 4; count > 0; --count) {
                entries.entries.push_back(random_entry(*kind, random));
            }
        }
    }
    return sorted(document);
}

} // namespace

TEST(PolicyDocument, WhatIsWrittenIsReadAsTheSame)
{
    static std::mt19937 random(20'260'101); // large for a frame
    for (int round = 0; round < 1000; ++round) {
        const Document document = random_document(random);
        const std::string text = short_json(document);
        ASSERT_EQ(short_json(read_well(text)), text) << "round " << round;
        ASSERT_EQ(short_json(read_well(written_json(document, Settings()))), text) << "round " << round;
        const std::string yaml = written_yaml(document);
        ASSERT_EQ(short_json(read_well(yaml, "a.yaml")), text) << "round " << round << "\n" << yaml;
    }
}

} // namespace tresk::test
