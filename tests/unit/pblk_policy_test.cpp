// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The rules over a node whose texts cannot be read, which no file shows.
#include "pblk/pblk_policy.h"

#include <gtest/gtest.h>

namespace tresk::test {

namespace {

using namespace pblk;

constexpr Acceptance kIfPresent = {PathRule::any_attribute, SourceRule::if_present, HashRule::last};
constexpr Acceptance kRequired = {PathRule::any_attribute, SourceRule::required, HashRule::unread};
constexpr Acceptance kWantedHash = {PathRule::any_attribute, SourceRule::ignored, HashRule::wanted};
constexpr Acceptance kFirst = {PathRule::first_attribute, SourceRule::ignored, HashRule::unread};

PolicyNode blocking_node(NodeText path, NodeText hash)
{
    PolicyNode node{NodeKind::element, "pblk_node", {}, {}};
    node.attributes.push_back({"path", path});
    node.children.push_back({NodeKind::element, "hash", hash});
    return node;
}

TEST(PblkPolicy, UnreadableSourceIsNotAbsent)
{
    for (const char* attribute : {"data_source_type", "data_source_name"}) {
        PolicyNode node = blocking_node("/a", "h");
        EXPECT_TRUE(accepted_entry(node, kIfPresent, {1, ""}));
        node.attributes.push_back({attribute, std::nullopt});
        EXPECT_FALSE(accepted_entry(node, kIfPresent, {1, ""}));
        EXPECT_FALSE(accepted_entry(node, kIfPresent, {1, nullptr}));
        EXPECT_FALSE(accepted_entry(node, kRequired, {1, ""}));
    }
}

TEST(PblkPolicy, UnreadablePathIsNone)
{
    EXPECT_FALSE(accepted_entry(blocking_node(std::nullopt, "h"), kIfPresent, {}));
    EXPECT_FALSE(accepted_entry(blocking_node(std::nullopt, "h"), kFirst, {}));
}

TEST(PblkPolicy, UnreadableHashIsNone)
{
    const PolicyNode node = blocking_node("/a", std::nullopt);
    EXPECT_FALSE(accepted_entry(node, kIfPresent, {}));
    EXPECT_FALSE(accepted_entry(node, kWantedHash, {}));
    EXPECT_FALSE(carries_hash(node, ""));
    EXPECT_TRUE(accepted_entry(node, kFirst, {}));
}

TEST(PblkPolicy, DeclaredPathIsNotTheFirstAttribute)
{
    PolicyNode node = blocking_node("/a", "h");
    EXPECT_TRUE(accepted_entry(node, kFirst, {}));
    node.attributes.front().written = false;
    EXPECT_FALSE(accepted_entry(node, kFirst, {}));
    EXPECT_TRUE(accepted_entry(node, kIfPresent, {}));
}

TEST(PblkPolicy, OnlyAnElementIsANode)
{
    PolicyNode node = blocking_node("/a", "h");
    node.kind = NodeKind::instruction;
    EXPECT_FALSE(accepted_entry(node, kFirst, {}));
    EXPECT_FALSE(carries_hash(node, "h"));
}

TEST(PblkPolicy, OnlyAnElementIsAHash)
{
    PolicyNode node = blocking_node("/a", "h");
    node.children.front().kind = NodeKind::instruction;
    Wanted wanted;
    wanted.hash = "h";
    EXPECT_FALSE(accepted_entry(node, kIfPresent, {}));
    EXPECT_FALSE(accepted_entry(node, kWantedHash, wanted));
    EXPECT_FALSE(carries_hash(node, "h"));
}

} // namespace

} // namespace tresk::test
