// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

namespace tresk::test {

namespace {

std::string document(const std::string& lists)
{
    return kXmlHead + ("<tresk_root>" + lists) + "</tresk_root>\n";
}

std::string list(const std::string& name, const std::string& nodes)
{
    return "<tresk_bwlist bw_value=\"" + name + (nodes.empty() ? "\"/>" : "\">" + nodes + "</tresk_bwlist>");
}

std::string node(const std::string& package, int type, const std::string& source)
{
    return R"(<tresk_node rpm_name=")" + package + R"(" data_source_type=")" + std::to_string(type) +
           R"(" data_source_name=")" + source + R"("/>)";
}

class ServiceBwlist : public ServiceScene {
  protected:
    ServiceBwlist() { start_service(); }

    Outcome bwlist(const std::string& method, const std::string& arguments)
    {
        return call("bwlist", "tresk_bwlist_" + method, arguments);
    }

    Outcome add(const std::string& arguments) { return bwlist("add_zdk", arguments); }

    Outcome remove(const std::string& arguments) { return bwlist("del_zdk", arguments); }

    Outcome clear(const std::string& arguments) { return bwlist("clear_policy_zdk", arguments); }

    Outcome distinction(const std::string& arguments)
    {
        return bwlist("get_root_distinguish_zdk", arguments);
    }

    Outcome set_distinction(const std::string& arguments)
    {
        return bwlist("set_root_distinguish_zdk", arguments);
    }

    std::filesystem::path lists = etc / "bwlist" / "bwlist.xml";
};

} // namespace

TEST_F(ServiceBwlist, AddWritesTheWholeDocument)
{
    EXPECT_EQ(add("('white', 'bash', 1, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(lists), document(list("white", node("bash", 1, ""))));
}

TEST_F(ServiceBwlist, ListIsMadeOnce)
{
    add("('white', 'bash', 1, '')");
    add("('black', 'bash', 1, '')");
    add("('white', 'grep', 2, 'src')");
    EXPECT_EQ(text_of(lists), document(list("white", node("bash", 1, "") + node("grep", 2, "src")) +
                                       list("black", node("bash", 1, ""))));
}

TEST_F(ServiceBwlist, EntriesOfTwoSourcesAreTwo)
{
    add("('white', 'bash', 1, '')");
    EXPECT_EQ(add("('white', 'bash', 2, '')"), replied("(0,)"));
    EXPECT_EQ(add("('white', 'bash', 1, 'src')"), replied("(0,)"));
    EXPECT_EQ(remove("('white', 'bash', 1, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(lists), document(list("white", node("bash", 2, "") + node("bash", 1, "src"))));
}

TEST_F(ServiceBwlist, RemovalOfTheLastEntryLeavesTheList)
{
    add("('white', 'bash', 1, '')");
    EXPECT_EQ(remove("('black', 'bash', 1, '')"), replied("(-3,)"));
    EXPECT_EQ(remove("('white', 'bash', 1, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(lists), document(list("white", "")));
}

TEST_F(ServiceBwlist, RemovalSearchesEveryListOfTheName)
{
    write_file(lists, document(list("white", node("bash", 1, "")) + list("black", node("bash", 1, "")) +
                               list("white", node("grep", 1, "") + node("bash", 1, ""))));
    EXPECT_EQ(add("('white', 'grep', 1, '')"), replied("(-2,)"));
    EXPECT_EQ(remove("('white', 'bash', 1, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(lists), document(list("white", "") + list("black", node("bash", 1, "")) +
                                       list("white", node("grep", 1, ""))));
    EXPECT_EQ(add("('white', 'sed', 1, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(lists),
              document(list("white", node("sed", 1, "")) + list("black", node("bash", 1, "")) +
                       list("white", node("grep", 1, ""))));
}

TEST_F(ServiceBwlist, EntryThatDoesNotSayItsSourceIsNoEntryOfTheEmptyOne)
{
    write_file(lists, document(list("white", R"(<tresk_node rpm_name="bash" data_source_type="1"/>)")));
    EXPECT_EQ(remove("('white', 'bash', 1, '')"), replied("(-3,)"));
    EXPECT_EQ(clear("(1, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(lists),
              document(list("white", R"(<tresk_node rpm_name="bash" data_source_type="1"/>)")));
}

TEST_F(ServiceBwlist, SpecialCharactersAreEscapedAndFoundAgain)
{
    const std::string entry = R"(('w"<', 'a&b ü', -7, 'x&"y<\n'))";
    EXPECT_EQ(add(entry), replied("(0,)"));
    EXPECT_EQ(text_of(lists),
              document(list("w&quot;&lt;", node("a&amp;b \xC3\xBC", -7, "x&amp;&quot;y&lt;&#10;"))));
    EXPECT_EQ(add(entry), replied("(-2,)"));
    EXPECT_EQ(remove(entry), replied("(0,)"));
}

TEST_F(ServiceBwlist, UnusableArgumentsAreRefused)
{
    EXPECT_EQ(add("('', 'bash', 1, '')"), refused(kInvalidArgument, "the list's name is empty"));
    EXPECT_EQ(add("('white', '', 1, '')"), refused(kInvalidArgument, "the package's name is empty"));
    EXPECT_EQ(add("('white', 'bash', 10000000, '')"),
              refused(kInvalidArgument, "the data source's type has more than 7 characters: 10000000"));
    const Outcome unstorable = refused(kInvalidArgument, "a text holds characters that a policy cannot hold");
    EXPECT_EQ(add("('\\u0001', 'bash', 1, '')"), unstorable);
    EXPECT_EQ(add("('white', '\\u0001', 1, '')"), unstorable);
    EXPECT_EQ(remove("('white', 'bash', 1, '\\u0001')"), unstorable);
    EXPECT_FALSE(std::filesystem::exists(lists));
}

TEST_F(ServiceBwlist, ClearTakesAwayTheEntriesOfOneSourceFromEveryList)
{
    add("('white', 'bash', 1, 'src')");
    add("('white', 'grep', 2, 'src')");
    add("('black', 'sed', 1, 'src')");
    add("('black', 'sed', 1, '')");
    EXPECT_EQ(clear("(1, 'src')"), replied("(0,)"));
    EXPECT_EQ(text_of(lists),
              document(list("white", node("grep", 2, "src")) + list("black", node("sed", 1, ""))));
}

TEST_F(ServiceBwlist, ClearOfNothingIsDoneAndWritesNothing)
{
    EXPECT_EQ(clear("(1, 'src')"), replied("(0,)"));
    EXPECT_FALSE(std::filesystem::exists(lists));
    EXPECT_FALSE(std::filesystem::exists(state / "bwlist_distinguish"));
}

TEST_F(ServiceBwlist, DistinctionIsKeptPerSource)
{
    EXPECT_EQ(set_distinction("(1, 2, 'my source')"), replied("(0,)"));
    EXPECT_EQ(set_distinction("(1, 3, '')"), replied("(0,)"));
    EXPECT_EQ(distinction("(2, 'my source')"), replied("(1,)"));
    EXPECT_EQ(distinction("(2, '')"), replied("(0,)"));
    EXPECT_EQ(distinction("(3, '')"), replied("(1,)"));
    EXPECT_EQ(state_file("bwlist_distinguish"), "2 my source 1\n3  1\n");
    EXPECT_EQ(set_distinction("(0, 2, 'my source')"), replied("(0,)"));
    EXPECT_EQ(distinction("(2, 'my source')"), replied("(0,)"));
    EXPECT_FALSE(std::filesystem::exists(lists));
}

TEST_F(ServiceBwlist, ClearTakesAwayTheDistinctionOfOneSource)
{
    set_distinction("(1, 2, 'a')");
    set_distinction("(1, 2, 'b')");
    EXPECT_EQ(clear("(2, 'a')"), replied("(0,)"));
    EXPECT_EQ(distinction("(2, 'a')"), replied("(0,)"));
    EXPECT_EQ(distinction("(2, 'b')"), replied("(1,)"));
    EXPECT_EQ(state_file("bwlist_distinguish"), "2 b 1\n");
}

TEST_F(ServiceBwlist, DistinctionIsReadButNotSetWhileTheFrameworkIsDisabled)
{
    set_distinction("(1, 2, 'a')");
    call("xattr", "tresk_xattr_set_status", "(0,)");
    EXPECT_EQ(distinction("(2, 'a')"), replied("(1,)"));
    EXPECT_EQ(set_distinction("(0, 2, 'a')"), refused("MERON.TRESK.DISABLED", "tresk is disabled."));
    EXPECT_EQ(state_file("bwlist_distinguish"), "2 a 1\n");
}

TEST_F(ServiceBwlist, UnusableDistinctionIsRefused)
{
    EXPECT_EQ(set_distinction("(2, 1, '')"),
              refused(kInvalidArgument, "the distinction is out of range (0 to 1): 2"));
    EXPECT_EQ(set_distinction("(-1, 1, '')"),
              refused(kInvalidArgument, "the distinction is out of range (0 to 1): -1"));
    const Outcome two_lines = refused(kInvalidArgument, "the data source's name is more than a line");
    EXPECT_EQ(set_distinction("(1, 1, 'a\\nb')"), two_lines);
    EXPECT_EQ(distinction("(1, 'a\\nb')"), two_lines);
    EXPECT_FALSE(std::filesystem::exists(state / "bwlist_distinguish"));
}

TEST_F(ServiceBwlist, ClearChangesNothingWhenTheDistinctionIsUnreadable)
{
    add("('white', 'bash', 1, '')");
    write_file(state / "bwlist_distinguish", "nonsense\n");
    EXPECT_EQ(clear("(1, '')").error, "MERON.TRESK.CONF.ERR");
    EXPECT_EQ(text_of(lists), document(list("white", node("bash", 1, ""))));
}

TEST_F(ServiceBwlist, UnreadableDistinctionIsLeftAsItIs)
{
    write_file(state / "bwlist_distinguish", "nonsense\n");
    EXPECT_EQ(distinction("(1, '')").error, "MERON.TRESK.CONF.ERR");
    EXPECT_EQ(set_distinction("(1, 1, '')").error, "MERON.TRESK.CONF.ERR");
    EXPECT_EQ(state_file("bwlist_distinguish"), "nonsense\n");
}

} // namespace tresk::test
