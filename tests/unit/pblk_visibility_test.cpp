// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Who accepts what: one row per shape of a node, with the readers that see an entry in it. The entry is
// searched under the path "/a" and the hash "h", for several sources.
#include "tests/unit/pblk_files.h"

#include <set>

namespace tresk::test {

namespace {

using Readers = std::set<std::string>;

Readers operator+(Readers left, const Readers& right)
{
    left.insert(right.begin(), right.end());
    return left;
}

/// A data source that is asked for, and what the readers' names say of it.
struct Source {
    const char* name;
    int type;
    const char* source_name;
};

constexpr Source kSources[] = {{"1", 1, ""}, {"1s", 1, "s"}, {"2", 2, ""}, {"null", 1, nullptr}};

/// The readers, each that takes a source once for every source, and the count.
Readers that_see_an_entry()
{
    Readers seen;
    for (const Reader& reader : readers()) {
        for (const Source& source : kSources) {
            const Listing listing = reader.read({.type = source.type, .name = source.source_name});
            if (!listing.records.empty()) {
                const bool takes_source = std::string_view(reader.name).ends_with("Zdk");
                seen.insert(reader.name + (takes_source ? std::string(" ") + source.name : std::string()));
            }
        }
    }
    int count = 0;
    if (tresk_pblk_get_same_node_by_hash("h", &count) == 0 && count == 1) {
        seen.insert("Count");
    }
    return seen;
}

/// The names of the readers that take a source, for the one of that name.
Readers single(const std::string& source)
{
    return {"PathZdk " + source, "HashZdk " + source};
}

Readers arrays(const std::string& source)
{
    return {"AllZdk " + source, "FileZdk " + source};
}

const Readers kNone;
const Readers kCount = {"Count"};
const Readers kAll = {"All", "File"};
const Readers kUnqualified = kAll + kCount;
const Readers kPlainPath = {"Path"};
const Readers kUsualSingles = kPlainPath + single("1");
const Readers kEverySingle = kUsualSingles + single("1s") + single("2") + single("null");
const Readers kUsualArrays = arrays("1");
/// Who sees an entry of the usual source that lacks nothing.
const Readers kUsual = kUnqualified + kUsualSingles + kUsualArrays;
/// Of these, who goes by the path and by the hash.
const Readers kByPath = {"Path", "PathZdk 1"};
const Readers kByHash = {"HashZdk 1"};

struct Row {
    const char* name;
    std::string node;
    Readers readers;
};

std::ostream& operator<<(std::ostream& out, const Row& row)
{
    return out << row.name;
}

std::string with(std::string_view attributes)
{
    return node("/a", "h", attributes);
}

/// A node of the usual source with these children.
std::string holding(std::string_view children)
{
    std::string text = R"(<pblk_node path="/a" data_source_type="1" data_source_name="">)";
    return text.append(children) + "</pblk_node>";
}

std::vector<Row> qualified()
{
    return {
        {"NoSource", with(""), kUnqualified + kEverySingle},
        {"TypeAlone", with(R"(data_source_type="1")"),
         kUnqualified + kUsualSingles + single("1s") + single("null")},
        {"OtherTypeAlone", with(R"(data_source_type="2")"), kUnqualified + single("2")},
        {"NameAlone", with(R"(data_source_name="s")"), kUnqualified + single("1s")},
        {"EmptyNameAlone", with(R"(data_source_name="")"), kUnqualified + kUsualSingles + single("2")},
        {"OtherNameAlone", with(R"(data_source_name="x")"), kUnqualified},
        {"TypeAndEmptyName", with(kUsualSource), kUsual},
        {"EmptyNameAndType", with(R"(data_source_name="" data_source_type="1")"), kUsual},
        {"TypeAndName", with(R"(data_source_type="1" data_source_name="s")"),
         kUnqualified + single("1s") + arrays("1s")},
        {"OtherTypeAndEmptyName", with(R"(data_source_type="2" data_source_name="")"),
         kUnqualified + single("2") + arrays("2")},
        {"TypeAndOtherName", with(R"(data_source_type="1" data_source_name="x")"), kUnqualified},
        {"OtherTypeAndName", with(R"(data_source_type="2" data_source_name="s")"), kUnqualified},
        {"TypeWithLeadingZero", with(R"(data_source_type="01" data_source_name="")"), kUnqualified},
        {"TypeWithBlank", with(R"(data_source_type="1 " data_source_name="")"), kUnqualified},
        {"TypeEmpty", with(R"(data_source_type="" data_source_name="")"), kUnqualified},
        {"NameInOtherCase", with(R"(data_source_type="1" data_source_name="S")"), kUnqualified},
        {"TypeByCharacterReference", with(R"(data_source_type="&#49;" data_source_name="")"), kUsual},
    };
}

std::vector<Row> shaped()
{
    return {
        {"UnknownAttributes", with(R"(data_source_type="1" data_source_name="" colour="red")"), kUsual},
        {"TypeBeforePath",
         R"(<pblk_node data_source_type="1" path="/a" data_source_name=""><hash>h</hash></pblk_node>)",
         kCount + kUsualSingles + kUsualArrays},
        {"UnknownBeforePath",
         R"(<pblk_node x="" path="/a" data_source_type="1" data_source_name=""><hash>h</hash></pblk_node>)",
         kCount + kUsualSingles + kUsualArrays},
        {"NoPath", R"(<pblk_node data_source_type="1" data_source_name=""><hash>h</hash></pblk_node>)",
         kCount},
        {"PathInOtherCase",
         R"(<pblk_node Path="/a" data_source_type="1" data_source_name=""><hash>h</hash></pblk_node>)",
         kCount},
        {"OtherPath", node("/b", "h"), kUnqualified + kUsualArrays + kByHash},
        {"EmptyPath", node("", "h"), kUnqualified + kUsualArrays + kByHash},
        {"PathTooLong", node("/" + std::string(4095, 'a'), "h"), kCount},
        {"OtherElement", R"(<node path="/a" data_source_type="1" data_source_name=""><hash>h</hash></node>)",
         kNone},
        {"NodeOfAnotherFamily", R"(<ppro_node path="/a"><hash>h</hash></ppro_node>)", kNone},
        {"ElementInOtherCase", R"(<PBLK_NODE path="/a"><hash>h</hash></PBLK_NODE>)", kNone},
        {"NamespacedElement",
         R"(<x:pblk_node xmlns:x="urn:x" path="/a" data_source_type="1" data_source_name=""><hash>h</hash>)"
         "</x:pblk_node>",
         kUsual},
        {"Nested", "<pblk_node>" + with(kUsualSource) + "</pblk_node>", kNone},
        {"InAComment", "<!--" + with(kUsualSource) + "-->", kNone},
        {"BehindText", "\n" + with(kUsualSource), kUsual},
    };
}

std::vector<Row> with_children()
{
    return {
        {"NoChildren", holding(""), kUsualArrays},
        {"TextOnly", holding("h"), kUsualArrays},
        {"CommentOnly", holding("<!--h-->"), kUsualArrays},
        {"OtherChildOnly", holding("<type>h</type>"), kUsualArrays},
        {"HashInOtherCase", holding("<Hash>h</Hash>"), kUsualArrays},
        {"HashAsInstruction", holding("<?hash h?>"), kUsualArrays},
        {"HashDeeper", holding("<deep><hash>h</hash></deep>"), kUsualArrays},
        {"OtherHash", holding("<hash>g</hash>"), kAll + kUsualArrays + kByPath},
        {"EmptyHash", holding("<hash/>"), kAll + kUsualArrays + kByPath},
        {"HashWithBlanks", holding("<hash> h </hash>"), kAll + kUsualArrays + kByPath},
        {"HashInOtherLetters", holding("<hash>H</hash>"), kAll + kUsualArrays + kByPath},
        {"HashBehindOtherChildren", holding("\n<!--c--><type>1</type>t<hash>h</hash>\n"), kUsual},
        {"HashBeforeAnother", holding("<hash>h</hash><hash>g</hash>"),
         kAll + kUsualArrays + kByPath + kByHash},
        {"HashBehindAnother", holding("<hash>g</hash><hash>h</hash>"), kUsual},
        {"HashInPieces", holding("<hash><![CDATA[h]]><!-- c --></hash>"), kUsual},
        {"HashByCharacterReference", holding("<hash>&#104;</hash>"), kUsual},
    };
}

class PblkVisibility : public PblkFilesTest, public ::testing::WithParamInterface<Row> {};

TEST_P(PblkVisibility, IsThatOfItsRow)
{
    write_policy(GetParam().node);
    EXPECT_EQ(that_see_an_entry(), GetParam().readers);
    EXPECT_TRUE(framework().order.empty());
}

INSTANTIATE_TEST_SUITE_P(Sources, PblkVisibility, ::testing::ValuesIn(qualified()), by_name);
INSTANTIATE_TEST_SUITE_P(Nodes, PblkVisibility, ::testing::ValuesIn(shaped()), by_name);
INSTANTIATE_TEST_SUITE_P(Children, PblkVisibility, ::testing::ValuesIn(with_children()), by_name);

} // namespace

} // namespace tresk::test
