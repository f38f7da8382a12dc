// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/default_policy.h"
#include "common/policy_document.h"
#include "tests/support/capture.h"
#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <utility>

namespace tresk::test {

namespace {

using Text = std::optional<std::string>;

struct Attribute {
    std::string name;
    Text value;
    bool written = true;
    bool operator==(const Attribute&) const = default;
};

struct Child {
    NodeKind kind;
    std::string name;
    Text text;
    bool operator==(const Child&) const = default;
};

std::string shown(const Text& text)
{
    return text ? '"' + *text + '"' : "unreadable";
}

std::ostream& operator<<(std::ostream& out, const Attribute& one)
{
    return out << one.name << '=' << shown(one.value) << (one.written ? "" : " (default)");
}

std::ostream& operator<<(std::ostream& out, const Child& one)
{
    return out << static_cast<int>(one.kind) << ' ' << one.name << ' ' << shown(one.text);
}

/// A node's values, which outlive it.
struct Node {
    NodeKind kind;
    std::string name;
    std::vector<Attribute> attributes;
    std::vector<Child> children;
};

Text copy(const NodeText& text)
{
    return text ? Text(*text) : std::nullopt;
}

Node copy(const PolicyNode& node)
{
    Node result{node.kind, std::string(node.name), {}, {}};
    for (const PolicyAttribute& one : node.attributes) {
        result.attributes.push_back({std::string(one.name), copy(one.value), one.written});
    }
    for (const PolicyChild& one : node.children) {
        const bool element = one.kind == NodeKind::element;
        result.children.push_back({one.kind, element ? std::string(one.name) : "", copy(one.text)});
    }
    return result;
}

class PolicyFile : public FrameworkTest {
  protected:
    /// Reads a file with this content; what the parser complains about is no matter here.
    std::vector<Node> nodes_of(const std::string& content)
    {
        write_file(file, content);
        std::vector<Node> nodes;
        captured_stderr([&] {
            EXPECT_TRUE(reads({[&](const PolicyNode&) { nodes.clear(); }, nullptr,
                               [&](const PolicyNode& node) {
                                   nodes.push_back(copy(node));
                                   return Walk::on;
                               }}));
        });
        return nodes;
    }

    Node only_node_of(const std::string& content)
    {
        const std::vector<Node> nodes = nodes_of(content);
        EXPECT_EQ(nodes.size(), 1U);
        return nodes.empty() ? Node{} : nodes.front();
    }

    bool opens(const char* expected = nullptr) const
    {
        bool result = false;
        captured_stderr([&] { result = reads(kNobody, expected); });
        return result;
    }

    bool reads(const PolicyWalk& reader, const char* expected = nullptr) const
    {
        return read_policy(format, file.c_str(), "reader", reader, expected);
    }

    static inline const PolicyWalk kNobody{[](const PolicyNode&) {}, nullptr,
                                           [](const PolicyNode&) { return Walk::on; }};

    TempDir folder;
    std::filesystem::path file = folder / "policy.xml";
    PolicyFormat format{"ppro_root", "tresk_ppro", kWrongRoot, [](const char* asked) {
                            created_for = asked;
                            create_default_policy(default_file.empty() ? asked : default_file.c_str(),
                                                  {"ppro_root"});
                        }};

    /// Where the family has its own policy; empty: where the reader was sent.
    static inline std::string default_file;
    static inline std::string created_for;
};

// --- nodes ---

TEST_F(PolicyFile, GivesChildrenOfTheRootOfEveryKindInOrder)
{
    const std::vector<Node> nodes =
        nodes_of("<ppro_root>text<!-- comment --><a/><?do it?><![CDATA[data]]><b/></ppro_root>");
    std::vector<NodeKind> kinds;
    for (const Node& node : nodes) {
        kinds.push_back(node.kind);
    }
    EXPECT_EQ(kinds, (std::vector<NodeKind>{NodeKind::text, NodeKind::comment, NodeKind::element,
                                            NodeKind::instruction, NodeKind::text, NodeKind::element}));
    EXPECT_EQ(nodes.at(2).name, "a");
    EXPECT_EQ(nodes.at(5).name, "b");
}

TEST_F(PolicyFile, StopsWhereTheVisitorSaysSo)
{
    write_file(file, "<ppro_root><a/><b/><c/></ppro_root>");
    std::string seen;
    EXPECT_TRUE(reads({[](const PolicyNode&) {}, nullptr,
                       [&](const PolicyNode& node) {
                           seen += node.name;
                           return node.name == "b" ? Walk::stop : Walk::on;
                       }}));
    EXPECT_EQ(seen, "ab");
}

TEST_F(PolicyFile, EmptyPolicyHasNoNodes)
{
    EXPECT_EQ(nodes_of("<ppro_root/>").size(), 0U);
}

TEST_F(PolicyFile, GivesAttributesInOrder)
{
    EXPECT_EQ(only_node_of("<ppro_root><a z='1' b='' m='&lt;&#228;'/></ppro_root>").attributes,
              (std::vector<Attribute>{{"z", "1"}, {"b", ""}, {"m", "<\u00e4"}}));
}

TEST_F(PolicyFile, GivesChildrenOfEveryKindInOrder)
{
    EXPECT_EQ(only_node_of("<ppro_root><a>t<h>1</h><!-- c --><?p i?><t/><h>2</h></a></ppro_root>").children,
              (std::vector<Child>{{NodeKind::text, "", ""},
                                  {NodeKind::element, "h", "1"},
                                  {NodeKind::comment, "", ""},
                                  {NodeKind::instruction, "", ""},
                                  {NodeKind::element, "t", ""},
                                  {NodeKind::element, "h", "2"}}));
}

TEST_F(PolicyFile, TextOfAnElementIsAllTextBelowIt)
{
    EXPECT_EQ(
        only_node_of("<!DOCTYPE ppro_root [<!ENTITY e 'five'>]>"
                     "<ppro_root><a><h>one <b>two <i>three</i></b><![CDATA[ <four> ]]>&e;&amp;<!-- no -->"
                     "<?no no?></h></a></ppro_root>")
            .children,
        (std::vector<Child>{{NodeKind::element, "h", "one two three <four> five&"}}));
}

TEST_F(PolicyFile, EntityInAnAttributeIsItsText)
{
    EXPECT_EQ(only_node_of("<!DOCTYPE ppro_root [<!ENTITY e 'five'>]><ppro_root><a p='x&e;y'/></ppro_root>")
                  .attributes,
              (std::vector<Attribute>{{"p", "xfivey"}}));
}

TEST_F(PolicyFile, DefaultsOfTheDocumentTypeComeLastAndAreNotWritten)
{
    const std::string type = "<!DOCTYPE ppro_root [<!ELEMENT a ANY>"
                             "<!ATTLIST a path CDATA '/default' sm CDATA '1' note CDATA #IMPLIED>]>";
    EXPECT_EQ(only_node_of(type + "<ppro_root><a z='0'/></ppro_root>").attributes,
              (std::vector<Attribute>{{"z", "0"}, {"path", "/default", false}, {"sm", "1", false}}));
    EXPECT_EQ(only_node_of(type + "<ppro_root><a sm='0' path='/own'/></ppro_root>").attributes,
              (std::vector<Attribute>{{"sm", "0"}, {"path", "/own"}}));
}

TEST_F(PolicyFile, DefaultOfTheDocumentTypeIsNeverTheFirstAttribute)
{
    write_file(file, "<!DOCTYPE ppro_root [<!ATTLIST a path CDATA '/default'>]><ppro_root><a/></ppro_root>");
    int nodes = 0;
    EXPECT_TRUE(reads({[](const PolicyNode&) {}, nullptr,
                       [&](const PolicyNode& node) {
                           ++nodes;
                           EXPECT_EQ(node.attribute("path"), "/default");
                           EXPECT_EQ(node.first_attribute("path"), std::nullopt);
                           return Walk::on;
                       }}));
    EXPECT_EQ(nodes, 1);
}

// --- look-ups in a node ---

TEST(PolicyNodeLookup, FindsElementsByKindAndName)
{
    PolicyNode node;
    node.name = "a";
    node.kind = NodeKind::instruction;
    EXPECT_FALSE(node.is_element("a"));
    node.kind = NodeKind::element;
    EXPECT_TRUE(node.is_element("a"));
    EXPECT_FALSE(node.is_element("A"));
    EXPECT_FALSE(node.is_element("aa"));
}

TEST(PolicyNodeLookup, FirstAttributeCountsOnlyInFront)
{
    PolicyNode node;
    EXPECT_EQ(node.first_attribute("path"), std::nullopt);
    node.attributes = {{"id", "1"}, {"path", "/a"}};
    EXPECT_EQ(node.first_attribute("path"), std::nullopt);
    EXPECT_EQ(node.first_attribute("id"), "1");
    EXPECT_EQ(node.attribute("path"), "/a");
    EXPECT_EQ(node.attribute("none"), std::nullopt);
}

TEST(PolicyNodeLookup, LastChildElementWins)
{
    PolicyNode node;
    node.children = {{NodeKind::element, "type", "1"},
                     {NodeKind::element, "type", "2"},
                     {NodeKind::instruction, "type", "3"},
                     {NodeKind::element, "hash", ""}};
    EXPECT_EQ(node.last_child("type"), "2");
    EXPECT_EQ(node.last_child("hash"), "");
    EXPECT_EQ(node.last_child("none"), std::nullopt);
}

// --- hostile documents ---

std::string billion_laughs(const std::string& body)
{
    std::string type = "<!DOCTYPE ppro_root [<!ENTITY l0 'laugh'>";
    for (int i = 1; i <= 12; ++i) {
        const std::string inner = "&l" + std::to_string(i - 1) + ";";
        type += "<!ENTITY l" + std::to_string(i) + " '";
        for (int n = 0; n < 10; ++n) {
            type += inner;
        }
        type += "'>";
    }
    return type + "]><ppro_root>" + body + "</ppro_root>";
}

TEST_F(PolicyFile, EntitiesThatExpandWithoutEndAreNeverExpanded)
{
    const auto start = std::chrono::steady_clock::now();
    const Node node = only_node_of(billion_laughs("<a><h>&l12;</h></a>"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    // The parser itself gives up at the first reference and recovers what stood before it.
    EXPECT_EQ(node.children, (std::vector<Child>{{NodeKind::element, "h", ""}}));
}

TEST_F(PolicyFile, EntitiesOfAllNodesTogetherExpandToTenMillionBytesAtMost)
{
    constexpr std::size_t kEntityBytes = 200'000;
    constexpr std::size_t kNodes = 100;
    std::string content =
        "<!DOCTYPE ppro_root [<!ENTITY e '" + std::string(kEntityBytes, 'x') + "'>]><ppro_root>";
    for (std::size_t i = 0; i < kNodes; ++i) {
        content += "<a><h>&e;</h><t>plain</t></a>";
    }
    const std::vector<Node> nodes = nodes_of(content + "</ppro_root>");
    ASSERT_EQ(nodes.size(), kNodes);
    std::size_t bytes = 0;
    for (const Node& node : nodes) {
        bytes += node.children.at(0).text.value_or("").size();
        EXPECT_EQ(node.children.at(1).text, "plain");
    }
    EXPECT_GT(bytes, 9'000'000U);
    EXPECT_LE(bytes, 10'000'000U);
    EXPECT_EQ(nodes.front().children.at(0).text->size(), kEntityBytes);
    EXPECT_EQ(nodes.back().children.at(0).text, std::nullopt);
}

/// A document with an entity of @entity_bytes and @nodes nodes like @node.
std::string entity_heavy(std::size_t entity_bytes, std::size_t nodes, const std::string& node)
{
    std::string content =
        "<!DOCTYPE ppro_root [<!ENTITY e '" + std::string(entity_bytes, 'x') + "'>]><ppro_root>";
    for (std::size_t i = 0; i < nodes; ++i) {
        content += node;
    }
    return content + "</ppro_root>";
}

TEST_F(PolicyFile, ExpansionMayCostTenMillionToTheLastByte)
{
    // A reference costs its text and one more.
    const std::vector<Node> nodes = nodes_of(entity_heavy(199'999, 51, "<a><h>&e;</h></a>"));
    ASSERT_EQ(nodes.size(), 51U);
    EXPECT_EQ(nodes[49].children.at(0).text, std::string(199'999, 'x'));
    EXPECT_EQ(nodes[50].children.at(0).text, std::nullopt);
}

TEST_F(PolicyFile, ExpansionOfOneByteMoreIsUnreadable)
{
    const std::vector<Node> nodes = nodes_of(entity_heavy(200'000, 50, "<a><h>&e;</h></a>"));
    ASSERT_EQ(nodes.size(), 50U);
    EXPECT_EQ(nodes[48].children.at(0).text, std::string(200'000, 'x'));
    EXPECT_EQ(nodes[49].children.at(0).text, std::nullopt);
}

TEST_F(PolicyFile, EntitiesOfAttributesCountAlike)
{
    const std::vector<Node> nodes = nodes_of(entity_heavy(199'999, 51, "<a p='&e;' q='plain'/>"));
    ASSERT_EQ(nodes.size(), 51U);
    EXPECT_EQ(nodes[49].attributes.at(0).value, std::string(199'999, 'x'));
    EXPECT_EQ(nodes[50].attributes, (std::vector<Attribute>{{"p", std::nullopt}, {"q", "plain"}}));
}

TEST_F(PolicyFile, EntitiesBelowTheChildrenCountAlike)
{
    const std::vector<Node> nodes = nodes_of(entity_heavy(199'999, 51, "<a><h><b>&e;</b>!</h></a>"));
    ASSERT_EQ(nodes.size(), 51U);
    EXPECT_EQ(nodes[49].children.at(0).text, std::string(199'999, 'x') + "!");
    EXPECT_EQ(nodes[50].children.at(0).text, std::nullopt);
}

TEST_F(PolicyFile, EntityThatOnlyAnUnreadDocumentTypeCouldDefineIsNoText)
{
    const Node node = only_node_of("<!DOCTYPE ppro_root SYSTEM 'none.dtd'>"
                                   "<ppro_root><a><h>[&none;]</h></a></ppro_root>");
    EXPECT_EQ(node.children, (std::vector<Child>{{NodeKind::element, "h", "[]"}}));
}

TEST_F(PolicyFile, ExternalEntityNeverReadsAnotherFile)
{
    write_file(folder / "secret", "secret");
    const Node node = only_node_of("<!DOCTYPE ppro_root [<!ENTITY e SYSTEM '" + (folder / "secret").string() +
                                   "'>]><ppro_root><a><h>[&e;]</h></a></ppro_root>");
    EXPECT_EQ(node.children, (std::vector<Child>{{NodeKind::element, "h", "[]"}}));
}

TEST_F(PolicyFile, ExternalDocumentTypeIsNotRead)
{
    write_file(folder / "type.dtd", "<!ATTLIST a path CDATA '/default'>");
    const Node node = only_node_of("<!DOCTYPE ppro_root SYSTEM '" + (folder / "type.dtd").string() +
                                   "'><ppro_root><a/></ppro_root>");
    EXPECT_EQ(node.attributes, std::vector<Attribute>());
}

TEST_F(PolicyFile, HundredThousandNodesAreRead)
{
    std::string content = "<ppro_root>";
    for (int i = 0; i < 100'000; ++i) {
        content += "<a path='/bin/" + std::to_string(i) + "'><h>" + std::to_string(i) + "</h></a>";
    }
    const std::vector<Node> nodes = nodes_of(content + "</ppro_root>");
    ASSERT_EQ(nodes.size(), 100'000U);
    EXPECT_EQ(nodes[99'999].attributes, (std::vector<Attribute>{{"path", "/bin/99999"}}));
    EXPECT_EQ(nodes[99'999].children, (std::vector<Child>{{NodeKind::element, "h", "99999"}}));
}

// --- files that are damaged or of another kind ---

TEST_F(PolicyFile, DamagedFileIsReadAsFarAsItGoes)
{
    const std::vector<Node> nodes = nodes_of("<ppro_root><a p='1'/><b p='2'/><c p=");
    ASSERT_GE(nodes.size(), 2U);
    EXPECT_EQ(nodes[0].attributes, (std::vector<Attribute>{{"p", "1"}}));
    EXPECT_EQ(nodes[1].attributes, (std::vector<Attribute>{{"p", "2"}}));
}

TEST_F(PolicyFile, AnotherRootIsLogged)
{
    write_file(file, "<pblk_root/>");
    EXPECT_FALSE(opens());
    ASSERT_EQ(framework().logs.size(), 1U);
    const LogLine& log = framework().logs[0];
    EXPECT_EQ(log.level, 3);
    EXPECT_EQ(log.source, "tresk_ppro");
    EXPECT_EQ(log.format, "%s: document of the wrong type, root node != %s\n");
    EXPECT_EQ(log.text, "reader: document of the wrong type, root node != ppro_root\n");
    EXPECT_EQ(framework().errors.size(), 0U);
    EXPECT_EQ(read_file(file), "<pblk_root/>");
}

TEST_F(PolicyFile, AnotherRootIsLoggedWithTheNameThatWasExpected)
{
    write_file(file, "<pblk_root/>");
    EXPECT_FALSE(opens("ppro_node"));
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].text, "reader: document of the wrong type, root node != ppro_node\n");
}

TEST_F(PolicyFile, FileThatIsNoXmlFailsAndIsLeft)
{
    write_file(file, "not a document");
    EXPECT_FALSE(opens());
    EXPECT_EQ(read_file(file), "not a document");
    EXPECT_EQ(framework().logs.size(), 0U);
}

TEST_F(PolicyFile, DocumentWithoutARootFailsAndCreatesNothing)
{
    for (const char* text : {"not a document", " \n", "<?xml version='1.0'?>", "<!-- nothing -->"}) {
        created_for.clear();
        write_file(file, text);
        EXPECT_FALSE(opens()) << text;
        EXPECT_EQ(created_for, "") << text;
        EXPECT_EQ(framework().logs.size(), 0U) << text;
    }
}

TEST_F(PolicyFile, MissingFileIsCreatedAndTheCallFails)
{
    EXPECT_FALSE(opens());
    EXPECT_EQ(read_file(file), "<?xml version=\"1.0\"?>\n<ppro_root/>\n");
    EXPECT_EQ(framework().order, std::vector<std::string>());
    EXPECT_TRUE(opens());
}

TEST_F(PolicyFile, EmptyFileIsFilledAndTheCallFails)
{
    write_file(file, "");
    EXPECT_FALSE(opens());
    EXPECT_EQ(read_file(file), "<?xml version=\"1.0\"?>\n<ppro_root/>\n");
    EXPECT_TRUE(opens());
}

TEST_F(PolicyFile, MissingFileOfAnotherNameCreatesTheFamilysOwn)
{
    default_file = folder / "default.xml";
    EXPECT_FALSE(opens());
    EXPECT_EQ(read_file(file), std::nullopt);
    EXPECT_EQ(read_file(default_file), "<?xml version=\"1.0\"?>\n<ppro_root/>\n");
}

TEST_F(PolicyFile, MissingFileOfAnotherNameLeavesAnExistingPolicy)
{
    default_file = folder / "default.xml";
    write_file(default_file, "<ppro_root><a/></ppro_root>");
    EXPECT_FALSE(opens());
    EXPECT_EQ(read_file(default_file), "<ppro_root><a/></ppro_root>");
}

TEST_F(PolicyFile, MissingFileIsToldToTheFamilyByTheNameThatWasAsked)
{
    EXPECT_FALSE(opens());
    EXPECT_EQ(created_for, file);
}

TEST_F(PolicyFile, FamilyWithoutAnEmptyPolicyCreatesNone)
{
    format.create_default = nullptr;
    EXPECT_FALSE(opens());
    EXPECT_EQ(read_file(file), std::nullopt);
}

TEST_F(PolicyFile, FamilyWithoutAMessageLogsNoWrongRoot)
{
    write_file(file, "<other/>");
    format.wrong_root = nullptr;
    EXPECT_FALSE(opens());
    EXPECT_TRUE(framework().logs.empty());
}

// --- groups of nodes ---

TEST_F(PolicyFile, GivesTheNodesOfTheGroupsThatAreEntered)
{
    write_file(
        file, "<ppro_root>text<g id='1'><a/>x</g><!-- c --><g id='2'><b/></g><g id='3'><c/></g></ppro_root>");
    std::string seen;
    EXPECT_TRUE(reads({[](const PolicyNode&) {},
                       [&](const PolicyNode& head) {
                           EXPECT_TRUE(head.children.empty());
                           const std::string_view id = head.attribute("id").value_or("none");
                           seen += id;
                           return id == "2" ? Group::pass : Group::enter;
                       },
                       [&](const PolicyNode& node) {
                           seen += node.kind == NodeKind::element ? node.name : "#";
                           return Walk::on;
                       }}));
    EXPECT_EQ(seen, "1a#23c");
}

TEST_F(PolicyFile, StopEndsTheWalkOverAllGroups)
{
    write_file(file, "<ppro_root><g><a/><b/></g><g><c/></g></ppro_root>");
    int nodes = 0;
    int heads = 0;
    Group answer = Group::enter;
    const PolicyWalk counting{[](const PolicyNode&) {},
                              [&](const PolicyNode&) {
                                  ++heads;
                                  return answer;
                              },
                              [&](const PolicyNode&) {
                                  ++nodes;
                                  return Walk::stop;
                              }};
    EXPECT_TRUE(reads(counting));
    EXPECT_EQ(heads, 1);
    EXPECT_EQ(nodes, 1);
    answer = Group::stop;
    EXPECT_TRUE(reads(counting));
    EXPECT_EQ(heads, 2);
    EXPECT_EQ(nodes, 1);
}

TEST_F(PolicyFile, BeginsWithTheRoot)
{
    write_file(file, "<ppro_root first='1' second='2'><a/></ppro_root>");
    int begun = 0;
    EXPECT_TRUE(reads({[&](const PolicyNode& root) {
                           ++begun;
                           EXPECT_EQ(root.name, "ppro_root");
                           EXPECT_TRUE(root.children.empty());
                           EXPECT_EQ(root.first_attribute("first"), "1");
                           EXPECT_EQ(root.first_attribute("second"), std::nullopt);
                           EXPECT_EQ(root.attribute("second"), "2");
                       },
                       nullptr,
                       [&](const PolicyNode&) {
                           EXPECT_EQ(begun, 1);
                           return Walk::on;
                       }}));
    EXPECT_EQ(begun, 1);
}

TEST_F(PolicyFile, ADashIsTheStandardInputWhateverTheFolderHolds)
{
    write_file(folder / "-", "<ppro_root><of_the_folder/></ppro_root>");
    write_file(file, "<ppro_root><of_the_input/></ppro_root>");
    const std::filesystem::path here = std::filesystem::current_path();
    const int input = ::dup(STDIN_FILENO);
    const int policy = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ::dup2(policy, STDIN_FILENO);
    std::filesystem::current_path(folder.path());

    std::string names;
    const bool read = read_policy(format, "-", "reader",
                                  {[](const PolicyNode&) {}, nullptr,
                                   [&](const PolicyNode& node) {
                                       names += node.name;
                                       return Walk::on;
                                   }});
    std::filesystem::current_path(here);
    ::dup2(input, STDIN_FILENO);
    ::close(input);
    ::close(policy);
    EXPECT_TRUE(read);
    EXPECT_EQ(names, "of_the_input");
}

TEST_F(PolicyFile, ErrorLeftByEarlierWorkCountsUntilItIsReset)
{
    write_file(file, "<ppro_root/>");
    const std::string broken = folder / "broken.xml";
    write_file(broken, "<ppro_root>");
    captured_stderr([&] { EXPECT_FALSE(reads_without_error(broken.c_str())); });
    EXPECT_FALSE(reads_without_error(file.c_str()));
    EXPECT_TRUE(opens());
    EXPECT_FALSE(xml_error_is_left());
    EXPECT_TRUE(reads_without_error(file.c_str()));
}

} // namespace

} // namespace tresk::test
