// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/netctl_files.h"

namespace tresk::test {

namespace {

constexpr char kFunction[] = "tresk_netctl_get_user_distinguish";

class NetctlUserDistinction : public NetctlFilesTest {
  protected:
    static int of_root(const std::string& attributes)
    {
        write_file(kPrograms, "<tresk_root " + attributes + ">" + user("") + "</tresk_root>");
        return tresk_netctl_get_user_distinguish();
    }

    /// The call fails and leaves the variable as it is.
    static void expect_failure(const std::function<int()>& call)
    {
        for (const std::int32_t setting : {0, 1, 7}) {
            user_distinguish = setting;
            EXPECT_EQ(call(), -1);
            EXPECT_EQ(user_distinguish, setting);
        }
    }
};

TEST_F(NetctlUserDistinction, IsOneForEveryNumberButZero)
{
    for (const char* value : {"1", "2", "-1", " 3", "1x", "4294967297"}) {
        user_distinguish = 0;
        EXPECT_EQ(of_root("user_dist=\"" + std::string(value) + "\""), 1) << value;
        EXPECT_EQ(user_distinguish, 1) << value;
    }
}

TEST_F(NetctlUserDistinction, IsZeroForZeroAndForWhatIsNoNumber)
{
    for (const char* value : {"0", "00", "-0", "", "yes", "x1", "4294967296"}) {
        user_distinguish = 1;
        EXPECT_EQ(of_root("user_dist=\"" + std::string(value) + "\""), 0) << value;
        EXPECT_EQ(user_distinguish, 0) << value;
    }
}

TEST_F(NetctlUserDistinction, IsReadFromTheFirstAttributeWhateverFollows)
{
    EXPECT_EQ(of_root(R"(user_dist="1" other="0")"), 1);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(NetctlUserDistinction, FailsWhereItIsNotTheFirstAttribute)
{
    expect_failure([] { return of_root(R"(other="1" user_dist="1")"); });
    expect_failure([] { return of_root(R"(User_dist="1")"); });
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(NetctlUserDistinction, FailsWhereTheRootHasNoAttributes)
{
    expect_failure([] { return of_root(""); });
}

TEST_F(NetctlUserDistinction, FailsWhereThePolicyIsMissingAndCreatesItAsItStands)
{
    user_distinguish = 1;
    EXPECT_EQ(tresk_netctl_get_user_distinguish(), -1);
    EXPECT_EQ(user_distinguish, 1);
    EXPECT_EQ(read_file(kPrograms), empty_policy("1"));
    EXPECT_EQ(read_file(kPackages), std::nullopt);
    EXPECT_EQ(tresk_netctl_get_user_distinguish(), 1);
}

TEST_F(NetctlUserDistinction, FailsWhereThePolicyIsEmpty)
{
    write_file(kPrograms, "");
    EXPECT_EQ(tresk_netctl_get_user_distinguish(), -1);
    EXPECT_EQ(read_file(kPrograms), empty_policy("0"));
    EXPECT_EQ(tresk_netctl_get_user_distinguish(), 0);
}

TEST_F(NetctlUserDistinction, FailsWhereTheRootIsAnother)
{
    user_distinguish = 1;
    write_file(kPrograms, "<other user_dist=\"0\"/>");
    EXPECT_EQ(tresk_netctl_get_user_distinguish(), -1);
    EXPECT_EQ(user_distinguish, 1);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].subject, kFunction);
    EXPECT_EQ(framework().logs[0].source, "tresk_netctl");
    EXPECT_EQ(framework().logs[0].text,
              std::string(kFunction) + ": document of the wrong type, root node != tresk_root\n");
}

TEST_F(NetctlUserDistinction, FailsWhereThereIsNoRoot)
{
    write_file(kPrograms, "<!-- nothing -->");
    expect_failure(tresk_netctl_get_user_distinguish);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(NetctlUserDistinction, IsNotSetByReaders)
{
    write_file(kPrograms, "<tresk_root user_dist=\"1\">" + user("") + "</tresk_root>");
    std::uint32_t count = 0;
    EXPECT_EQ(tresk_netctl_read_all_data(&count), nullptr);
    EXPECT_EQ(tresk_netctl_read_node_with_uid(kUid, kName), nullptr);
    EXPECT_EQ(user_distinguish, 0);
}

} // namespace

} // namespace tresk::test
