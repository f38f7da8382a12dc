// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

namespace tresk::test {

namespace {

std::string document(const std::string& nodes)
{
    return kXmlHead + ("<pblk_root>" + nodes) + "</pblk_root>\n";
}

std::string app_node(int type, const std::string& source)
{
    return R"(<pblk_node path="/usr/bin/app" data_source_type=")" + std::to_string(type) +
           R"(" data_source_name=")" + source + R"("><hash>)" + kAppSha256 + "</hash></pblk_node>";
}

class ServicePblk : public ServiceScene {
  protected:
    ServicePblk() { start_service(); }

    Outcome add(const std::string& arguments) { return call("pblk", "tresk_pblk_add_zdk", arguments); }

    Outcome remove(const std::string& arguments) { return call("pblk", "tresk_pblk_remove_zdk", arguments); }

    std::filesystem::path blocked = etc / "pblk" / "pblk.xml";
};

} // namespace

TEST_F(ServicePblk, AddWritesTheWholeDocument)
{
    EXPECT_EQ(add("('/usr/bin/app', 1, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(blocked), document(app_node(1, "")));
}

TEST_F(ServicePblk, EntriesOfTwoSourcesAreTwo)
{
    add("('/usr/bin/app', 1, '')");
    EXPECT_EQ(add("('/usr/bin/app', 2, '')"), replied("(0,)"));
    EXPECT_EQ(add("('/usr/bin/app', 2, 'src')"), replied("(0,)"));
    EXPECT_EQ(text_of(blocked), document(app_node(1, "") + app_node(2, "") + app_node(2, "src")));
    EXPECT_EQ(remove("('/usr/bin/app', 2, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(blocked), document(app_node(1, "") + app_node(2, "src")));
}

TEST_F(ServicePblk, RemovalOfTheLastEntryLeavesTheRoot)
{
    add("('/usr/bin/app', 1, '')");
    EXPECT_EQ(remove("('/usr/bin/app', 1, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(blocked), kXmlHead + std::string("<pblk_root/>\n"));
}

TEST_F(ServicePblk, SpecialCharactersAreEscapedAndFoundAgain)
{
    const std::string entry = R"(('/opt/"a"<&>\n\t ü', -7, 'x&"y<\n'))";
    EXPECT_EQ(add(entry), replied("(0,)"));
    const std::string content = text_of(blocked);
    EXPECT_TRUE(content.starts_with(
        kXmlHead +
        std::string("<pblk_root><pblk_node path=\"/opt/&quot;a&quot;&lt;&amp;&gt;&#10;&#9; \xC3\xBC\" "
                    "data_source_type=\"-7\" data_source_name=\"x&amp;&quot;y&lt;&#10;\"><hash>")))
        << content;
    EXPECT_EQ(add(entry), replied("(-2,)"));
    EXPECT_EQ(remove(entry), replied("(0,)"));
}

TEST_F(ServicePblk, EntryThatDoesNotSayItsSourceBelongsToEvery)
{
    const std::string content = document(R"(<pblk_node path="/a"><hash>h</hash></pblk_node>)");
    write_file(blocked, content);
    EXPECT_EQ(add("('/a', 2, 'src')"), replied("(-2,)"));
    EXPECT_EQ(text_of(blocked), content);
    EXPECT_EQ(remove("('/a', 3, 'other')"), replied("(0,)"));
    EXPECT_EQ(text_of(blocked), kXmlHead + std::string("<pblk_root/>\n"));
}

TEST_F(ServicePblk, EntryIsFoundWhereverItsPathStands)
{
    write_file(blocked, document(R"(<pblk_node data_source_type="1" path="/a"/>)"));
    EXPECT_EQ(remove("('/a', 2, '')"), replied("(-3,)"));
    EXPECT_EQ(remove("('/a', 1, '')"), replied("(0,)"));
}

TEST_F(ServicePblk, UnusableArgumentsAreRefused)
{
    EXPECT_EQ(add("('', 1, '')"), refused(kInvalidArgument, "the path is not absolute"));
    EXPECT_EQ(add("('usr/bin/app', 1, '')"), refused(kInvalidArgument, "the path is not absolute"));
    EXPECT_EQ(add("('/" + std::string(4095, 'a') + "', 1, '')"),
              refused(kInvalidArgument, "the path is too long"));
    const Outcome unstorable = refused(kInvalidArgument, "a text holds characters that a policy cannot hold");
    EXPECT_EQ(add("('/a\\u0001', 1, '')"), unstorable);
    EXPECT_EQ(remove("('/a', 1, '\\u0001')"), unstorable);
    EXPECT_FALSE(std::filesystem::exists(blocked));
}

TEST_F(ServicePblk, SourceTypeThatNoLookupCouldFindIsRefused)
{
    EXPECT_EQ(add("('/a', 10000000, '')"),
              refused(kInvalidArgument, "the data source's type has more than 7 characters: 10000000"));
    EXPECT_EQ(add("('/a', -1000000, '')"),
              refused(kInvalidArgument, "the data source's type has more than 7 characters: -1000000"));
    EXPECT_EQ(add("('/a', 9999999, '')"), replied("(0,)"));
    EXPECT_EQ(add("('/a', -999999, '')"), replied("(0,)"));
}

} // namespace tresk::test
