// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "netctl add", "update", "remove" and "user-distinct on|off": what is sent, and what is said of refusals.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <gmock/gmock.h>
#include <unistd.h>

namespace tresk::test {

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string kNetctl = "/etc/tresk/netctl/netctl.xml";
constexpr std::size_t kLongestText = 4095;
constexpr std::size_t kLongestDisplayName = 254;

class NetctlEditTest : public TreskctlTest {
  protected:
    static Outcome add(const std::string& type = "1")
    {
        return treskctl({"netctl", "add", kProgram, "--uid", "1000", "--type", type});
    }

    static std::string policy() { return read_file(kNetctl).value_or(""); }
};

TEST_F(NetctlEditTest, AddSendsWhatIsGivenAndEmptyTextsForTheRest)
{
    EXPECT_EQ(add(), succeeded("RESULT      PATH\ncontrolled  /usr/bin/cat\n"));
    EXPECT_TRUE(service_was_asked("tresk_netctl_add (1000, '/usr/bin/cat', 1, '', '', 0)"));
    EXPECT_THAT(policy(), HasSubstr("path=\"/usr/bin/cat\""));
}

TEST_F(NetctlEditTest, AddSendsEachOptionInItsPlace)
{
    EXPECT_EQ(treskctl({"netctl", "add", kProgram, "--uid", "0", "--type", "-3", "--name", "Cat", "--ico",
                        "cat.png", "--server-type", "7"})
                  .exit_status,
              0);
    EXPECT_TRUE(service_was_asked("tresk_netctl_add (0, '/usr/bin/cat', -3, 'Cat', 'cat.png', 7)"));
}

TEST_F(NetctlEditTest, ADesktopEntryMakesItTheExtendedCallEvenIfEmpty)
{
    treskctl({"netctl", "add", kProgram, "--uid", "0", "--type", "1", "--desktop", "cat.desktop"});
    EXPECT_TRUE(service_was_asked("tresk_netctl_ext_add (0, '/usr/bin/cat', 1, '', '', 'cat.desktop', 0)"));
    treskctl({"netctl", "update", kProgram, "--uid", "0", "--type", "1", "--desktop", ""});
    EXPECT_TRUE(service_was_asked("tresk_netctl_ext_update (0, '/usr/bin/cat', 1, '', '', '', 0)"));
}

TEST_F(NetctlEditTest, TheUserIsTheCallerWhenNoneIsGiven)
{
    treskctl({"netctl", "add", kProgram, "--type", "1"});
    EXPECT_TRUE(service_was_asked("tresk_netctl_add (" + std::to_string(::getuid()) +
                                  ", '/usr/bin/cat', 1, '', '', 0)"));
}

TEST_F(NetctlEditTest, TheUserMayBeGivenByName)
{
    treskctl({"netctl", "remove", kProgram, "--uid", "daemon"});
    EXPECT_TRUE(service_was_asked("tresk_netctl_remove (1, '/usr/bin/cat')"));
}

TEST_F(NetctlEditTest, TheLargestUserNumberIsSentWhole)
{
    treskctl({"netctl", "remove", kProgram, "--uid", "4294967295"});
    EXPECT_TRUE(service_was_asked("tresk_netctl_remove (4294967295, '/usr/bin/cat')"));
}

TEST_F(NetctlEditTest, EditsGoOnAfterAPathThatFailed)
{
    EXPECT_EQ(treskctl({"netctl", "update", "/usr/bin/env", kProgram, "--uid", "1000", "--type", "5"}),
              failed("treskctl: netctl update: /usr/bin/env: the service answered -3\n"
                     "treskctl: netctl update: /usr/bin/cat: the service answered -3\n"));
    add();
    EXPECT_EQ(treskctl({"netctl", "update", "/usr/bin/env", kProgram, "--uid", "1000", "--type", "5"}),
              (Outcome{1, "RESULT   PATH\nupdated  /usr/bin/cat\n",
                       "treskctl: netctl update: /usr/bin/env: the service answered -3\n"}));
    EXPECT_THAT(policy(), HasSubstr("<type>5</type>"));
}

TEST_F(NetctlEditTest, RemoveTakesTheRuleAway)
{
    add("2");
    EXPECT_EQ(read_state("scene/netctl"), "/usr/bin/cat\n");
    EXPECT_EQ(treskctl({"netctl", "remove", kProgram, "--uid", "1000"}),
              succeeded("RESULT    PATH\nreleased  /usr/bin/cat\n"));
    EXPECT_THAT(policy(), Not(HasSubstr(kProgram)));
    EXPECT_EQ(read_state("scene/netctl"), "");
}

TEST_F(NetctlEditTest, APathThatTheSceneHasIsASceneFailureForAdd)
{
    add("2");
    EXPECT_EQ(add("2"),
              failed("treskctl: netctl add: /usr/bin/cat: the framework's scene library failed with code -2; "
                     "the service was not asked\n"
                     "treskctl: library: tresk scene add netctl error -2\n"));
}

TEST_F(NetctlEditTest, ASceneMessageWithoutALineEndIsALine)
{
    write_state("scene-faults", "tresk_scene_netctl_add_by_path -9\n");
    const Outcome outcome =
        treskctl({"netctl", "update", kProgram, "--uid", "1000", "--type", "2", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.output), json::parse(R"({"version": 1, "command": "netctl update",
        "results": []})"));
    EXPECT_EQ(parsed(outcome.error), json::parse(R"({"version": 1, "command": "netctl update",
        "errors": [{"cause": "scene", "subject": "/usr/bin/cat", "code": -9, "name": null, "message":
            "the framework's scene library failed with code -9; the service was not asked"}],
        "library": ["tresk scene netctl update(add) error -9"]})"));
}

TEST_F(NetctlEditTest, ARefusalPointsToTheLogThatHasItsReason)
{
    refuse("tresk_netctl_add", "MERON.TRESK.NETCTL.ERR");
    EXPECT_EQ(
        add(),
        failed(
            "treskctl: netctl add: /usr/bin/cat: the service refused; the framework's log has the reason\n"));
}

TEST_F(NetctlEditTest, AServiceThatIsNotThereIsNamedAsTheCause)
{
    EXPECT_EQ(
        treskctl_without_bus({"netctl", "add", kProgram, "--type", "1"}),
        failed("treskctl: netctl add: /usr/bin/cat: no answer, and a status query fails too: the service "
               "could not be reached, or failed for an unknown reason (TRESK_ERROR_SERVICE, -1011)\n"));
}

TEST_F(NetctlEditTest, TextsThatAreNotUtf8AreRefusedWithTheReason)
{
    const std::string reason = "an argument was refused: the service takes only UTF-8 "
                               "(TRESK_ERROR_INVALID_ARGUMENT, -1007)\n";
    EXPECT_EQ(treskctl({"netctl", "add", "/a\xff", "--type", "1"}),
              failed("treskctl: netctl add: /a\\xff: " + reason));
    for (const char* option : {"--name", "--ico", "--desktop"}) {
        EXPECT_EQ(treskctl({"netctl", "add", kProgram, "--type", "2", option, "\xff"}),
                  failed("treskctl: netctl add: /usr/bin/cat: " + reason))
            << option;
    }
    EXPECT_EQ(read_state("scene/netctl"), "");
}

TEST_F(NetctlEditTest, TextsThatTheLibraryWouldCutAreWrongUsage)
{
    const std::string hint = "Run \"treskctl --help\" or \"treskctl COMMAND --help\".\n";
    const std::string text(kLongestText + 1, 'x');
    for (const char* option : {"--ico", "--desktop"}) {
        EXPECT_EQ(treskctl({"netctl", "add", kProgram, "--type", "1", option, text}),
                  (Outcome{2, "", "treskctl: " + std::string(option) + ": longer than 4095 bytes\n" + hint}));
    }
    EXPECT_EQ(treskctl({"netctl", "add", "/" + text, "--type", "1"}),
              (Outcome{2, "", "treskctl: PATH: longer than 4095 bytes\n" + hint}));
    EXPECT_EQ(treskctl({"netctl", "add", kProgram, "--type", "1", "--name",
                        std::string(kLongestDisplayName + 1, 'x')}),
              (Outcome{2, "", "treskctl: --name: longer than 254 bytes\n" + hint}));
    EXPECT_EQ(read_state("service.log"), "");
}

TEST_F(NetctlEditTest, TheLongestTextsAreSentWhole)
{
    const std::string text(kLongestText, 'x');
    const std::string name(kLongestDisplayName, 'n');
    EXPECT_EQ(
        treskctl({"netctl", "add", kProgram, "--uid", "0", "--type", "1", "--ico", text, "--name", name})
            .exit_status,
        0);
    EXPECT_TRUE(
        service_was_asked("tresk_netctl_add (0, '/usr/bin/cat', 1, '" + name + "', '" + text + "', 0)"));
}

TEST_F(NetctlEditTest, UserDistinctIsSetAndShown)
{
    EXPECT_EQ(treskctl({"netctl", "user-distinct", "on"}),
              succeeded("SWITCH         STATE\nuser-distinct  on\n"));
    EXPECT_TRUE(service_was_asked("tresk_netctl_set_user_distinguish (1,)"));
    EXPECT_EQ(treskctl({"netctl", "user-distinct"}), succeeded("SWITCH         STATE\nuser-distinct  on\n"));
    EXPECT_EQ(treskctl({"netctl", "user-distinct", "off"}),
              succeeded("SWITCH         STATE\nuser-distinct  off\n"));
    EXPECT_EQ(parsed(treskctl({"netctl", "user-distinct", "--json"}).output),
              json::parse(R"({"version": 1, "command": "netctl user-distinct",
                              "switches": [{"switch": "user-distinct", "state": "off"}]})"));
}

TEST_F(NetctlEditTest, ARefusedUserDistinctIsAFailure)
{
    refuse("tresk_netctl_set_user_distinguish", "MERON.TRESK.AUTH.FAILED");
    EXPECT_EQ(
        treskctl({"netctl", "user-distinct", "on"}),
        failed("treskctl: netctl user-distinct: the service refused; the framework's log has the reason\n"));
}

} // namespace

} // namespace tresk::test
