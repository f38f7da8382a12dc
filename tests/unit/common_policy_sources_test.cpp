// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Which of the two sources of a policy's nodes reads what, and that they hand out the same.
#include "common/default_policy.h"
#include "common/policy_document.h"
#include "common/policy_events.h"
#include "common/policy_parser.h"
#include "common/policy_tree.h"
#include "tests/support/capture.h"
#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"
#include "tests/support/recorded_walk.h"
#include "tests/support/temp_dir.h"

#include <libxml/xmlerror.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <thread>

namespace tresk::test {

namespace {

constexpr char kRoot[] = "ppro_root";

enum class Source { events, tree };

class PolicySources : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        xmlResetLastError();
    }

    /// Who reads the document, nodes and groups alike. What the events do not leave to the tree has to agree.
    Source source_of(const std::string& content)
    {
        write_file(file, content);
        bool all_usual = true;
        captured_stderr([&] {
            for (const bool grouped : {false, true}) {
                RecordedWalk events(grouped);
                const Walked walked = walk_events(file.c_str(), kRoot, events.reader());
                EXPECT_FALSE(xml_error_is_left());
                RecordedWalk tree(grouped);
                const Walked of_tree = walk_tree(file.c_str(), kRoot, tree.reader());
                const bool usual = walked != Walked::unusual;
                all_usual = all_usual && usual;
                if (usual) {
                    EXPECT_EQ(walked, of_tree);
                    EXPECT_EQ(events.text(), tree.text());
                    EXPECT_FALSE(xml_error_is_left());
                }
                expect_same_but_left_out(grouped, walked, tree, of_tree);
                xmlResetLastError();
            }
        });
        return all_usual ? Source::events : Source::tree;
    }

    /// A sieve takes away what does not pass it and nothing else. What is unusual stays so, unless it is the
    /// size of a node that is left out.
    void expect_same_but_left_out(bool grouped, Walked walked, const RecordedWalk& tree, Walked of_tree) const
    {
        for (const char* attribute : {"path", "p", "q"}) {
            RecordedWalk sieved(grouped, {attribute, [](std::string_view text) { return text == "/b"; }});
            const Walked of_sieved = walk_events(file.c_str(), kRoot, sieved.reader());
            if (of_sieved == Walked::unusual) {
                EXPECT_EQ(walked, Walked::unusual);
                continue;
            }
            EXPECT_EQ(of_sieved, of_tree);
            auto next = sieved.lines().begin();
            for (const std::string& line : tree.lines()) {
                if (next != sieved.lines().end() && *next == line) {
                    ++next;
                    continue;
                }
                const std::string mark = std::string(" @") + attribute + "=";
                EXPECT_THAT(line, testing::StartsWith("node 0 "));
                EXPECT_THAT(line, testing::HasSubstr(mark));
                EXPECT_THAT(line, testing::Not(testing::HasSubstr(mark + "2:/b")));
            }
            EXPECT_EQ(next, sieved.lines().end());
        }
    }

    TempDir folder;
    std::filesystem::path file = folder / "policy.xml";
};

struct Document {
    const char* name;
    std::string content;
};

std::ostream& operator<<(std::ostream& out, const Document& document)
{
    return out << document.name;
}

std::string node(const std::string& inside)
{
    return "<ppro_root><ppro_node path=\"/a\">" + inside + "</ppro_node></ppro_root>";
}

std::string repeated(const std::string& text, std::size_t times)
{
    std::string result;
    for (std::size_t i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

std::string numbered(int times, const std::function<std::string(const std::string& number)>& text)
{
    std::string result;
    for (int i = 0; i < times; ++i) {
        result += text(std::to_string(i));
    }
    return result;
}

std::string text_of(std::size_t bytes)
{
    return std::string(bytes, 'x');
}

const std::vector<Document>& ordinary()
{
    static const std::vector<Document> all{
        {"Entry", node("<hash>h</hash><type>1</type>")},
        {"Declaration", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + node("<hash>h</hash>")},
        {"DeclarationInSmallLetters", "<?xml version=\"1.0\" encoding=\"utf-8\"?>" + node("")},
        {"OtherRoot", "<pblk_root><a/></pblk_root>"},
        {"EmptyRoot", "<ppro_root/>"},
        {"Blanks",
         "\n<ppro_root>\n  <ppro_node path='/a'>\n\t<hash>h</hash>\r\n</ppro_node>\n</ppro_root>\n\n"},
        {"LessThan", node("<hash>a&lt;b</hash>")},
        {"GreaterThan", node("<hash>a&gt;b</hash>")},
        {"Ampersand", node("<hash>&amp;b&amp;&amp;</hash>")},
        {"Quote", node("<hash>&quot;</hash>")},
        {"Apostrophe", node("<hash>&apos;</hash>")},
        {"CharacterReferences", node("<hash>&#65;&#x42;&#38;&#60;&#228;&#x1F600;</hash>&#65;")},
        {"EntitiesInAnAttribute",
         "<ppro_root><a p='&lt;&gt;&amp;&quot;&apos;&#65;&#38;&#38;#38;'/></ppro_root>"},
        {"AmpersandsAlone", "<ppro_root><a p='&amp;' q='&amp;&amp;' r='&#38;lt;'/></ppro_root>"},
        {"BlanksInAnAttribute", "<ppro_root><a p=' a\n\tb\r\nc&#10;&#13; '/></ppro_root>"},
        {"EmptyAttribute", "<ppro_root><a p=''/></ppro_root>"},
        {"AttributesOfWideLetters", "<ppro_root><a p='\u00e4' q='\U0001F600'/></ppro_root>"},
        {"CommentsBetween", "<!-- a --><ppro_root><!-- b --><a/>x<!-- c -->y</ppro_root><!-- d -->"},
        {"CommentsInside", node("a<!-- b -->c<hash>a<!-- b -->c</hash><!-- d -->")},
        {"InstructionsBetween", "<?a b?><ppro_root><?c d?><a/><?e?></ppro_root><?f g?>"},
        {"InstructionsInside", node("a<?b c?>d<hash>a<?b c?>d</hash><?hash e?>")},
        {"MixedContent", node("a<hash>b<b>c<c>d</c></b>e</hash>f<type/>g&amp;h")},
        {"TextBesideNodes", "<ppro_root>a&amp;b<ppro_node path='/a'/>c</ppro_root>"},
        {"Groups", "<ppro_root>a<g i='1'>b<n p='1'><h>c</h></n>d<!-- e --></g><!-- f --><g/>h</ppro_root>"},
        {"NestedElements", node(repeated("<b>", 190) + "x" + repeated("</b>", 190))},
        {"LargestNode", node("<hash>" + text_of(60'000) + "</hash>")},
        {"ManyParts", node(repeated("<b/>", 1000))},
        {"ManyNodes", "<ppro_root>" + repeated("<ppro_node path='/a'><hash>h</hash></ppro_node>\n", 5000) +
                          "</ppro_root>"},
        {"StandaloneDeclaration", "<?xml version='1.0' standalone='yes'?>" + node("")},
    };
    return all;
}

const std::vector<Document>& unusual()
{
    const std::string blanks(58, ' ');
    static const std::vector<Document> all{
        {"ErrorInside", node("<hash>h</type>")},
        {"MissingEnd", "<ppro_root><ppro_node path='/a'/>"},
        {"AttributeTwice", "<ppro_root><a p='1' p='2'/></ppro_root>"},
        {"LonelyAmpersand", node("<hash>a & b</hash>")},
        {"TextBefore", "text" + node("")},
        {"TextAfter", node("") + "text"},
        {"RootAfter", node("") + "<ppro_root/>"},
        {"NoXml", "not a document"},
        {"OnlyBlanks", " \n"},
        {"NulByte", node("<hash>a" + std::string(1, '\0') + "b</hash>")},
        {"WarningOfTheVersion", "<?xml version='1.7'?>" + node("")},
        {"WarningOfANamespace", "<ppro_root xmlns='relative/name'/>"},
        {"DocumentType", "<!DOCTYPE ppro_root>" + node("")},
        {"DocumentTypeOutside", "<!DOCTYPE ppro_root SYSTEM 'none.dtd'>" + node("")},
        {"DefaultsOfTheDocumentType",
         "<!DOCTYPE ppro_root [<!ATTLIST a p CDATA 'd'>]><ppro_root><a/></ppro_root>"},
        {"EntityOfItsOwn", "<!DOCTYPE ppro_root [<!ENTITY e 'x'>]>" + node("<hash>&e;</hash>")},
        {"EntityInAnAttribute", "<!DOCTYPE ppro_root [<!ENTITY e 'x'>]><ppro_root><a p='&e;'/></ppro_root>"},
        {"PredefinedEntityDefinedAnew", "<!DOCTYPE ppro_root [<!ENTITY lt '&#38;#60;'>]>" + node("&lt;")},
        {"UndefinedEntity", node("<hash>&none;</hash>")},
        {"UndefinedEntityInAnAttribute", "<ppro_root><a p='&none;'/></ppro_root>"},
        {"CdataInside", node("<hash><![CDATA[h]]></hash>")},
        {"CdataBetween", "<ppro_root><![CDATA[h]]></ppro_root>"},
        {"CdataOfNothing", node("<![CDATA[]]>")},
        {"PrefixDeclared", "<ppro_root xmlns:a='urn:a'><a:ppro_node a:path='/a'/></ppro_root>"},
        {"PrefixUndeclared", "<ppro_root><a:ppro_node path='/a'/></ppro_root>"},
        {"AttributePrefixUndeclared", "<ppro_root><ppro_node a:path='/a'/></ppro_root>"},
        {"NamespaceOfAll", "<ppro_root xmlns='urn:a'><ppro_node path='/a'/></ppro_root>"},
        {"SpaceAttribute", "<ppro_root><ppro_node xml:space='preserve' path='/a'/></ppro_root>"},
        {"IdentityTwice", "<ppro_root><a xml:id='i'/><b><c><d xml:id='i'/></c></b></ppro_root>"},
        {"OtherEncodingDeclared",
         "<?xml version='1.0' encoding='ISO-8859-1'?>" + node("<hash>\xc3\xa4</hash>")},
        {"UnknownEncodingDeclared", "<?xml version='1.0' encoding='none'?>" + node("")},
        {"WideEncodingDeclared", "<?xml version='1.0' encoding='UTF-16'?>" + node("")},
        {"ByteOrderMark", "\xef\xbb\xbf" + node("<hash>h</hash>")},
        {"WideByteOrderMark", std::string("\xff\xfe<\0p\0/\0>\0", 10)},
        {"BytesOfNoText", node("<hash>\xff</hash>")},
        {"BytesOfNoTextInAnAttribute", "<ppro_root><a p='\xc3'/></ppro_root>"},
        {"DeepNesting", node(repeated("<b>", 256) + repeated("</b>", 256))},
        {"DeeperNesting", node(repeated("<b>", 1000) + repeated("</b>", 1000))},
        {"LongName", "<ppro_root><" + text_of(50'001) + "/></ppro_root>"},
        {"LongAttributeName", "<ppro_root><a " + text_of(50'001) + "='1'/></ppro_root>"},
        {"LargeNode", node("<hash>" + text_of(70'000) + "</hash>")},
        {"LargeRoot", "<ppro_root p='" + text_of(70'000) + "'><a/></ppro_root>"},
        {"LargeAttributeBeforeAnAmpersand", "<ppro_root><a p='" + text_of(70'000) + "&amp;'/></ppro_root>"},
        {"LargeAttribute", "<ppro_root><a p='" + text_of(70'000) + "'/></ppro_root>"},
        {"HugeText", node("<hash>" + text_of(10'000'001) + "</hash>")},
        {"HugeTextBesideNodes", "<ppro_root>" + text_of(10'000'001) + "</ppro_root>"},
        {"HugeTextOfAnotherRoot", "<other>" + text_of(10'000'001) + "</other>"},
        {"ManyParts", node(repeated("<b/>", 1001))},
        {"ManyAttributes",
         "<ppro_root><a" + numbered(1001, [](const std::string& number) { return " a" + number + "=''"; }) +
             "/></ppro_root>"},
        {"ManyNames",
         "<ppro_root>" +
             numbered(30, [](const std::string& number) { return "<a" + number + text_of(40'000) + "/>"; }) +
             "</ppro_root>"},
        {"ManyShortTexts",
         "<ppro_root>" + repeated("<b/> " + blanks + "<b/>\t" + blanks, 72'500) + "</ppro_root>"},
    };
    return all;
}

class OrdinaryPolicy : public PolicySources, public ::testing::WithParamInterface<Document> {};

TEST_P(OrdinaryPolicy, IsReadByEventsWithTheTreesValues)
{
    EXPECT_EQ(source_of(GetParam().content), Source::events);
}

INSTANTIATE_TEST_SUITE_P(Each, OrdinaryPolicy, ::testing::ValuesIn(ordinary()),
                         [](const auto& row) { return std::string(row.param.name); });

class UnusualPolicy : public PolicySources, public ::testing::WithParamInterface<Document> {};

TEST_P(UnusualPolicy, IsLeftToTheTree)
{
    EXPECT_EQ(source_of(GetParam().content), Source::tree);
}

INSTANTIATE_TEST_SUITE_P(Each, UnusualPolicy, ::testing::ValuesIn(unusual()),
                         [](const auto& row) { return std::string(row.param.name); });

// --- from one source to the other ---

constexpr PolicyFormat kFormat{kRoot, "tresk_ppro", kWrongRoot, nullptr};

TEST_F(PolicySources, WhatCameBeforeTheUnusualIsHandedOutOnceMore)
{
    write_file(file, "<ppro_root><a/><b/><c><![CDATA[x]]></c></ppro_root>");
    int begun = 0;
    std::string seen;
    EXPECT_TRUE(read_policy(kFormat, file.c_str(), "reader",
                            {[&](const PolicyNode&) {
                                 ++begun;
                                 seen += "|";
                             },
                             nullptr,
                             [&](const PolicyNode& node) {
                                 seen += node.name;
                                 return Walk::on;
                             }}));
    EXPECT_EQ(begun, 2);
    EXPECT_EQ(seen, "|ab|abc");
}

TEST_F(PolicySources, WhatIsUnusualBehindTheEndOfTheWalkCounts)
{
    write_file(file, "<ppro_root><a/><b/></ppro_root><!-- c -->text");
    int begun = 0;
    captured_stderr([&] {
        EXPECT_TRUE(read_policy(
            kFormat, file.c_str(), "reader",
            {[&](const PolicyNode&) { ++begun; }, nullptr, [](const PolicyNode&) { return Walk::stop; }}));
    });
    EXPECT_EQ(begun, 2);
    EXPECT_TRUE(xml_error_is_left());
}

TEST_F(PolicySources, AReportReachesTheProgramOnce)
{
    write_file(file, "<ppro_root><a></b></ppro_root>");
    int reports = 0;
    xmlSetStructuredErrorFunc(&reports, [](void* count, auto*) { ++*static_cast<int*>(count); });
    RecordedWalk alone(false);
    walk_tree(file.c_str(), kRoot, alone.reader());
    const int of_tree = std::exchange(reports, 0);
    RecordedWalk both(false);
    read_policy(kFormat, file.c_str(), "reader", both.reader());
    EXPECT_EQ(xmlStructuredErrorContext, &reports);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    EXPECT_GT(of_tree, 0);
    EXPECT_EQ(reports, of_tree);
}

TEST_F(PolicySources, LastErrorIsTheTreesOwn)
{
    write_file(file, "<ppro_root>\n<a></b></ppro_root>");
    captured_stderr([&] {
        RecordedWalk walk(false);
        walk_tree(file.c_str(), kRoot, walk.reader());
        const std::string message = xmlGetLastError()->message;
        const int line = xmlGetLastError()->line;
        read_policy(kFormat, file.c_str(), "reader", walk.reader());
        EXPECT_EQ(xmlGetLastError()->message, message);
        EXPECT_EQ(xmlGetLastError()->line, line);
    });
}

TEST_F(PolicySources, WhatAReaderThrowsReachesItsCaller)
{
    write_file(file, node("<hash>h</hash>"));
    int nodes = 0;
    const PolicyWalk throwing{[](const PolicyNode&) {}, nullptr,
                              [&](const PolicyNode&) -> Walk {
                                  ++nodes;
                                  throw std::runtime_error("no more");
                              }};
    EXPECT_THROW(read_policy(kFormat, file.c_str(), "reader", throwing), std::runtime_error);
    EXPECT_EQ(nodes, 1);
}

TEST_F(PolicySources, ASieveLeavesOutWhatDoesNotPassItAndTheRestOfThat)
{
    write_file(file, "<ppro_root>"
                     "<a path='/a'>x<path path='/b'>y<c/></path><!-- d --><?e f?></a>"
                     "<a path='/b'>x<hash>h</hash></a>"
                     "<a path='&#47;a'><hash>copied</hash></a>"
                     "<a hash='/a'/><!-- g -->t"
                     "<a x='1' path=''/>"
                     "<b path='/b'/>"
                     "</ppro_root>");
    RecordedWalk walk(false, only_with("path", "/b"));
    EXPECT_EQ(walk_events(file.c_str(), kRoot, walk.reader()), Walked::done);
    EXPECT_THAT(walk.lines(),
                testing::ElementsAre("root 0 ppro_root", "node 0 a @path=2:/b /1 =0: /0 hash=1:h",
                                     "node 0 a @path=2:/a /0 hash=6:copied", "node 0 a @hash=2:/a", "node 2 ",
                                     "node 1 ", "node 0 b @path=2:/b"));
}

TEST_F(PolicySources, ASieveLooksAtNodesAlone)
{
    write_file(file, "<ppro_root path='/a'><g path='/a'><a path='/a'/><a path='/b'/></g></ppro_root>");
    RecordedWalk walk(true, only_with("path", "/b"));
    EXPECT_EQ(walk_events(file.c_str(), kRoot, walk.reader()), Walked::done);
    EXPECT_THAT(walk.lines(), testing::ElementsAre("root 0 ppro_root @path=2:/a", "group 0 g @path=2:/a",
                                                   "node 0 a @path=2:/b"));
}

TEST_F(PolicySources, ASieveLeavesNoErrnoThatTheParserWouldBeJudgedBy)
{
    write_file(file, "<ppro_root><a path='/a'/><a path='/b'/></ppro_root>");
    RecordedWalk walk(false, {"path", [](std::string_view text) {
                                  errno = ENOMEM;
                                  return text == "/b";
                              }});
    EXPECT_EQ(walk_events(file.c_str(), kRoot, walk.reader()), Walked::done);
    EXPECT_THAT(walk.lines(), testing::ElementsAre("root 0 ppro_root", "node 0 a @path=2:/b"));
}

TEST_F(PolicySources, WhatIsUnusualInANodeThatIsLeftOutIsNoLessSo)
{
    for (const char* inside :
         {"<![CDATA[x]]>", "&none;", "<n:a/>", "<a xmlns='u'/>", "<a b='1' b='2'/>", "<a>"}) {
        SCOPED_TRACE(inside);
        write_file(file, std::string("<ppro_root><a path='/a'>") + inside + "</a></ppro_root>");
        RecordedWalk walk(false, only_with("path", "/b"));
        EXPECT_EQ(walk_events(file.c_str(), kRoot, walk.reader()), Walked::unusual);
        xmlResetLastError();
    }
}

TEST_F(PolicySources, APipeIsReadOnce)
{
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    std::thread writer([this] { std::ofstream(file) << "<ppro_root><a><![CDATA[x]]></a></ppro_root>"; });
    int begun = 0;
    int nodes = 0;
    EXPECT_TRUE(read_policy(kFormat, file.c_str(), "reader",
                            {[&](const PolicyNode&) { ++begun; }, nullptr,
                             [&](const PolicyNode&) {
                                 ++nodes;
                                 return Walk::on;
                             }}));
    writer.join();
    EXPECT_EQ(begun, 1);
    EXPECT_EQ(nodes, 1);
}

TEST_F(PolicySources, AMissingAndAnEmptyFileAreNoDocument)
{
    captured_stderr([&] {
        RecordedWalk walk(false);
        EXPECT_FALSE(read_policy(kFormat, file.c_str(), "reader", walk.reader()));
        EXPECT_EQ(xmlGetLastError()->code, XML_IO_LOAD_ERROR);
        write_file(file, "");
        EXPECT_FALSE(read_policy(kFormat, file.c_str(), "reader", walk.reader()));
        EXPECT_EQ(xmlGetLastError()->code, XML_ERR_DOCUMENT_EMPTY);
        EXPECT_EQ(walk.text(), "");
    });
}

TEST_F(PolicySources, BlanksThatTheProgramWantsInNoTreeAreLeftOutAsEver)
{
    write_file(file, "<ppro_root>\n  <ppro_node path='/a'/>\n</ppro_root>");
    const int kept = xmlKeepBlanksDefault(0);
    RecordedWalk events(false);
    EXPECT_EQ(walk_events(file.c_str(), kRoot, events.reader()), Walked::unusual);
    xmlKeepBlanksDefault(kept);
}

} // namespace

} // namespace tresk::test
