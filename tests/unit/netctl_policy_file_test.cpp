// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What every reader makes of the file itself: which one it reads, and what happens to one that it cannot.
#include "tests/unit/netctl_files.h"

#include <filesystem>

namespace tresk::test {

namespace {

class NetctlPolicyFile : public NetctlReaderTest {};

INSTANTIATE_TEST_SUITE_P(Readers, NetctlPolicyFile, ::testing::ValuesIn(readers()), by_name);

TEST_P(NetctlPolicyFile, IsCreatedWhereItIsMissing)
{
    expect_failure(read());
    EXPECT_EQ(read_file(GetParam().policy), empty_policy());
    EXPECT_TRUE(framework().order.empty());
    expect_nothing(read());
}

TEST_P(NetctlPolicyFile, IsFilledWhereItIsEmpty)
{
    write_file(GetParam().policy, "");
    expect_failure(read());
    EXPECT_EQ(read_file(GetParam().policy), empty_policy());
    expect_nothing(read());
}

TEST_P(NetctlPolicyFile, IsCreatedAlone)
{
    read();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/etc/tresk/netctl"), {}), 1);
}

TEST_P(NetctlPolicyFile, IsCreatedWithTheUserDistinctionAsItStands)
{
    const std::pair<std::int32_t, const char*> settings[] = {
        {1, "1"}, {7, "7"}, {-5, "-5"}, {123456789, "123456789"}};
    for (const auto& [setting, text] : settings) {
        std::filesystem::remove(GetParam().policy);
        user_distinguish = setting;
        expect_failure(read());
        EXPECT_EQ(read_file(GetParam().policy), empty_policy(text));
    }
}

TEST_P(NetctlPolicyFile, IsCreatedWithNineCharactersOfTheUserDistinction)
{
    user_distinguish = -2147483647;
    expect_failure(read());
    EXPECT_EQ(read_file(GetParam().policy), empty_policy("-21474836"));
}

TEST_P(NetctlPolicyFile, IsNotCreatedWhereItsFolderIsMissing)
{
    std::filesystem::remove_all("/etc/tresk/netctl");
    expect_failure(read());
    EXPECT_FALSE(std::filesystem::exists("/etc/tresk/netctl"));
}

TEST_P(NetctlPolicyFile, OfAnotherRootIsRefusedWithOneMessage)
{
    const std::string other = "<ppro_root>" + user(node(kName)) + "</ppro_root>";
    write_file(GetParam().policy, other);
    expect_failure(read());
    ASSERT_EQ(framework().logs.size(), 1U);
    const LogLine& line = framework().logs[0];
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.subject, GetParam().function);
    EXPECT_EQ(line.source, "tresk_netctl");
    EXPECT_EQ(line.format, "%s: document of the wrong type, root node != tresk_root\n");
    EXPECT_EQ(line.text,
              std::string(GetParam().function) + ": document of the wrong type, root node != tresk_root\n");
    EXPECT_TRUE(framework().errors.empty());
    EXPECT_EQ(read_file(GetParam().policy), other);
}

TEST_P(NetctlPolicyFile, WithoutARootIsRefusedSilently)
{
    write_file(GetParam().policy, "<?xml version=\"1.0\"?>\n<!-- nothing -->\n");
    expect_failure(read());
    EXPECT_TRUE(framework().order.empty());
    EXPECT_EQ(read_file(GetParam().policy), "<?xml version=\"1.0\"?>\n<!-- nothing -->\n");
}

TEST_P(NetctlPolicyFile, OfGarbageStaysAsItIs)
{
    for (const std::string& garbage : {std::string("garbage"), std::string("\0\0\0\0", 4), std::string("<"),
                                       std::string("\n"), std::string("\xFF\xFE\xFD")}) {
        write_file(GetParam().policy, garbage);
        expect_failure(read());
        EXPECT_EQ(read_file(GetParam().policy), garbage);
    }
}

TEST_P(NetctlPolicyFile, WithoutUsersGivesNothing)
{
    write_users("\n<!-- none --><other/>");
    expect_nothing(read());
    write_users(user(""));
    expect_nothing(read());
}

TEST_P(NetctlPolicyFile, IsTheReadersOwnUnlessItIsGivenAnother)
{
    const auto with_type = [](const char* type) {
        return document(user(node(kName, type)), GetParam().identity);
    };
    write_file(GetParam().policy, with_type("1"));
    write_file(kOtherFile, with_type("2"));
    const Listing listing = read({kOtherFile});
    ASSERT_EQ(listing.records.size(), 1U);
    EXPECT_EQ(listing.records[0].type, GetParam().takes_file ? "2" : "1");
}

TEST_P(NetctlPolicyFile, IsReadAfreshAtEveryCall)
{
    for (const char* type : {"3", "4"}) {
        write_users(user(node(kName, type)));
        ASSERT_EQ(read().records.size(), 1U);
        EXPECT_EQ(read().records[0].type, type);
    }
}

class NetctlGivenFile : public NetctlReaderTest {};

INSTANTIATE_TEST_SUITE_P(Readers, NetctlGivenFile, ::testing::ValuesIn(readers_that([](const Reader& reader) {
                             return reader.takes_file;
                         })),
                         by_name);

TEST_P(NetctlGivenFile, IsCreatedUnderItsOwnName)
{
    expect_failure(read({kOtherFile}));
    EXPECT_EQ(read_file(kOtherFile), empty_policy());
    EXPECT_EQ(read_file(GetParam().policy), std::nullopt);
}

TEST_P(NetctlGivenFile, MayBeRelative)
{
    write_file(kOtherFile, document(user(node(kName)), GetParam().identity));
    std::filesystem::current_path("/etc/tresk");
    EXPECT_EQ(read({"netctl/other.xml"}).count, 1);
}

class NetctlArguments : public NetctlFilesTest {
  protected:
    /// Nothing was created by a call that was refused.
    static void expect_nothing_was_touched()
    {
        EXPECT_TRUE(std::filesystem::is_empty("/etc/tresk/netctl"));
        EXPECT_TRUE(framework().order.empty());
    }
};

TEST_F(NetctlArguments, NeedACounter)
{
    EXPECT_EQ(tresk_netctl_read_all_data(nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_read_all_data_inner(kPrograms, nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_read_all_data_with_uid(kUid, nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_read_all_data_with_uid_inner(1000, kPrograms, nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_ext_read_all_data_with_uid(kUid, nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_ext_read_all_data_with_uid_inner(1000, kPrograms, nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_pkg_read_all_data_with_uid(kUid, nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_pkg_read_all_data_with_uid_inner(kUid, kPackages, nullptr), nullptr);
    expect_nothing_was_touched();
}

TEST_F(NetctlArguments, NeedAFile)
{
    std::uint32_t count = kUnwritten;
    std::int32_t signed_count = kUnwritten;
    EXPECT_EQ(tresk_netctl_read_all_data_inner(nullptr, &count), nullptr);
    EXPECT_EQ(tresk_netctl_read_all_data_with_uid_inner(1000, nullptr, &count), nullptr);
    EXPECT_EQ(tresk_netctl_ext_read_all_data_with_uid_inner(1000, nullptr, &signed_count), nullptr);
    EXPECT_EQ(tresk_netctl_pkg_read_all_data_with_uid_inner(kUid, nullptr, &count), nullptr);
    EXPECT_EQ(count, kUnwritten);
    EXPECT_EQ(signed_count, kUnwritten);
    expect_nothing_was_touched();
}

TEST_F(NetctlArguments, NeedANameToReadOneNode)
{
    EXPECT_EQ(tresk_netctl_read_node_with_uid(kUid, nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_ext_read_node_with_uid(kUid, nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_pkg_read_node_with_uid(kUid, nullptr), nullptr);
    EXPECT_EQ(tresk_netctl_pkg_path_read_node_with_uid(kUid, nullptr), nullptr);
    expect_nothing_was_touched();
}

} // namespace

} // namespace tresk::test
