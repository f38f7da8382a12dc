// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "pkg": network control of packages.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace tresk::test {

namespace {

using nlohmann::json;
using ::testing::HasSubstr;

const std::string kNetctl = "/etc/tresk/netctl/netctl.xml";
const std::string kPackages = "/etc/tresk/netctl/netctl_pkg.xml";
constexpr std::size_t kLongestText = 4095;

const std::string kTwoRules = R"(<tresk_root user_dist="0"><tresk_user userID="0">
<tresk_node pkg="there"><path>/usr/bin/cat</path><type>1</type><ico>t.png</ico><server_type>2</server_type></tresk_node>
<tresk_node pkg="gone"><path>/no/such/file</path><type>2</type></tresk_node>
</tresk_user></tresk_root>
)";

class PkgTest : public TreskctlTest {
  protected:
    void SetUp() override
    {
        TreskctlTest::SetUp();
        write_file(kNetctl, "<tresk_root user_dist=\"0\"/>");
    }

    static Outcome add(const std::string& type)
    {
        return treskctl({"pkg", "add", "bash", "--uid", "1000", "--type", type});
    }
};

TEST_F(PkgTest, AddWritesTheRuleThroughTheService)
{
    EXPECT_EQ(treskctl({"pkg", "add", "bash", "dash", "--uid", "1000", "--type", "1", "--ico", "b.png",
                        "--desktop", "b.desktop", "--server-type", "3"}),
              succeeded("RESULT      PACKAGE\ncontrolled  bash\ncontrolled  dash\n"));
    EXPECT_TRUE(service_was_asked("tresk_netctl_pkg_add (1000, 'bash', 1, 'b.png', 'b.desktop', 3)"));
    EXPECT_TRUE(service_was_asked("tresk_netctl_pkg_add (1000, 'dash', 1, 'b.png', 'b.desktop', 3)"));
}

TEST_F(PkgTest, UpdateWithAPathUsesThePathForm)
{
    add("1");
    EXPECT_EQ(treskctl({"pkg", "update", "bash", "--uid", "1000", "--type", "2"}),
              succeeded("RESULT   PACKAGE\nupdated  bash\n"));
    EXPECT_TRUE(service_was_asked("tresk_netctl_pkg_update (1000, 'bash', 2, '', '', 0)"));
    EXPECT_EQ(treskctl({"pkg", "update", "bash", "--uid", "1000", "--type", "1", "--path", kProgram}),
              succeeded("RESULT   PACKAGE\nupdated  bash\n"));
    EXPECT_TRUE(
        service_was_asked("tresk_netctl_pkg_path_update (1000, 'bash', '/usr/bin/cat', 1, '', '', 0)"));
}

TEST_F(PkgTest, AnEmptyPathIsAPathAndRefusedByTheService)
{
    add("1");
    EXPECT_EQ(
        treskctl({"pkg", "update", "bash", "--uid", "1000", "--type", "1", "--path", ""}),
        failed("treskctl: pkg update: bash: the service refused; the framework's log has the reason\n"));
    EXPECT_TRUE(service_was_asked("tresk_netctl_pkg_path_update (1000, 'bash', '', 1, '', '', 0)"));
}

TEST_F(PkgTest, RemoveTakesTheRuleAway)
{
    add("2");
    EXPECT_EQ(read_state("scene/netctl_pkg"), "bash\n");
    EXPECT_EQ(treskctl({"pkg", "remove", "bash", "--uid", "1000"}),
              succeeded("RESULT    PACKAGE\nreleased  bash\n"));
    EXPECT_EQ(read_state("scene/netctl_pkg"), "");
    EXPECT_EQ(treskctl({"pkg", "remove", "bash", "--uid", "1000"}),
              failed("treskctl: pkg remove: bash: the service answered -3\n"));
}

TEST_F(PkgTest, ASceneFailureIsToldWithTheLibrarysLine)
{
    write_state("scene-faults", "tresk_scene_netctl_remove_by_package -9\n");
    EXPECT_EQ(treskctl({"pkg", "remove", "bash"}),
              failed("treskctl: pkg remove: bash: the framework's scene library failed with code -9; the "
                     "service was not asked\n"
                     "treskctl: library: tresk scene netctl remove error -9\n"));
}

TEST_F(PkgTest, TextsThatAreNotUtf8AreRefusedWithTheReason)
{
    const std::string reason = "an argument was refused: the service takes only UTF-8 "
                               "(TRESK_ERROR_INVALID_ARGUMENT, -1007)\n";
    EXPECT_EQ(treskctl({"pkg", "add", "a\xff", "--type", "1"}),
              failed("treskctl: pkg add: a\\xff: " + reason));
    EXPECT_EQ(treskctl({"pkg", "update", "bash", "--type", "1", "--path", "/\xff"}),
              failed("treskctl: pkg update: bash: " + reason));
}

TEST_F(PkgTest, APackageNameThatTheLibraryWouldCutIsWrongUsage)
{
    const Outcome outcome = treskctl({"pkg", "add", std::string(kLongestText + 1, 'x'), "--type", "1"});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: PACKAGE: longer than 4095 bytes\n"));
}

TEST_F(PkgTest, ListOfAMissingPolicyIsEmptyAndMakesThePolicy)
{
    EXPECT_EQ(treskctl({"pkg", "list"}), succeeded("TYPE  SERVER TYPE  ICO  DESKTOP  PACKAGE\n"));
    EXPECT_TRUE(std::filesystem::exists(kPackages));
}

TEST_F(PkgTest, ListLeavesOutPackagesWhoseProgramIsGone)
{
    write_file(kPackages, kTwoRules);
    EXPECT_EQ(treskctl({"pkg", "list"}), succeeded("TYPE  SERVER TYPE  ICO    DESKTOP  PACKAGE\n"
                                                   "1     2            t.png  unknown  there\n"));
}

TEST_F(PkgTest, ListGoesByTheProgramsPolicysUserDistinction)
{
    write_file(kPackages, kTwoRules);
    write_file(kNetctl, "<tresk_root user_dist=\"1\"/>");
    EXPECT_EQ(parsed(treskctl({"pkg", "list", "--uid", "1000", "--json"}).output),
              json::parse(R"({"version": 1, "command": "pkg list", "entries": []})"));
    EXPECT_EQ(parsed(treskctl({"pkg", "list", "--uid", "0", "--json"}).output)["entries"],
              json::parse(R"([{"type": 1, "server_type": 2, "ico": "t.png", "desktop": "unknown",
                               "package": "there"}])"));
}

TEST_F(PkgTest, ListFailsWhenEitherPolicyCannotBeRead)
{
    write_file(kPackages, "<other_root/>");
    EXPECT_EQ(treskctl({"pkg", "list"}),
              failed("treskctl: pkg list: /etc/tresk/netctl/netctl_pkg.xml: the file is no network control "
                     "policy of packages\n"));
    write_file(kNetctl, "<other_root/>");
    EXPECT_EQ(treskctl({"pkg", "list"}),
              failed("treskctl: pkg list: /etc/tresk/netctl/netctl.xml: the file is no network control "
                     "policy\n"));
}

TEST_F(PkgTest, ShowTellsTheProgramFileWhetherItExistsOrNot)
{
    write_file(kPackages, kTwoRules);
    EXPECT_EQ(treskctl({"pkg", "show", "there"}),
              succeeded("TYPE  SERVER TYPE  ICO    DESKTOP  PATH          PACKAGE\n"
                        "1     2            t.png  unknown  /usr/bin/cat  there\n"));
    EXPECT_EQ(treskctl({"pkg", "show", "gone"}),
              succeeded("TYPE  SERVER TYPE  ICO      DESKTOP  PATH           PACKAGE\n"
                        "2     0            unknown  unknown  /no/such/file  gone\n"));
}

TEST_F(PkgTest, ShowOfAnUnknownPackageIsAFailure)
{
    write_file(kPackages, kTwoRules);
    EXPECT_EQ(treskctl({"pkg", "show", "other"}),
              failed("treskctl: pkg show: other: not under network control\n"));
}

TEST_F(PkgTest, ShowOfAFileThatIsNoPolicyIsNotTakenForAMissingRule)
{
    write_file(kPackages, "<other_root/>");
    EXPECT_EQ(treskctl({"pkg", "show", "there"}),
              failed("treskctl: pkg show: /etc/tresk/netctl/netctl_pkg.xml: the file is no network control "
                     "policy of packages\n"));
}

TEST_F(PkgTest, InstalledTellsForEachPackage)
{
    EXPECT_EQ(treskctl({"pkg", "installed", "coreutils", "coreutil"}),
              succeeded("INSTALLED  PACKAGE\nyes        coreutils\nno         coreutil\n"));
}

TEST_F(PkgTest, InstalledGoesOnAfterANameThatIsRefused)
{
    const Outcome outcome = treskctl({"pkg", "installed", "a;b", "coreutils", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.output)["packages"],
              json::parse(R"([{"installed": true, "package": "coreutils"}])"));
    const json error = parsed(outcome.error)["errors"][0];
    EXPECT_EQ(error["cause"], "no_answer");
    EXPECT_EQ(error["subject"], "a;b");
    EXPECT_EQ(error["code"], -1);
}

} // namespace

} // namespace tresk::test
