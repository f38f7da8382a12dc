// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The rules over one node, without any document.
#include "common/record_array.h"
#include "ppro/ppro_policy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

namespace tresk::ppro {

namespace {

PolicyNode entry_node(std::vector<PolicyAttribute> attributes = {{"path", "/usr/bin/a"}},
                      std::vector<PolicyChild> children = {{NodeKind::element, "hash", "h"},
                                                           {NodeKind::element, "type", "7"}})
{
    return {NodeKind::element, "ppro_node", std::move(attributes), std::move(children)};
}

PolicyNode with_qualifier(std::string_view name, NodeText value)
{
    return entry_node({{"path", "/usr/bin/a"}, {name, value}});
}

PolicyNode owned(NodeText status)
{
    return with_qualifier("sm_status", status);
}

PolicyNode from_source(NodeText source)
{
    return with_qualifier("data_source_name", source);
}

TEST(PproNumericFilter, ShowsANodeWithoutOwnerInEveryMode)
{
    for (const int mode : {0, 1, -1, INT_MAX}) {
        EXPECT_TRUE(numeric_filter(mode)(entry_node())) << mode;
    }
}

TEST(PproNumericFilter, HidesANonZeroOwnerInModeZeroAlone)
{
    for (const char* status : {"1", "01", "-1", "2x", " 3", "+4"}) {
        EXPECT_FALSE(numeric_filter(0)(owned(status))) << status;
        EXPECT_TRUE(numeric_filter(1)(owned(status))) << status;
        EXPECT_TRUE(numeric_filter(-1)(owned(status))) << status;
    }
}

TEST(PproNumericFilter, ShowsAnOwnerThatReadsAsZero)
{
    for (const char* status : {"0", "00", "-0", "", "yes", "x1", "0x1"}) {
        EXPECT_TRUE(numeric_filter(0)(owned(status))) << status;
    }
}

TEST(PproNumericFilter, ReadsTheOwnerAs32Bits)
{
    EXPECT_TRUE(numeric_filter(0)(owned("4294967296")));
    EXPECT_FALSE(numeric_filter(0)(owned("4294967297")));
}

TEST(PproNumericFilter, HidesAnOwnerThatCannotBeRead)
{
    EXPECT_FALSE(numeric_filter(0)(owned(std::nullopt)));
    EXPECT_TRUE(numeric_filter(1)(owned(std::nullopt)));
}

TEST(PproExactFilter, ComparesTheOwnerAsText)
{
    EXPECT_TRUE(exact_filter(1, "")(owned("1")));
    EXPECT_FALSE(exact_filter(1, "")(owned("01")));
    EXPECT_FALSE(exact_filter(1, "")(owned(" 1")));
    EXPECT_FALSE(exact_filter(1, "")(owned("2")));
    EXPECT_FALSE(exact_filter(0, "")(owned("1")));
    EXPECT_FALSE(exact_filter(0, "")(owned("")));
    EXPECT_TRUE(exact_filter(0, "")(owned("0")));
}

TEST(PproExactFilter, WritesTheModeInDecimal)
{
    EXPECT_TRUE(exact_filter(-1, "")(owned("-1")));
    EXPECT_TRUE(exact_filter(INT_MIN, "")(owned("-2147483648")));
    EXPECT_TRUE(exact_filter(INT_MAX, "")(owned("2147483647")));
}

TEST(PproExactFilter, TakesAMissingOwnerForModeZeroAlone)
{
    EXPECT_TRUE(exact_filter(0, "")(entry_node()));
    EXPECT_FALSE(exact_filter(1, "")(entry_node()));
}

TEST(PproExactFilter, TakesAMissingSourceForEmptyAndNull)
{
    EXPECT_TRUE(exact_filter(0, "")(entry_node()));
    EXPECT_TRUE(exact_filter(0, nullptr)(entry_node()));
    EXPECT_FALSE(exact_filter(0, "s")(entry_node()));
}

TEST(PproExactFilter, TakesAnEmptySourceForEmptyAlone)
{
    EXPECT_TRUE(exact_filter(0, "")(from_source("")));
    EXPECT_FALSE(exact_filter(0, nullptr)(from_source("")));
    EXPECT_FALSE(exact_filter(0, "s")(from_source("")));
}

TEST(PproExactFilter, ComparesTheSourceExactly)
{
    EXPECT_TRUE(exact_filter(0, "source")(from_source("source")));
    EXPECT_FALSE(exact_filter(0, "Source")(from_source("source")));
    EXPECT_FALSE(exact_filter(0, "sourc")(from_source("source")));
    EXPECT_FALSE(exact_filter(0, "")(from_source("source")));
    EXPECT_FALSE(exact_filter(0, nullptr)(from_source("source")));
}

TEST(PproExactFilter, ComparesSourcesOfAnyLength)
{
    const std::string start(300, 's');
    EXPECT_TRUE(exact_filter(0, start.c_str())(from_source(start)));
    EXPECT_FALSE(exact_filter(0, (start + "t").c_str())(from_source(start)));
}

TEST(PproExactFilter, RejectsQualifiersThatCannotBeRead)
{
    EXPECT_FALSE(exact_filter(0, "")(owned(std::nullopt)));
    EXPECT_FALSE(exact_filter(0, "")(from_source(std::nullopt)));
    EXPECT_FALSE(exact_filter(0, nullptr)(from_source(std::nullopt)));
}

TEST(PproEntry, HasItsPathInTheFirstAttribute)
{
    EXPECT_EQ(entry_path(entry_node()), "/usr/bin/a");
    EXPECT_EQ(entry_path(entry_node({{"path", ""}})), "");
    EXPECT_EQ(entry_path(entry_node({{"sm_status", "1"}, {"path", "/usr/bin/a"}})), std::nullopt);
    EXPECT_EQ(entry_path(entry_node({{"Path", "/usr/bin/a"}})), std::nullopt);
    EXPECT_EQ(entry_path(entry_node({})), std::nullopt);
}

TEST(PproEntry, HasNoPathFromTheDocumentTypeOrUnreadable)
{
    EXPECT_EQ(entry_path(entry_node({{"path", "/usr/bin/a", false}})), std::nullopt);
    EXPECT_EQ(entry_path(entry_node({{"path", std::nullopt}})), std::nullopt);
}

TEST(PproEntry, HasNoPathThatDoesNotFitARecord)
{
    const std::string longest(4095, 'p');
    EXPECT_EQ(entry_path(entry_node({{"path", longest}})), longest);
    EXPECT_EQ(entry_path(entry_node({{"path", longest + "p"}})), std::nullopt);
}

TEST(PproEntry, IsAnElementOfTheFamily)
{
    PolicyNode node = entry_node();
    node.name = "ppro_nodes";
    EXPECT_EQ(entry_path(node), std::nullopt);
    node.name = "ppro_node";
    node.kind = NodeKind::instruction;
    EXPECT_EQ(entry_path(node), std::nullopt);
}

TEST(PproEntry, IsCompleteWithHashAndType)
{
    const auto entry = complete_entry(entry_node());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->path, "/usr/bin/a");
    EXPECT_EQ(entry->hash, "h");
    EXPECT_EQ(entry->type, "7");
}

TEST(PproEntry, LacksWhatIsNoReadableElement)
{
    const std::vector<PolicyAttribute> path = {{"path", "/usr/bin/a"}};
    EXPECT_FALSE(complete_entry(entry_node(path, {})));
    EXPECT_FALSE(complete_entry(entry_node(path, {{NodeKind::element, "hash", "h"}})));
    EXPECT_FALSE(complete_entry(entry_node(path, {{NodeKind::element, "type", "7"}})));
    EXPECT_FALSE(complete_entry(
        entry_node(path, {{NodeKind::element, "hash", "h"}, {NodeKind::instruction, "type", "7"}})));
    EXPECT_FALSE(complete_entry(
        entry_node(path, {{NodeKind::element, "hash", std::nullopt}, {NodeKind::element, "type", "7"}})));
}

TEST(PproRecord, IsZeroedBehindItsTexts)
{
    const auto record = new_record({"/usr/bin/a", "hash", "7"});
    const auto wanted = make_record<ppro_node_info>();
    std::memcpy(wanted->path, "/usr/bin/a", 10);
    std::memcpy(wanted->hash, "hash", 4);
    wanted->type = 7;
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): the padding counts, too.
    EXPECT_EQ(std::memcmp(record.get(), wanted.get(), sizeof *wanted), 0);
}

TEST(PproRecord, KeepsThe64FirstBytesOfTheHash)
{
    const std::string hash = std::string(63, 'h') + "\xC3\xA9" + "rest";
    const auto record = new_record({"/a", hash, "0"});
    EXPECT_EQ(std::string(record->hash), hash.substr(0, 64));
}

TEST(PproRecord, HoldsTheLongestPathWithItsTerminator)
{
    const std::string longest(4095, 'p');
    EXPECT_EQ(std::string(new_record({longest, "h", "0"})->path), longest);
}

TEST(PproRecord, ReadsTheTypeAsStrtolDoes)
{
    const std::pair<const char*, int> types[] = {{"7", 7},          {" 12 ", 12},
                                                 {"-3", -3},        {"+4", 4},
                                                 {"0x10", 0},       {"012", 12},
                                                 {"", 0},           {"kill", 0},
                                                 {"5kill", 5},      {"2147483648", INT_MIN},
                                                 {"4294967297", 1}, {"99999999999999999999", -1}};
    for (const auto& [text, type] : types) {
        EXPECT_EQ(new_record({"/a", "h", text})->type, type) << text;
    }
}

} // namespace

} // namespace tresk::ppro
