// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Who accepts what: one row per shape of a node, with the readers that see an entry in it. The entry is
// searched under the path "/usr/bin/a" and the hash "h"; the reader by hash, which passes over entries that
// carry the hash, is asked for another.
#include "tests/unit/ppro_files.h"

#include <set>

namespace tresk::test {

namespace {

using Readers = std::set<std::string>;

constexpr char kPath[] = "/usr/bin/a";

/// A reader of entries and whether it saw one.
struct Reader {
    const char* name;
    std::function<bool()> sees;
};

bool sees_any(const std::function<ppro_node_info*(int*)>& reader)
{
    return list(reader).count == 1;
}

bool is_record(ppro_node_info* record)
{
    return one(record).has_value();
}

/// Array readers, then those of one path, then the look-ups by hash.
const std::vector<Reader>& readers()
{
    static char file[] = "/etc/tresk/ppro/ppro.xml";
    static const std::vector<Reader> all = {
        {"all", [] { return sees_any([](int* n) { return tresk_ppro_read_all_data(n); }); }},
        {"all sm", [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_sm(n); }); }},
        {"all internal 0",
         [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_internal(n, 0); }); }},
        {"all internal 2",
         [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_internal(n, 2); }); }},
        {"file", [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_with_file(file, n); }); }},
        {"file sm",
         [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_with_file_sm(file, n); }); }},
        {"all zdk 0 ''",
         [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_zdk(n, 0, ""); }); }},
        {"all zdk 0 null",
         [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_zdk(n, 0, nullptr); }); }},
        {"all zdk 0 s",
         [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_zdk(n, 0, "s"); }); }},
        {"all zdk 1 ''",
         [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_zdk(n, 1, ""); }); }},
        {"all zdk 1 s",
         [] { return sees_any([](int* n) { return tresk_ppro_read_all_data_zdk(n, 1, "s"); }); }},
        {"file zdk 0 ''",
         [] {
             return sees_any([](int* n) { return tresk_ppro_read_all_data_with_file_zdk(file, n, 0, ""); });
         }},
        {"file zdk 1 ''",
         [] {
             return sees_any([](int* n) { return tresk_ppro_read_all_data_with_file_zdk(file, n, 1, ""); });
         }},
        {"path", [] { return is_record(tresk_ppro_read_node_with_path(kPath)); }},
        {"path sm", [] { return is_record(tresk_ppro_read_node_with_path_sm(kPath)); }},
        {"path internal 0", [] { return is_record(tresk_ppro_read_node_with_path_internal(kPath, 0)); }},
        {"path internal 2", [] { return is_record(tresk_ppro_read_node_with_path_internal(kPath, 2)); }},
        {"path zdk 0 ''", [] { return is_record(tresk_ppro_read_node_with_path_zdk(kPath, 0, "")); }},
        {"path zdk 0 null", [] { return is_record(tresk_ppro_read_node_with_path_zdk(kPath, 0, nullptr)); }},
        {"path zdk 0 s", [] { return is_record(tresk_ppro_read_node_with_path_zdk(kPath, 0, "s")); }},
        {"path zdk 1 ''", [] { return is_record(tresk_ppro_read_node_with_path_zdk(kPath, 1, "")); }},
        {"path zdk 1 s", [] { return is_record(tresk_ppro_read_node_with_path_zdk(kPath, 1, "s")); }},
        {"hash zdk 0 ''", [] { return is_record(tresk_ppro_read_node_with_hash_zdk("other", 0, "")); }},
        {"hash zdk 0 null",
         [] { return is_record(tresk_ppro_read_node_with_hash_zdk("other", 0, nullptr)); }},
        {"hash zdk 0 s", [] { return is_record(tresk_ppro_read_node_with_hash_zdk("other", 0, "s")); }},
        {"hash zdk 1 ''", [] { return is_record(tresk_ppro_read_node_with_hash_zdk("other", 1, "")); }},
        {"hash zdk 1 s", [] { return is_record(tresk_ppro_read_node_with_hash_zdk("other", 1, "s")); }},
        {"in sm", [] { return tresk_ppro_check_in_sm("h") == 0; }},
        {"count",
         [] {
             int count = 0;
             return tresk_ppro_get_same_node_by_hash("h", &count) == 0 && count == 1;
         }},
    };
    return all;
}

Readers that_see_an_entry()
{
    Readers seen;
    for (const Reader& reader : readers()) {
        if (reader.sees()) {
            seen.insert(reader.name);
        }
    }
    return seen;
}

Readers operator+(Readers left, const Readers& right)
{
    left.insert(right.begin(), right.end());
    return left;
}

Readers operator-(Readers left, const Readers& right)
{
    for (const std::string& name : right) {
        left.erase(name);
    }
    return left;
}

const Readers kNone;
const Readers kOrdinary = {"all", "all internal 0", "file", "path", "path internal 0"};
const Readers kEveryOwner = {"all sm", "all internal 2", "file sm", "path sm", "path internal 2"};
const Readers kNumeric = kOrdinary + kEveryOwner;
const Readers kExact0Empty = {"all zdk 0 ''", "file zdk 0 ''", "path zdk 0 ''", "hash zdk 0 ''"};
const Readers kExact0Null = {"all zdk 0 null", "path zdk 0 null", "hash zdk 0 null"};
const Readers kExact0Source = {"all zdk 0 s", "path zdk 0 s", "hash zdk 0 s"};
const Readers kExact1Empty = {"all zdk 1 ''", "file zdk 1 ''", "path zdk 1 ''", "hash zdk 1 ''"};
const Readers kExact1Source = {"all zdk 1 s", "path zdk 1 s", "hash zdk 1 s"};
const Readers kOfHash = {"hash zdk 0 ''", "hash zdk 0 null"};
const Readers kCount = {"count"};
const Readers kInSm = {"in sm"};
const Readers kPlain = kNumeric + kExact0Empty + kExact0Null;

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
    return node(kPath, "h", "7", attributes);
}

std::string holding(std::string_view children)
{
    return "<ppro_node path=\"/usr/bin/a\">" + std::string(children) + "</ppro_node>";
}

std::vector<Row> qualified()
{
    return {
        {"Plain", with(""), kPlain + kCount},
        {"StatusOne", with(R"(sm_status="1")"), kEveryOwner + kExact1Empty + kInSm + kCount},
        {"StatusZero", with(R"(sm_status="0")"), kPlain + kCount},
        {"StatusWithLeadingZero", with(R"(sm_status="01")"), kEveryOwner + kInSm + kCount},
        {"StatusOtherNumber", with(R"(sm_status="3")"), kEveryOwner + kInSm + kCount},
        {"StatusNegative", with(R"(sm_status="-1")"), kEveryOwner + kInSm + kCount},
        {"StatusNoNumber", with(R"(sm_status="yes")"), kNumeric + kCount},
        {"StatusEmpty", with(R"(sm_status="")"), kNumeric + kCount},
        {"Source", with(R"(data_source_name="s")"), kNumeric + kExact0Source + kCount},
        {"SourceEmpty", with(R"(data_source_name="")"), kNumeric + kExact0Empty + kCount},
        {"SourceOther", with(R"(data_source_name="t")"), kNumeric + kCount},
        {"StatusOneWithSource", with(R"(sm_status="1" data_source_name="s")"),
         kEveryOwner + kExact1Source + kInSm + kCount},
        {"StatusOneWithEmptySource", with(R"(data_source_name="" sm_status="1")"),
         kEveryOwner + kExact1Empty + kInSm + kCount},
    };
}

std::vector<Row> shaped()
{
    return {
        {"UnknownAttributes", with(R"(colour="red" shape="round")"), kPlain + kCount},
        {"UnknownChildren", holding("<hash>h</hash><type>7</type><colour>red</colour>"), kPlain + kCount},
        {"StatusBeforePath",
         R"(<ppro_node sm_status="1" path="/usr/bin/a"><hash>h</hash><type>7</type></ppro_node>)", kCount},
        {"SourceBeforePath",
         R"(<ppro_node data_source_name="" path="/usr/bin/a"><hash>h</hash><type>7</type></ppro_node>)",
         kCount},
        {"NoPath", "<ppro_node><hash>h</hash><type>7</type></ppro_node>", kCount},
        {"EmptyPath", node("", "h", "7"),
         kPlain + kCount -
             Readers{"path", "path internal 0", "path sm", "path internal 2", "path zdk 0 ''",
                     "path zdk 0 null"}},
        {"PathInOtherCase", R"(<ppro_node Path="/usr/bin/a"><hash>h</hash><type>7</type></ppro_node>)",
         kCount},
        {"OtherElement", R"(<other path="/usr/bin/a"><hash>h</hash><type>7</type></other>)", kNone},
        {"OtherElementOfSm", R"(<other path="/usr/bin/a" sm_status="1"><hash>h</hash><type>7</type></other>)",
         kInSm},
        {"ElementInOtherCase", R"(<PPRO_NODE path="/usr/bin/a"><hash>h</hash><type>7</type></PPRO_NODE>)",
         kNone},
        {"NamespacedElement",
         R"(<x:ppro_node xmlns:x="urn:x" path="/usr/bin/a"><hash>h</hash><type>7</type></x:ppro_node>)",
         kPlain + kCount},
        {"UndeclaredPrefix", R"(<x:ppro_node path="/usr/bin/a"><hash>h</hash><type>7</type></x:ppro_node>)",
         kNone},
        {"NamespacedPath",
         R"(<ppro_node xmlns:x="urn:x" x:path="/usr/bin/a"><hash>h</hash><type>7</type></ppro_node>)",
         kPlain + kCount},
        {"NamespaceDeclarationBeforePath",
         R"(<ppro_node xmlns:x="urn:x" path="/usr/bin/a"><hash>h</hash><type>7</type></ppro_node>)",
         kPlain + kCount},
        {"NamespacedChildren",
         R"(<ppro_node path="/usr/bin/a" xmlns:x="urn:x"><x:hash>h</x:hash><x:type>7</x:type></ppro_node>)",
         kPlain + kCount},
    };
}

std::vector<Row> with_children()
{
    return {
        {"NoChildren", holding(""), kNone},
        {"NoHash", holding("<type>7</type>"), kNone},
        {"NoType", holding("<hash>h</hash>"), kCount},
        {"TypeFirst", holding("<type>7</type><hash>h</hash>"), kPlain - kOfHash},
        {"BlankFirst", holding("\n<hash>h</hash>\n<type>7</type>\n"), kPlain - kOfHash},
        {"CommentFirst", holding("<!-- c --><hash>h</hash><type>7</type>"), kPlain - kOfHash},
        {"InstructionFirst", holding("<?hash h?><hash>h</hash><type>7</type>"), kPlain - kOfHash},
        {"CdataFirst", holding("<![CDATA[h]]><hash>h</hash><type>7</type>"), kPlain - kOfHash},
        {"CommentAfterHash", holding("<hash>h</hash><!-- c --><type>7</type>"), kPlain + kCount},
        {"HashAsInstructionOnly", holding("<?hash h?><type>7</type>"), kNone},
        {"HashDeeper", holding("<deep><hash>h</hash></deep><type>7</type>"), kNone},
        {"EmptyType", holding("<hash>h</hash><type/>"), kPlain + kCount},
        {"HashInPieces", holding("<hash><![CDATA[h]]><!-- c --></hash><type>7</type>"), kPlain + kCount},
        {"HashByCharacterReference", holding("<hash>&#104;</hash><type>7</type>"), kPlain + kCount},
        {"HashWithBlanks", holding("<hash> h </hash><type>7</type>"), kPlain},
        {"SecondHashDiffers", holding("<hash>h</hash><type>7</type><hash>g</hash>"), kPlain + kCount},
        {"Nested", "<ppro_node>" + with("") + "</ppro_node>", kNone},
        {"InAComment", "<!--" + with("") + "-->", kNone},
        {"TextFirst", "\n" + with(""), kPlain},
        {"PathTooLong", node("/" + std::string(4095, 'a'), "h", "7", R"(sm_status="1")"), kInSm + kCount},
    };
}

class PproVisibility : public PproFilesTest, public ::testing::WithParamInterface<Row> {};

TEST_P(PproVisibility, IsThatOfItsRow)
{
    write_policy(GetParam().node);
    EXPECT_EQ(that_see_an_entry(), GetParam().readers);
    EXPECT_TRUE(framework().order.empty());
}

INSTANTIATE_TEST_SUITE_P(Qualifiers, PproVisibility, ::testing::ValuesIn(qualified()), by_name);
INSTANTIATE_TEST_SUITE_P(Nodes, PproVisibility, ::testing::ValuesIn(shaped()), by_name);
INSTANTIATE_TEST_SUITE_P(Children, PproVisibility, ::testing::ValuesIn(with_children()), by_name);

} // namespace

} // namespace tresk::test
