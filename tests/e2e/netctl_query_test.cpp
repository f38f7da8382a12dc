// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "netctl list", "show", "hash" and "user-distinct".
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <filesystem>

namespace tresk::test {

namespace {

using nlohmann::json;

const std::string kNetctl = "/etc/tresk/netctl/netctl.xml";

/// SM3 of the program's path, and of "path+1000".
const std::string kHashForAll = "5eb6514dc8ffd12bdb43e125fc55bc5933ecf9224e6bab22fed9c44478d0ce7c";
const std::string kHashForUser = "b3cde5dcc0820e9400b485d514a7fcba02cfe0a70b25457bb0728375c35117d0";

std::string two_users(const std::string& distinct)
{
    return "<tresk_root user_dist=\"" + distinct + R"(">
<tresk_user userID="0"><tresk_node path="/opt/a"><hash>a1</hash><type>1</type><name>A</name><ico>a.png</ico>
<desktop>a.desktop</desktop><server_type>4</server_type></tresk_node></tresk_user>
<tresk_user userID="1000"><tresk_node path="/opt/b"><type>2</type><hash>b2</hash></tresk_node></tresk_user>
</tresk_root>
)";
}

class NetctlQueryTest : public TreskctlTest {
  protected:
    static void write_rules(const std::string& content) { write_file(kNetctl, content); }
};

TEST_F(NetctlQueryTest, ListOfAMissingPolicyIsEmptyAndMakesThePolicy)
{
    std::filesystem::create_directories("/etc/tresk/netctl");
    std::filesystem::remove(kNetctl);
    EXPECT_EQ(treskctl({"netctl", "list"}), succeeded("TYPE  SERVER TYPE  NAME  ICO  DESKTOP  HASH  PATH\n"));
    EXPECT_TRUE(std::filesystem::exists(kNetctl));
}

TEST_F(NetctlQueryTest, ListShowsEveryUsersRulesWhileUsersAreNotDistinguished)
{
    write_rules(two_users("0"));
    EXPECT_EQ(treskctl({"netctl", "list", "--uid", "1000"}),
              succeeded("TYPE  SERVER TYPE  NAME     ICO      DESKTOP    HASH  PATH\n"
                        "1     4            A        a.png    a.desktop  a1    /opt/a\n"
                        "2     0            unknown  unknown  unknown    b2    /opt/b\n"));
}

TEST_F(NetctlQueryTest, ListShowsOneUsersRulesWhileUsersAreDistinguished)
{
    write_rules(two_users("1"));
    EXPECT_EQ(treskctl({"netctl", "list", "--uid", "1000"}),
              succeeded("TYPE  SERVER TYPE  NAME     ICO      DESKTOP  HASH  PATH\n"
                        "2     0            unknown  unknown  unknown  b2    /opt/b\n"));
    EXPECT_EQ(treskctl({"netctl", "list", "--uid", "root"}),
              succeeded("TYPE  SERVER TYPE  NAME  ICO    DESKTOP    HASH  PATH\n"
                        "1     4            A     a.png  a.desktop  a1    /opt/a\n"));
    EXPECT_EQ(treskctl({"netctl", "list", "--uid", "77"}),
              succeeded("TYPE  SERVER TYPE  NAME  ICO  DESKTOP  HASH  PATH\n"));
}

TEST_F(NetctlQueryTest, ListAllShowsEveryUsersRulesWithoutTheirPresentation)
{
    write_rules(two_users("1"));
    EXPECT_EQ(treskctl({"netctl", "list", "--all"}),
              succeeded("TYPE  SERVER TYPE  NAME  ICO  DESKTOP  HASH  PATH\n"
                        "1     -            -     -    -        a1    /opt/a\n"
                        "2     -            -     -    -        b2    /opt/b\n"));
}

TEST_F(NetctlQueryTest, ListIsOneDocumentForPrograms)
{
    write_rules(two_users("1"));
    const Outcome outcome = treskctl({"netctl", "list", "--uid", "0", "--json"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(parsed(outcome.output), json::parse(R"({"version": 1, "command": "netctl list", "entries": [
        {"type": 1, "server_type": 4, "name": "A", "ico": "a.png", "desktop": "a.desktop", "hash": "a1",
         "path": "/opt/a"}]})"));
}

TEST_F(NetctlQueryTest, APolicyWithoutTheSettingIsOneForAllUsers)
{
    write_rules(
        "<tresk_root><tresk_user userID=\"5\"><tresk_node path=\"/opt/a\"><hash>a1</hash><type>1</type>"
        "</tresk_node></tresk_user></tresk_root>");
    EXPECT_EQ(treskctl({"netctl", "list", "--uid", "0"}),
              succeeded("TYPE  SERVER TYPE  NAME     ICO      DESKTOP  HASH  PATH\n"
                        "1     0            unknown  unknown  unknown  a1    /opt/a\n"));
    EXPECT_EQ(treskctl({"netctl", "user-distinct"}),
              failed("treskctl: netctl user-distinct: /etc/tresk/netctl/netctl.xml: the policy does not have "
                     "the setting\n"));
}

TEST_F(NetctlQueryTest, AFileThatIsNoPolicyIsAFailure)
{
    write_rules("<other_root/>");
    for (const char* command : {"list", "user-distinct"}) {
        EXPECT_EQ(treskctl({"netctl", command}),
                  failed("treskctl: netctl " + std::string(command) +
                         ": /etc/tresk/netctl/netctl.xml: the file is no network control policy\n"));
    }
}

TEST_F(NetctlQueryTest, AFailedListIsADocumentWithAnEmptyTable)
{
    write_rules("<other_root/>");
    const Outcome outcome = treskctl({"netctl", "list", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.output),
              json::parse(R"({"version": 1, "command": "netctl list", "entries": []})"));
    EXPECT_EQ(parsed(outcome.error)["errors"][0]["cause"], "policy");
}

TEST_F(NetctlQueryTest, ShowTellsTheRuleOfAPath)
{
    write_rules(two_users("1"));
    EXPECT_EQ(treskctl({"netctl", "show", "/opt/a", "--uid", "root"}),
              succeeded("TYPE  SERVER TYPE  NAME  ICO    DESKTOP    HASH  PATH\n"
                        "1     4            A     a.png  a.desktop  a1    /opt/a\n"));
}

TEST_F(NetctlQueryTest, ShowOfAnotherUsersProgramIsAFailure)
{
    write_rules(two_users("1"));
    EXPECT_EQ(treskctl({"netctl", "show", "/opt/a", "--uid", "1000"}),
              failed("treskctl: netctl show: /opt/a: not under network control\n"));
}

TEST_F(NetctlQueryTest, ShowFindsWhatTheServiceWrote)
{
    treskctl({"netctl", "add", kProgram, "--uid", "1000", "--type", "1", "--name", "C\xc3\xa4t"});
    const json entry =
        parsed(treskctl({"netctl", "show", kProgram, "--uid", "1000", "--json"}).output)["entries"][0];
    EXPECT_EQ(entry["path"], kProgram);
    EXPECT_EQ(entry["hash"], kHashForAll);
    EXPECT_EQ(entry["name"], "C\xc3\xa4t");
    EXPECT_EQ(entry["ico"], "");
}

TEST_F(NetctlQueryTest, TheHashHoldsTheUserWhileUsersAreDistinguished)
{
    const std::string header = "HASH" + std::string(62, ' ') + "PATH\n";
    write_rules(two_users("0"));
    EXPECT_EQ(treskctl({"netctl", "hash", kProgram, "--uid", "1000"}),
              succeeded(header + kHashForAll + "  /usr/bin/cat\n"));
    write_rules(two_users("1"));
    EXPECT_EQ(treskctl({"netctl", "hash", kProgram, "--uid", "1000"}),
              succeeded(header + kHashForUser + "  /usr/bin/cat\n"));
}

TEST_F(NetctlQueryTest, NoHashIsToldWhileItIsNotKnownWhatItHolds)
{
    write_rules("<other_root/>");
    EXPECT_EQ(treskctl({"netctl", "hash", kProgram}),
              failed("treskctl: netctl hash: /etc/tresk/netctl/netctl.xml: the file is no network control "
                     "policy\n"));
}

TEST_F(NetctlQueryTest, PermissionIsTheServicesAnswer)
{
    write_state("netflow_permission", "3\n");
    EXPECT_EQ(treskctl({"netctl", "permission"}), succeeded("ANSWER\n3\n"));
    EXPECT_EQ(treskctl_without_bus({"netctl", "permission"}).exit_status, 1);
}

} // namespace

} // namespace tresk::test
