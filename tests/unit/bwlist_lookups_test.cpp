// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The look-ups in one list, of any source and of one source.
#include "tests/unit/bwlist_files.h"

#include <libxml/xmlerror.h>

#include <atomic>
#include <climits>
#include <filesystem>
#include <functional>
#include <thread>

namespace tresk::test {

namespace {

/// What a look-up is asked; each takes of it what it can.
struct Query {
    const char* list = "white";
    const char* package = "a";
    int type = 1;
    const char* source = "s";
};

/// A look-up, directly or by the function that chooses between them.
struct Lookup {
    const char* name;
    bool of_source;
    int for_null; ///< what it gives for a null list or package
    int (*find)(const Query&);
};

std::ostream& operator<<(std::ostream& out, const Lookup& lookup)
{
    return out << lookup.name;
}

const Lookup kLookups[] = {
    {"Unite", false, 0,
     [](const Query& query) { return _bwlist_unite_select_by_rpm_name(query.list, query.package); }},
    {"Independence", true, 0,
     [](const Query& query) {
         return _bwlist_independence_select_by_rpm_name(query.list, query.package, query.type, query.source);
     }},
    {"SelectUnite", false, -1,
     [](const Query& query) {
         return tresk_bwlist_select_by_rpm_name_zdk(query.list, query.package, 3, query.source);
     }},
    {"SelectIndependence", true, -1,
     [](const Query& query) {
         return tresk_bwlist_select_by_rpm_name_zdk(query.list, query.package, query.type, query.source);
     }},
};

constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

class BwlistLookup : public BwlistFilesTest, public ::testing::WithParamInterface<Lookup> {
  protected:
    static int find(const Query& query = {}) { return GetParam().find(query); }
};

INSTANTIATE_TEST_SUITE_P(Lookups, BwlistLookup, ::testing::ValuesIn(kLookups), by_name);

TEST_P(BwlistLookup, FindsAPackageOfTheList)
{
    write_policy(list_of("white", entry("b") + "\n" + entry("a")) + list_of("black", entry("c")));
    EXPECT_EQ(find(), 1);
    EXPECT_EQ(find({.package = "b"}), 1);
    EXPECT_EQ(find({.package = "c"}), 0);
    EXPECT_EQ(find({.list = "black", .package = "c"}), 1);
    EXPECT_EQ(find({.list = "black"}), 0);
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(BwlistLookup, SearchesEveryElementOfTheList)
{
    write_policy(list_of("white", entry("b")) + list_of("black", "") + list_of("white", "") +
                 list_of("white", entry("a")));
    EXPECT_EQ(find(), 1);
}

TEST_P(BwlistLookup, ComparesNamesWhole)
{
    write_policy(list_of("white", entry("package")));
    for (const char* package : {"pack", "packages", "Package", " package", ""}) {
        EXPECT_EQ(find({.package = package}), 0) << package;
    }
    for (const char* list : {"whit", "whites", "White", ""}) {
        EXPECT_EQ(find({.list = list, .package = "package"}), 0) << list;
    }
    EXPECT_EQ(find({.package = "package"}), 1);
}

TEST_P(BwlistLookup, FindsAnyNames)
{
    const std::string long_name(10'000, 'n');
    write_policy(list_of("", entry("")) + list_of("gr\xC3\xBCn &lt;", entry("b&amp;\xC3\xA9")) +
                 list_of("white", entry(long_name)));
    EXPECT_EQ(find({.list = "", .package = ""}), 1);
    EXPECT_EQ(find({.list = "gr\xC3\xBCn <", .package = "b&\xC3\xA9"}), 1);
    EXPECT_EQ(find({.package = long_name.c_str()}), 1);
}

TEST_P(BwlistLookup, TakesAttributesInAnyOrder)
{
    write_policy(R"(<tresk_bwlist x="" bw_value="white"><tresk_node data_source_name="s" )"
                 R"(data_source_type="1" x="" rpm_name="a"/></tresk_bwlist>)");
    EXPECT_EQ(find(), 1);
}

TEST_P(BwlistLookup, SkipsElementsOfOtherNames)
{
    for (const std::string& lists :
         {"<bwlist bw_value=\"white\">" + entry("a") + "</bwlist>",
          "<TRESK_BWLIST bw_value=\"white\">" + entry("a") + "</TRESK_BWLIST>",
          "<tresk_bwlist>" + entry("a") + "</tresk_bwlist>",
          "<tresk_bwlist BW_VALUE=\"white\">" + entry("a") + "</tresk_bwlist>",
          "<x>" + list_of("white", entry("a")) + "</x>", list_of("white", "<x>" + entry("a") + "</x>"),
          list_of("white", R"(<node rpm_name="a" data_source_type="1" data_source_name="s"/>)"),
          list_of("white", R"(<tresk_node name="a" data_source_type="1" data_source_name="s"/>)"),
          list_of("white", "<!--" + entry("a") + "-->"), entry("a"), std::string()}) {
        write_policy(lists);
        EXPECT_EQ(find(), 0) << lists;
    }
}

TEST_P(BwlistLookup, GoesOnBehindWhatItSkips)
{
    write_policy("\n<!-- c --><x/><tresk_bwlist>" + entry("b") + "</tresk_bwlist>" +
                 list_of("white", "\n<x/><tresk_node/>" + entry("a")));
    EXPECT_EQ(find(), 1);
}

TEST_P(BwlistLookup, FindsNothingWhereTheFileIsMissingAndCreatesNone)
{
    EXPECT_EQ(find(), 0);
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
    std::filesystem::remove_all("/etc/tresk/bwlist");
    EXPECT_EQ(find(), 0);
    EXPECT_FALSE(std::filesystem::exists("/etc/tresk/bwlist"));
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(BwlistLookup, FindsNothingInAFileThatIsNoPolicyAndSaysNothing)
{
    for (const std::string& content :
         {std::string(), std::string("garbage"), std::string("<"), std::string("\xFF\xFE"),
          "<other_root>" + list_of("white", entry("a")) + "</other_root>"}) {
        write_file(kPolicyFile, content);
        EXPECT_EQ(find(), 0) << content;
        EXPECT_EQ(read_file(kPolicyFile), content);
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(BwlistLookup, FindsWhatStandsBeforeTheDamage)
{
    write_file(kPolicyFile,
               R"(<tresk_root><tresk_bwlist bw_value="white">)" + entry("a") + "<tresk_node rpm");
    EXPECT_EQ(find(), 1);
}

TEST_P(BwlistLookup, DoesNotCareForErrorsOfEarlierWork)
{
    write_file(kPolicyFile, "<");
    EXPECT_EQ(find(), 0);
    ASSERT_NE(xmlGetLastError(), nullptr);
    write_policy(list_of("white", entry("a")));
    EXPECT_EQ(find(), 1);
    EXPECT_TRUE(xmlGetLastError() == nullptr || xmlGetLastError()->code == XML_ERR_OK);
}

TEST_P(BwlistLookup, OfNullReadsNoFile)
{
    EXPECT_EQ(find({.package = nullptr}), GetParam().for_null);
    EXPECT_EQ(find({.list = nullptr}), GetParam().for_null);
    EXPECT_EQ(find({.list = nullptr, .package = nullptr}), GetParam().for_null);
    EXPECT_TRUE(xmlGetLastError() == nullptr || xmlGetLastError()->code == XML_ERR_OK) << "a file was missed";
}

TEST_P(BwlistLookup, ReadsTheFileAfreshAtEveryCall)
{
    for (const int found : {1, 0, 1}) {
        write_policy(list_of("white", found == 1 ? entry("a") : ""));
        EXPECT_EQ(find(), found);
    }
}

TEST_P(BwlistLookup, FindsTheLastOf100000Packages)
{
    std::string entries;
    for (int i = 0; i < 100'000; ++i) {
        entries += entry("p" + std::to_string(i));
    }
    write_policy(list_of("white", entries));
    EXPECT_EQ(find({.package = "p99999"}), 1);
    EXPECT_EQ(find({.package = "p100000"}), 0);
}

TEST_P(BwlistLookup, SeesOneOrTheOtherVersionWhileTheFileIsReplaced)
{
    write_policy(list_of("white", entry("a")));
    std::atomic<bool> done = false;
    std::thread writer([&done] {
        for (int i = 0; !done; ++i) {
            write_file("/etc/tresk/bwlist/new.xml",
                       "<tresk_root>" +
                           list_of("white", std::string(static_cast<std::size_t>(i % 7), '\n') + entry("a")) +
                           "</tresk_root>");
            std::filesystem::rename("/etc/tresk/bwlist/new.xml", kPolicyFile);
        }
    });
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(find(), 1);
    }
    done = true;
    writer.join();
}

/// Entries of several sources, and whether the look-ups of one source find them.
class BwlistSource : public BwlistFilesTest {
  protected:
    /// Asks both look-ups of a source for an entry with these attributes.
    static int find(std::string_view attributes, int type, const char* source)
    {
        write_policy(list_of("white", entry_with("a", attributes)));
        const int found = _bwlist_independence_select_by_rpm_name("white", "a", type, source);
        EXPECT_EQ(tresk_bwlist_select_by_rpm_name_zdk("white", "a", type, source), found);
        return found;
    }
};

TEST_F(BwlistSource, MustBeThatOfTheEntry)
{
    constexpr char attributes[] = R"(data_source_type="5" data_source_name="s")";
    EXPECT_EQ(find(attributes, 5, "s"), 1);
    EXPECT_EQ(find(attributes, 5, "t"), 0);
    EXPECT_EQ(find(attributes, 5, ""), 0);
    EXPECT_EQ(find(attributes, 4, "s"), 0);
}

TEST_F(BwlistSource, MustBeCarriedByTheEntry)
{
    EXPECT_EQ(find("", 5, ""), 0);
    EXPECT_EQ(find(R"(data_source_type="5")", 5, ""), 0);
    EXPECT_EQ(find(R"(data_source_name="")", 5, ""), 0);
    EXPECT_EQ(find(R"(data_source_type="5" data_source_name="")", 5, ""), 1);
}

TEST_F(BwlistSource, IsOfATypeComparedAsText)
{
    EXPECT_EQ(find(R"(data_source_type="05" data_source_name="s")", 5, "s"), 0);
    EXPECT_EQ(find(R"(data_source_type="5 " data_source_name="s")", 5, "s"), 0);
    EXPECT_EQ(find(R"(data_source_type="0" data_source_name="s")", 0, "s"), 1);
    EXPECT_EQ(find(R"(data_source_type="-1" data_source_name="s")", -1, "s"), 1);
}

TEST_F(BwlistSource, IsOfATypeOfAtMostSevenCharacters)
{
    EXPECT_EQ(find(R"(data_source_type="1234567" data_source_name="s")", 1234567, "s"), 1);
    EXPECT_EQ(find(R"(data_source_type="1234567" data_source_name="s")", 12345678, "s"), 1);
    EXPECT_EQ(find(R"(data_source_type="12345678" data_source_name="s")", 12345678, "s"), 0);
    EXPECT_EQ(find(R"(data_source_type="-123456" data_source_name="s")", -1234567, "s"), 1);
    EXPECT_EQ(find(R"(data_source_type="-214748" data_source_name="s")", INT_MIN, "s"), 1);
}

TEST_F(BwlistSource, OfNullIsTheEmptyOneForTheChoosingFunctionAlone)
{
    write_policy(list_of("white", entry_with("a", R"(data_source_type="5" data_source_name="")")));
    EXPECT_EQ(tresk_bwlist_select_by_rpm_name_zdk("white", "a", 5, nullptr), 1);
    EXPECT_EQ(_bwlist_independence_select_by_rpm_name("white", "a", 5, nullptr), 0);
    write_policy(list_of("white", entry_with("a", R"(data_source_type="5" data_source_name="s")")));
    EXPECT_EQ(tresk_bwlist_select_by_rpm_name_zdk("white", "a", 5, nullptr), 0);
}

TEST_F(BwlistSource, PlaysNoPartForAnySource)
{
    for (const char* attributes :
         {"", R"(data_source_type="5")", R"(data_source_type="x" data_source_name="y")"}) {
        write_policy(list_of("white", entry_with("a", attributes)));
        EXPECT_EQ(_bwlist_unite_select_by_rpm_name("white", "a"), 1);
        EXPECT_EQ(tresk_bwlist_select_by_rpm_name_zdk("white", "a", 3, "z"), 1);
        EXPECT_EQ(tresk_bwlist_select_by_rpm_name_zdk("white", "a", 3, nullptr), 1);
    }
}

TEST_F(BwlistSource, OfTypeThreeIsFoundByTheDirectLookUpAlone)
{
    write_policy(list_of("white", entry_with("a", R"(data_source_type="3" data_source_name="s")")));
    EXPECT_EQ(_bwlist_independence_select_by_rpm_name("white", "a", 3, "s"), 1);
    EXPECT_EQ(_bwlist_independence_select_by_rpm_name("white", "a", 3, "t"), 0);
    EXPECT_EQ(tresk_bwlist_select_by_rpm_name_zdk("white", "a", 3, "t"), 1);
}

TEST_F(BwlistSource, GoesOnToTheEntryOfTheSource)
{
    write_policy(list_of("white", entry_with("a", R"(data_source_type="1" data_source_name="s")") +
                                      entry_with("a", R"(data_source_type="2" data_source_name="s")")));
    EXPECT_EQ(tresk_bwlist_select_by_rpm_name_zdk("white", "a", 2, "s"), 1);
}

} // namespace

} // namespace tresk::test
