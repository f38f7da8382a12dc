// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Whose nodes a reader gives: everybody's, or, while users are distinguished, one user's.
#include "tests/unit/netctl_files.h"

#include <algorithm>

namespace tresk::test {

namespace {

using Names = std::vector<std::string>;

class NetctlUserFilter : public NetctlReaderTest {
  protected:
    /// The reader asked for @uid sees the node of that name.
    static bool sees(std::uint32_t uid, const std::string& name)
    {
        const Names names = read({"", uid, name}).names();
        return std::find(names.begin(), names.end(), name) != names.end();
    }
};

INSTANTIATE_TEST_SUITE_P(
    Readers, NetctlUserFilter,
    ::testing::ValuesIn(readers_that([](const Reader& reader) { return reader.filtered; })), by_name);

TEST_P(NetctlUserFilter, LetsEveryUserThroughWhileUsersAreNotDistinguished)
{
    write_users(user(node("/a"), "1000") + user(node("/b"), "0") + user(node("/c"), "1000"));
    for (const std::uint32_t uid : {1000U, 0U, 5U, 4294967295U}) {
        EXPECT_TRUE(sees(uid, "/a") && sees(uid, "/b") && sees(uid, "/c")) << uid;
    }
}

TEST_P(NetctlUserFilter, LetsOneUserThroughWhileUsersAreDistinguished)
{
    write_users(user(node("/a"), "0") + user(node("/b"), "1000") + user(node("/c"), "1001"));
    for (const std::int32_t setting : {1, 2, -1}) {
        user_distinguish = setting;
        EXPECT_FALSE(sees(1000, "/a"));
        EXPECT_TRUE(sees(1000, "/b"));
        EXPECT_FALSE(sees(1000, "/c"));
        EXPECT_TRUE(sees(0, "/a"));
        EXPECT_TRUE(sees(1001, "/c"));
    }
}

TEST_P(NetctlUserFilter, ReadsTheFirstElementOfTheUserAlone)
{
    user_distinguish = 1;
    write_users(user(node("/a"), "1000") + user(node("/b"), "1000"));
    EXPECT_TRUE(sees(1000, "/a"));
    EXPECT_FALSE(sees(1000, "/b"));
    write_users(user("", "1000") + user(node("/b"), "1000"));
    expect_nothing(read({"", 1000, "/b"}));
}

TEST_P(NetctlUserFilter, PassesAnElementThatDoesNotBeginWithItsUser)
{
    user_distinguish = 1;
    write_users("<tresk_user other=\"1\" userID=\"1000\">" + node("/a") + "</tresk_user>" +
                user(node("/b"), "1000"));
    EXPECT_FALSE(sees(1000, "/a"));
    EXPECT_TRUE(sees(1000, "/b"));
}

TEST_P(NetctlUserFilter, GivesNothingForAUserWithoutAnElement)
{
    user_distinguish = 1;
    write_users(user(node(kName), "0") + user(node(kName), "10001") + user(node(kName), "-1000"));
    expect_nothing(read({"", 1000, kName}));
}

TEST_P(NetctlUserFilter, ComparesUsersAsNumbersOf32Bits)
{
    user_distinguish = 1;
    const std::pair<const char*, std::uint32_t> users[] = {{"01000", 1000},
                                                           {" 1000 ", 1000},
                                                           {"1000x", 1000},
                                                           {"4294968296", 1000},
                                                           {"root", 0},
                                                           {"", 0},
                                                           {"4294967295", 4294967295},
                                                           {"-1", 4294967295},
                                                           {"2147483648", 2147483648}};
    for (const auto& [id, uid] : users) {
        write_users(user(node(kName), id));
        EXPECT_TRUE(sees(uid, kName)) << id;
        EXPECT_FALSE(sees(uid + 1, kName)) << id;
    }
}

TEST_P(NetctlUserFilter, GoesByTheVariableAndNotByTheFile)
{
    const std::string users = user(node("/a"), "0") + user(node("/b"), "1000");
    const std::string attribute = GetParam().identity;
    std::string text = document(users, attribute);
    text.replace(text.find("user_dist=\"0\""), 13, "user_dist=\"1\"");
    write_file(GetParam().policy, text);
    EXPECT_TRUE(sees(1000, "/a"));
    user_distinguish = 1;
    write_users(users);
    EXPECT_FALSE(sees(1000, "/a"));
    EXPECT_EQ(user_distinguish, 1);
}

class NetctlFilteredNode : public NetctlUserFilter {
  protected:
    static std::string type_for(std::uint32_t uid)
    {
        const Listing listing = read({"", uid, kName});
        return listing.null ? "(null)" : listing.records.at(0).type;
    }
};

INSTANTIATE_TEST_SUITE_P(
    Readers, NetctlFilteredNode,
    ::testing::ValuesIn(readers_that([](const Reader& reader) { return reader.single; })), by_name);

TEST_P(NetctlFilteredNode, IsTheFirstUsersWhoHasItWhileUsersAreNotDistinguished)
{
    write_users(user(node("/b", "1"), "0") + user(node(kName, "2"), "1") + user(node(kName, "3"), "1000"));
    EXPECT_EQ(type_for(1000), "2");
}

TEST_P(NetctlFilteredNode, IsTheUsersOwnWhileUsersAreDistinguished)
{
    user_distinguish = 1;
    write_users(user(node(kName, "2"), "1") + user(node(kName, "3"), "1000"));
    EXPECT_EQ(type_for(1000), "3");
}

TEST_P(NetctlFilteredNode, IsNoneWhereTheUserDoesNotHaveIt)
{
    user_distinguish = 1;
    write_users(user(node("/b", "1"), "1000") + user(node(kName, "2"), "1000") + user(node(kName, "3"), "1"));
    EXPECT_EQ(type_for(1000), "(null)");
}

class NetctlUnfilteredReader : public NetctlReaderTest {};

INSTANTIATE_TEST_SUITE_P(
    Readers, NetctlUnfilteredReader,
    ::testing::ValuesIn(readers_that([](const Reader& reader) { return !reader.filtered; })), by_name);

TEST_P(NetctlUnfilteredReader, GivesEveryUsersNodesWhateverIsDistinguished)
{
    write_users(user(node("/a"), "1000") + user(node("/b"), "0") + user(node("/c"), "1000"));
    for (const std::int32_t setting : {0, 1}) {
        user_distinguish = setting;
        EXPECT_EQ(read().names(), (Names{"/a", "/b", "/c"}));
    }
}

} // namespace

} // namespace tresk::test
