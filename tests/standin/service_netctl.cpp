// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

namespace tresk::test {

namespace {

/// SM3 digests of "/usr/bin/app", alone and followed by "+1000", "+1001", "+-1" and "+100000000".
constexpr char kAppKey[] = "f713b9efc8e7ab5899cf8bfd43446e812edc5c96dc09122dc71ce91fc41ca700";
constexpr char kAppKeyOf1000[] = "924fdf993dacc31b5951964ef88d3a6df85335b41e7bef198a4f074766ae1514";
constexpr char kAppKeyOf1001[] = "d5e1c9b02f683337c289c2a09d23d4cf001eaaa384f648b6bd45512bc55264af";
constexpr char kAppKeyOfMinus1[] = "36743a70db3cf65d12b9e9754f2d3326adcb60f7980f114649b999e3584666b7";
constexpr char kAppKeyOf100000000[] = "13f79b15245274ce9abd67fbf84416ca30f7c23764623d99b3a00fb63b4f09bc";

std::string document(int distinction, const std::string& sections)
{
    const std::string root = kXmlHead + ("<tresk_root user_dist=\"" + std::to_string(distinction));
    return root + (sections.empty() ? "\"/>\n" : "\">" + sections + "</tresk_root>\n");
}

std::string section(const std::string& uid, const std::string& nodes)
{
    return "<tresk_user userID=\"" + uid + (nodes.empty() ? "\"/>" : "\">" + nodes + "</tresk_user>");
}

std::string node(const std::string& key, const std::string& children)
{
    return R"(<tresk_node path="/usr/bin/app"><hash>)" + key + "</hash>" + children + "</tresk_node>";
}

/// What "(uint32 UID, '/usr/bin/app', 2, 'App', 'app.png', 7)" stores next to the hash.
constexpr char kChildren[] = "<type>2</type><name>App</name><ico>app.png</ico><server_type>7</server_type>";

std::string app_of(const std::string& uid)
{
    return "(uint32 " + uid + ", '/usr/bin/app', 2, 'App', 'app.png', 7)";
}

class ServiceNetctl : public ServiceScene {
  protected:
    ServiceNetctl() { start_service(); }

    Outcome netctl(const std::string& method, const std::string& arguments)
    {
        return call("netctl", "tresk_netctl_" + method, arguments);
    }

    Outcome add(const std::string& arguments) { return netctl("add", arguments); }

    Outcome remove(const std::string& uid)
    {
        return netctl("remove", "(uint32 " + uid + ", '/usr/bin/app')");
    }

    Outcome distinguish(const std::string& value)
    {
        return netctl("set_user_distinguish", "(uint32 " + value + ",)");
    }

    std::filesystem::path programs = etc / "netctl" / "netctl.xml";
    std::filesystem::path packages = etc / "netctl" / "netctl_pkg.xml";
};

} // namespace

TEST_F(ServiceNetctl, AddWritesTheWholeDocument)
{
    EXPECT_EQ(add(app_of("1000")), replied("(0,)"));
    EXPECT_EQ(text_of(programs), document(0, section("1000", node(kAppKey, kChildren))));
}

TEST_F(ServiceNetctl, ExtendedAddStoresTheDesktopEntryToo)
{
    EXPECT_EQ(netctl("ext_add", "(uint32 0, '/usr/bin/app', -1, '', 'i', 'd', -2)"), replied("(0,)"));
    EXPECT_EQ(text_of(programs),
              document(0, section("0", node(kAppKey, "<type>-1</type><name/><ico>i</ico>"
                                                     "<desktop>d</desktop><server_type>-2</server_type>"))));
}

TEST_F(ServiceNetctl, ProgramIsOneForAllUsersWhileTheyAreNotDistinguished)
{
    add(app_of("1000"));
    EXPECT_EQ(add(app_of("1001")), replied("(-2,)"));
    EXPECT_EQ(netctl("update", "(uint32 1001, '/usr/bin/app', 3, 'B', '', 0)"), replied("(0,)"));
    EXPECT_EQ(text_of(programs),
              document(0, section("1000", node(kAppKey, "<type>3</type><name>B</name><ico/>"
                                                        "<server_type>0</server_type>"))));
    EXPECT_EQ(remove("1001"), replied("(0,)"));
    EXPECT_EQ(text_of(programs), document(0, section("1000", "")));
    EXPECT_EQ(remove("1000"), replied("(-3,)"));
}

TEST_F(ServiceNetctl, ProgramIsOnePerUserWhileTheyAreDistinguished)
{
    distinguish("1");
    EXPECT_EQ(add(app_of("1000")), replied("(0,)"));
    EXPECT_EQ(add(app_of("1001")), replied("(0,)"));
    EXPECT_EQ(add(app_of("1001")), replied("(-2,)"));
    EXPECT_EQ(text_of(programs), document(1, section("1000", node(kAppKeyOf1000, kChildren)) +
                                                 section("1001", node(kAppKeyOf1001, kChildren))));
    EXPECT_EQ(remove("1002"), replied("(-3,)"));
    EXPECT_EQ(remove("1000"), replied("(0,)"));
    EXPECT_EQ(remove("1000"), replied("(-3,)"));
    EXPECT_EQ(text_of(programs),
              document(1, section("1000", "") + section("1001", node(kAppKeyOf1001, kChildren))));
}

TEST_F(ServiceNetctl, UpdateLeavesWhatItsCallDoesNotCarry)
{
    netctl("ext_add", "(uint32 1000, '/usr/bin/app', 2, 'App', 'app.png', 'app.desktop', 7)");
    EXPECT_EQ(netctl("update", "(uint32 1000, '/usr/bin/app', 1, 'B', 'b.png', 8)"), replied("(0,)"));
    EXPECT_EQ(text_of(programs),
              document(0, section("1000", node(kAppKey, "<type>1</type><name>B</name><ico>b.png</ico>"
                                                        "<desktop>app.desktop</desktop>"
                                                        "<server_type>8</server_type>"))));
}

TEST_F(ServiceNetctl, ExtendedUpdateAddsTheDesktopEntry)
{
    add(app_of("1000"));
    EXPECT_EQ(netctl("ext_update", "(uint32 1000, '/usr/bin/app', 2, 'App', 'app.png', 'd', 7)"),
              replied("(0,)"));
    EXPECT_EQ(text_of(programs),
              document(0, section("1000", node(kAppKey, std::string(kChildren) + "<desktop>d</desktop>"))));
}

TEST_F(ServiceNetctl, DistinctionRenewsEveryHash)
{
    add(app_of("1000"));
    EXPECT_EQ(distinguish("1"), replied("(0,)"));
    EXPECT_EQ(text_of(programs), document(1, section("1000", node(kAppKeyOf1000, kChildren))));
    add(app_of("1001"));
    EXPECT_EQ(distinguish("0"), replied("(0,)"));
    EXPECT_EQ(text_of(programs), document(0, section("1000", node(kAppKey, kChildren)) +
                                                 section("1001", node(kAppKey, kChildren))));
}

TEST_F(ServiceNetctl, EntriesAddedPerUserAreChangedTogetherAfterwards)
{
    distinguish("1");
    add(app_of("1000"));
    add(app_of("1001"));
    distinguish("0");
    EXPECT_EQ(add(app_of("1002")), replied("(-2,)"));
    EXPECT_EQ(remove("1002"), replied("(0,)"));
    EXPECT_EQ(text_of(programs), document(0, section("1000", "") + section("1001", "")));
}

TEST_F(ServiceNetctl, DistinctionMakesThePolicy)
{
    EXPECT_EQ(distinguish("1"), replied("(0,)"));
    EXPECT_EQ(text_of(programs), document(1, ""));
    EXPECT_FALSE(std::filesystem::exists(packages));
}

TEST_F(ServiceNetctl, DistinctionBecomesTheRootsFirstAttribute)
{
    write_file(programs, R"(<tresk_root note="n" user_dist="3"><tresk_user userID="1000"/></tresk_root>)");
    add(app_of("1000"));
    const std::string content = kXmlHead + std::string(R"(<tresk_root user_dist="1" note="n">)") +
                                section("1000", node(kAppKeyOf1000, kChildren)) + "</tresk_root>\n";
    EXPECT_EQ(text_of(programs), content);
}

TEST_F(ServiceNetctl, DistinctionOutOfRangeChangesNothing)
{
    EXPECT_EQ(distinguish("2"), refused(kInvalidArgument, "the distinction is out of range (0 to 1): 2"));
    EXPECT_EQ(distinguish("4294967295"),
              refused(kInvalidArgument, "the distinction is out of range (0 to 1): 4294967295"));
    EXPECT_FALSE(std::filesystem::exists(programs));
}

TEST_F(ServiceNetctl, DistinctionIsCopiedToThePackages)
{
    write_file(packages, R"(<tresk_root user_dist="0"><other/></tresk_root>)");
    EXPECT_EQ(distinguish("1"), replied("(0,)"));
    EXPECT_EQ(text_of(packages), document(1, "<other/>"));
}

TEST_F(ServiceNetctl, DistinctionIsNotSwitchedWhenThePackagesCannotBeRead)
{
    add(app_of("1000"));
    write_file(packages, "nonsense");
    EXPECT_EQ(distinguish("1").error, kDatabaseError);
    EXPECT_EQ(text_of(programs), document(0, section("1000", node(kAppKey, kChildren))));
    EXPECT_EQ(text_of(packages), "nonsense");
}

TEST_F(ServiceNetctl, DistinctionGivesNoHashToAnEntryWithoutOne)
{
    const std::string nodes = R"(<tresk_node path="/a"><type>1</type></tresk_node>)";
    write_file(programs, document(0, section("5", nodes)));
    distinguish("1");
    EXPECT_EQ(text_of(programs), document(1, section("5", nodes)));
}

TEST_F(ServiceNetctl, HashTakesTheUidAsASignedNumber)
{
    distinguish("1");
    add(app_of("4294967295"));
    EXPECT_EQ(text_of(programs), document(1, section("4294967295", node(kAppKeyOfMinus1, kChildren))));
}

TEST_F(ServiceNetctl, HashTakesTheFirstNineDigitsOfALongUid)
{
    distinguish("1");
    add(app_of("1000000007"));
    EXPECT_EQ(text_of(programs), document(1, section("1000000007", node(kAppKeyOf100000000, kChildren))));
}

TEST_F(ServiceNetctl, HashOfTheLongestPathIsThatOfThePathAlone)
{
    const std::string path = "/" + std::string(4094, 'a');
    distinguish("1");
    add("(uint32 1000, '" + path + "', 1, '', '', 0)");
    const std::string distinguished = text_of(programs);
    const std::size_t key = distinguished.find("<hash>");
    ASSERT_NE(key, std::string::npos);
    distinguish("0");
    EXPECT_EQ(text_of(programs).substr(key), distinguished.substr(key));
}

TEST_F(ServiceNetctl, HashIsZeroWhileFunction8IsOn)
{
    call("xattr", "tresk_xattr_set_func_status", "(8, 1)");
    add(app_of("1000"));
    EXPECT_EQ(text_of(programs), document(0, section("1000", node(std::string(64, '0'), kChildren))));
    call("xattr", "tresk_xattr_set_func_status", "(8, 0)");
    netctl("update", app_of("1000"));
    EXPECT_EQ(text_of(programs), document(0, section("1000", node(kAppKey, kChildren))));
}

TEST_F(ServiceNetctl, EditsWorkOnTheFirstSectionOfADistinguishedUser)
{
    write_file(programs, document(1, section("1000", "") + section("1000", node("old", ""))));
    EXPECT_EQ(remove("1000"), replied("(-3,)"));
    EXPECT_EQ(add(app_of("1000")), replied("(0,)"));
    EXPECT_EQ(text_of(programs), document(1, section("1000", node(kAppKeyOf1000, kChildren)) +
                                                 section("1000", node("old", ""))));
}

TEST_F(ServiceNetctl, ElementsWithAnotherFirstAttributeAreOverlooked)
{
    const std::string others =
        R"(<tresk_user x="" userID="1000"><tresk_node path="/usr/bin/app"/></tresk_user>)"
        R"(<tresk_user userID="5"><tresk_node x="" path="/usr/bin/app"/></tresk_user>)";
    write_file(programs, document(0, others));
    EXPECT_EQ(remove("1000"), replied("(-3,)"));
    EXPECT_EQ(add(app_of("1000")), replied("(0,)"));
    EXPECT_EQ(text_of(programs), document(0, others + section("1000", node(kAppKey, kChildren))));
}

TEST_F(ServiceNetctl, SpecialCharactersAreEscapedAndFoundAgain)
{
    const std::string path = R"('/opt/"a"<&>\n\t ü')";
    EXPECT_EQ(add("(uint32 5, " + path + R"(, 1, '<n>&"\n', '\t', 0))"), replied("(0,)"));
    const std::string content = text_of(programs);
    EXPECT_NE(content.find("<tresk_node path=\"/opt/&quot;a&quot;&lt;&amp;&gt;&#10;&#9; \xC3\xBC\"><hash>"),
              std::string::npos)
        << content;
    EXPECT_NE(content.find("<name>&lt;n&gt;&amp;\"\n</name><ico>\t</ico>"), std::string::npos) << content;
    EXPECT_EQ(add("(uint32 5, " + path + ", 1, '', '', 0)"), replied("(-2,)"));
    EXPECT_EQ(netctl("remove", "(uint32 5, " + path + ")"), replied("(0,)"));
}

TEST_F(ServiceNetctl, PathUnderAHomeFolderIsStoredAsItCame)
{
    add("(uint32 5, '/data/home/u/app', 1, '', '', 0)");
    add("(uint32 5, '/home/u/app', 1, '', '', 0)");
    const std::string content = text_of(programs);
    EXPECT_NE(content.find(R"(path="/data/home/u/app")"), std::string::npos);
    EXPECT_NE(content.find(R"(path="/home/u/app")"), std::string::npos);
}

TEST_F(ServiceNetctl, UnusableArgumentsAreRefused)
{
    const std::string rest = "', 1, '', '', 0)";
    EXPECT_EQ(add("(uint32 5, '" + rest), refused(kInvalidArgument, "the path is not absolute"));
    EXPECT_EQ(add("(uint32 5, 'usr/bin/app" + rest), refused(kInvalidArgument, "the path is not absolute"));
    EXPECT_EQ(add("(uint32 5, '/" + std::string(4095, 'a') + rest),
              refused(kInvalidArgument, "the path is too long"));
    const Outcome unstorable = refused(kInvalidArgument, "a text holds characters that a policy cannot hold");
    EXPECT_EQ(add("(uint32 5, '/\\u0001" + rest), unstorable);
    EXPECT_EQ(add("(uint32 5, '/a', 1, '\\u0001', '', 0)"), unstorable);
    EXPECT_EQ(netctl("remove", "(uint32 5, 'a')"), refused(kInvalidArgument, "the path is not absolute"));
    EXPECT_FALSE(std::filesystem::exists(programs));
}

TEST_F(ServiceNetctl, TextsHoldUpTo4095Bytes)
{
    const std::string longest(4095, 'x');
    EXPECT_EQ(
        netctl("ext_add", "(uint32 5, '/a', 1, '" + longest + "', '" + longest + "', '" + longest + "', 0)"),
        replied("(0,)"));
    const Outcome too_long = refused(kInvalidArgument, "a text is too long");
    EXPECT_EQ(netctl("ext_add", "(uint32 5, '/b', 1, '', '" + longest + "x', '', 0)"), too_long);
    EXPECT_EQ(netctl("ext_update", "(uint32 5, '/a', 1, '', '', '" + longest + "x', 0)"), too_long);
}

} // namespace tresk::test
