// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What all readers have in common: files that are missing, empty or of another family, and what a record
// holds. Who accepts which node is told by pblk_visibility_test.cpp.
#include "common/record_array.h"
#include "tests/unit/pblk_files.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <iterator>

namespace tresk::test {

namespace {

std::vector<Reader> readers_that(const std::function<bool(const Reader&)>& chosen)
{
    std::vector<Reader> found;
    std::copy_if(readers().begin(), readers().end(), std::back_inserter(found), chosen);
    return found;
}

class PblkReader : public PblkReaderTest {};

INSTANTIATE_TEST_SUITE_P(Readers, PblkReader, ::testing::ValuesIn(readers()), by_name);

TEST_P(PblkReader, GivesTheEntry)
{
    write_policy(node("/a", "h"));
    const Listing listing = read();
    EXPECT_EQ(listing.records, Records{visible({"/a", "h"})});
    EXPECT_EQ(listing.count, GetParam().single ? kUnwritten : 1);
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(PblkReader, FindsNothingInAnEmptyPolicy)
{
    for (const char* nodes : {"", "\n<!-- none -->\n", "<other/><pblk_node/>"}) {
        write_policy(nodes);
        expect_nothing(read());
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(PblkReader, CutsTheHashAt64Bytes)
{
    const std::string hash = std::string(64, 'f') + "tail";
    write_policy(node("/a", hash));
    EXPECT_EQ(read({.hash = hash.c_str()}).records, Records{visible({"/a", std::string(64, 'f')})});
}

TEST_P(PblkReader, GivesAPathOf4095BytesAndLeavesALongerOneOut)
{
    const std::string longest = "/" + std::string(4094, 'p');
    write_policy(node(longest + "q", "h") + node(longest, "h"));
    EXPECT_EQ(read({.path = longest.c_str()}).records, Records{visible({longest, "h"})});
}

TEST_P(PblkReader, GivesAPathOfAnyLanguageUnchanged)
{
    write_policy(node("/\xC3\xA9&amp;&lt;&#9;", "h"));
    EXPECT_EQ(read({.path = "/\xC3\xA9&<\t"}).records, Records{visible({"/\xC3\xA9&<\t", "h"})});
}

TEST_P(PblkReader, CreatesTheMissingPolicyAndFails)
{
    expect_failure(read());
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
    expect_nothing(read());
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(PblkReader, FillsTheEmptyPolicyAndFails)
{
    write_file(kPolicyFile, "");
    expect_failure(read());
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
    expect_nothing(read());
}

TEST_P(PblkReader, FailsWhereItsFolderIsMissing)
{
    std::filesystem::remove_all("/etc/tresk/pblk");
    expect_failure(read());
    EXPECT_FALSE(std::filesystem::exists("/etc/tresk/pblk"));
}

TEST_P(PblkReader, NamesTheRootItWantsWhereItFindsAnother)
{
    const std::string other = "<ppro_root>" + node("/a", "h") + "</ppro_root>";
    write_file(kPolicyFile, other);
    expect_failure(read());
    ASSERT_EQ(framework().logs.size(), 1U);
    const LogLine& line = framework().logs[0];
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.subject, GetParam().function);
    EXPECT_EQ(line.source, "tresk_pblk");
    EXPECT_EQ(line.format, "%s: document of the wrong type, root node != %s\n");
    EXPECT_EQ(line.text,
              std::string(GetParam().function) + ": document of the wrong type, root node != pblk_root\n");
    EXPECT_TRUE(framework().errors.empty());
    EXPECT_EQ(read_file(kPolicyFile), other);
}

TEST_P(PblkReader, FailsSilentlyWhereThereIsNoRoot)
{
    for (const char* document : {"<?xml version=\"1.0\"?>\n<!-- nothing -->\n", "garbage", "<"}) {
        write_file(kPolicyFile, document);
        expect_failure(read());
        EXPECT_EQ(read_file(kPolicyFile), document);
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(PblkReader, ReadsThePolicyAfreshAtEveryCall)
{
    for (const char* attributes : {kUsualSource, R"(data_source_name="" data_source_type="1" other="")"}) {
        write_policy(node("/a", "h", attributes));
        EXPECT_EQ(read().records.size(), 1U);
        write_policy("");
        EXPECT_EQ(read().records.size(), 0U);
    }
}

TEST_P(PblkReader, ReadsTheFileItIsGivenOrThePolicy)
{
    write_policy(node("/a", "h"));
    write_file(kOtherFile, policy(""));
    EXPECT_EQ(read({.file = kOtherFile}).records.size(), GetParam().takes_file ? 0U : 1U);
}

class PblkFileReader : public PblkReaderTest {};

INSTANTIATE_TEST_SUITE_P(Readers, PblkFileReader, ::testing::ValuesIn(readers_that([](const Reader& reader) {
                             return reader.takes_file;
                         })),
                         by_name);

TEST_P(PblkFileReader, FailsWithoutAFileAndCreatesNothing)
{
    expect_failure(read({.file = nullptr}));
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
}

TEST_P(PblkFileReader, CreatesTheMissingPolicyNotTheFileItWasGiven)
{
    expect_failure(read({.file = kOtherFile}));
    EXPECT_EQ(read_file(kOtherFile), std::nullopt);
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
}

TEST_P(PblkFileReader, LeavesAnExistingPolicyAloneWhereItsFileIsMissing)
{
    write_policy(node("/a", "h"));
    expect_failure(read({.file = kOtherFile}));
    EXPECT_EQ(read_file(kPolicyFile), policy(node("/a", "h")));
}

class PblkArrayReader : public PblkReaderTest {};

INSTANTIATE_TEST_SUITE_P(Readers, PblkArrayReader, ::testing::ValuesIn(readers_that([](const Reader& reader) {
                             return !reader.single;
                         })),
                         by_name);

TEST_P(PblkArrayReader, GivesRecordsInDocumentOrder)
{
    write_policy(node("/b", "hb") + "\n" + node("/a", "ha") + "<other/>" + node("/b", "hc"));
    const Listing listing = read();
    EXPECT_EQ(listing.count, 3);
    EXPECT_EQ(listing.records,
              (Records{visible({"/b", "hb"}), visible({"/a", "ha"}), visible({"/b", "hc"})}));
}

class PblkSingleReader : public PblkReaderTest {};

INSTANTIATE_TEST_SUITE_P(
    Readers, PblkSingleReader,
    ::testing::ValuesIn(readers_that([](const Reader& reader) { return reader.single; })), by_name);

TEST_P(PblkSingleReader, TakesTheFirstOfTwoEntries)
{
    write_policy("<pblk_node path=\"/a\" " + std::string(kUsualSource) + "><hash>h</hash><hash>h</hash>" +
                 "</pblk_node>" + node("/a", "h"));
    EXPECT_EQ(read().records, (Records{{"/a", "h"}}));
}

TEST_P(PblkSingleReader, OfNullIsNullWithoutOpeningThePolicy)
{
    expect_failure(read({.path = nullptr, .hash = nullptr}));
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
    EXPECT_TRUE(framework().order.empty());
}

class PblkSingles : public PblkFilesTest {};

TEST_F(PblkSingles, AnswerWithAZeroedRecord)
{
    write_policy(node("/a", "h"));
    const Malloced<pblk_node_info> by_path(tresk_pblk_read_node_with_path_zdk("/a", 1, ""));
    const Malloced<pblk_node_info> by_hash(tresk_pblk_read_node_with_hash_zdk("h", 1, ""));
    std::string wanted(4161, '\0');
    wanted.replace(0, 2, "/a");
    wanted[4096] = 'h';
    for (const pblk_node_info* record : {by_path.get(), by_hash.get()}) {
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(record), sizeof *record), wanted);
    }
}

class PblkArrays : public PblkFilesTest {};

TEST_F(PblkArrays, ZeroEveryByteThatHoldsNoValue)
{
    write_policy(node("/long/path", std::string(64, 'f')) + node("/a", "h"));
    int count = 0;
    const Malloced<pblk_node_info> records(tresk_pblk_read_all_data(&count));
    ASSERT_EQ(count, 2);
    const auto wanted = make_record<pblk_node_info>();
    std::strcpy(wanted->path, "/a");
    std::strcpy(wanted->hash, "h");
    EXPECT_EQ(std::memcmp(records.get() + 1, wanted.get(), sizeof *wanted), 0);
}

TEST_F(PblkArrays, OfASourceHoldZerosForTheHash)
{
    write_policy(node("/a", std::string(64, 'f')) + node("/b", std::string(64, 'e')));
    int count = 0;
    const Malloced<pblk_node_info> records(tresk_pblk_read_all_data_zdk(1, "", &count));
    ASSERT_EQ(count, 2);
    const auto wanted = make_record<pblk_node_info>();
    std::strcpy(wanted->path, "/b");
    EXPECT_EQ(std::memcmp(records.get() + 1, wanted.get(), sizeof *wanted), 0);
}

TEST_F(PblkArrays, FailWithoutACounter)
{
    write_policy(node("/a", "h"));
    EXPECT_EQ(tresk_pblk_read_all_data(nullptr), nullptr);
    EXPECT_EQ(tresk_pblk_read_all_data_with_file(kPolicyFile, nullptr), nullptr);
    EXPECT_EQ(tresk_pblk_read_all_data_zdk(1, "", nullptr), nullptr);
    EXPECT_EQ(tresk_pblk_read_all_data_with_file_zdk(kPolicyFile, 1, "", nullptr), nullptr);
}

TEST_F(PblkArrays, AskNothingOfTheFramework)
{
    framework().path_is_mount_bind = [](const char*, const char*) {
        framework().note("path_is_mount_bind");
        return 1;
    };
    write_policy(node("/home/a", "h"));
    EXPECT_EQ(list([](int* count) { return tresk_pblk_read_all_data(count); }).records,
              (Records{{"/home/a", "h"}}));
    EXPECT_TRUE(framework().order.empty());
}

/// The search by path, and the rewriting that precedes it.
class PblkPath : public PblkFilesTest {
  protected:
    static std::optional<Record> read(const std::string& path)
    {
        return one(tresk_pblk_read_node_with_path(path.c_str()));
    }

    /// Makes @bound, alone, a mount of the folder of its name below "/data".
    static void bind_from_data(const std::string& bound)
    {
        framework().path_is_mount_bind = [bound](const char* source, const char* target) {
            framework().note(std::string(source) + " on " + target);
            return source == std::string("/data") && target == bound ? 1 : 0;
        };
    }
};

TEST_F(PblkPath, IsComparedWhole)
{
    write_policy(node("/usr/bin/a", "h"));
    for (const char* other : {"/usr/bin/ab", "/usr/bin", "/usr/bin/A", "", "/usr/bin/a "}) {
        EXPECT_EQ(read(other), std::nullopt) << other;
    }
}

TEST_F(PblkPath, IsNotMadeAbsolute)
{
    framework().get_absolute_path = [](const char*) {
        framework().note("get_absolute_path");
        return ::strdup("/x/a");
    };
    write_policy(node("/x/a", "h1") + node("../a", "h2"));
    EXPECT_EQ(read("../a"), (Record{"../a", "h2"}));
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PblkPath, IsSearchedBelowDataWhereHomeIsBound)
{
    bind_from_data("/home");
    write_policy(node("/home/u/a", "h1") + node("/data/home/u/a", "h2"));
    EXPECT_EQ(read("/home/u/a"), (Record{"/data/home/u/a", "h2"}));
    EXPECT_EQ(framework().order, std::vector<std::string>{"/data on /home"});
}

TEST_F(PblkPath, IsSearchedBelowDataWhereRootIsBound)
{
    bind_from_data("/root");
    write_policy(node("/root/a", "h1") + node("/data/root/a", "h2"));
    EXPECT_EQ(read("/root/a"), (Record{"/data/root/a", "h2"}));
    EXPECT_EQ(framework().order, std::vector<std::string>{"/data on /root"});
}

TEST_F(PblkPath, IsSearchedAsItIsWhereTheOtherFolderIsBound)
{
    bind_from_data("/root");
    write_policy(node("/data/home/u/a", "h2") + node("/home/u/a", "h1"));
    EXPECT_EQ(read("/home/u/a"), (Record{"/home/u/a", "h1"}));
}

TEST_F(PblkPath, TakesFiveCharactersForHome)
{
    bind_from_data("/home");
    write_policy(node("/homework/a", "h1") + node("/data/homework/a", "h2"));
    EXPECT_EQ(read("/homework/a"), (Record{"/data/homework/a", "h2"}));
}

TEST_F(PblkPath, TakesOneAloneForABoundMount)
{
    for (const int answer : {0, -1, 2}) {
        framework().path_is_mount_bind = [answer](const char*, const char*) { return answer; };
        write_policy(node("/home/a", "h"));
        EXPECT_EQ(read("/home/a"), (Record{"/home/a", "h"}));
    }
}

TEST_F(PblkPath, IsNotTakenForAShorterOneWhenItsKeyIsCut)
{
    write_policy(node("/" + std::string(4094, 'p'), "h"));
    EXPECT_EQ(read("/" + std::string(4200, 'p')), std::nullopt);
}

class PblkHash : public PblkFilesTest {};

TEST_F(PblkHash, IsComparedWholeWithEachOfANode)
{
    const std::string start(64, 'f');
    write_policy(node("/a", start + "tail"));
    EXPECT_EQ(one(tresk_pblk_read_node_with_hash_zdk(start.c_str(), 1, "")), std::nullopt);
    EXPECT_EQ(one(tresk_pblk_read_node_with_hash_zdk((start + "tail").c_str(), 1, "")),
              (Record{"/a", start}));
}

TEST_F(PblkHash, IsThatOfTheRecordAlsoWhereTheNodeHasOthers)
{
    write_policy("<pblk_node path=\"/a\"><hash>g</hash><hash>h</hash><hash>i</hash></pblk_node>");
    for (const char* hash : {"g", "h", "i"}) {
        EXPECT_EQ(one(tresk_pblk_read_node_with_hash_zdk(hash, 1, "")), (Record{"/a", hash}));
    }
    EXPECT_EQ(one(tresk_pblk_read_node_with_path("/a")), (Record{"/a", "i"}));
}

TEST_F(PblkHash, LeadsToTheFirstEntryThatCarriesIt)
{
    write_policy(node("/a", "g") + node("/b", "h", R"(data_source_type="2")") + node("/c", "h") +
                 node("/d", "h"));
    EXPECT_EQ(one(tresk_pblk_read_node_with_hash_zdk("h", 1, "")), (Record{"/c", "h"}));
}

/// A source's type as it is written into the text that is compared.
struct TypeText {
    const char* name;
    int type;
    const char* text;
};

std::ostream& operator<<(std::ostream& out, const TypeText& row)
{
    return out << row.name;
}

class PblkType : public PblkFilesTest, public ::testing::WithParamInterface<TypeText> {};

INSTANTIATE_TEST_SUITE_P(Texts, PblkType,
                         ::testing::Values(TypeText{"Zero", 0, "0"}, TypeText{"Negative", -1, "-1"},
                                           TypeText{"SevenDigits", 1234567, "1234567"},
                                           TypeText{"EightDigitsAreCut", 12345678, "1234567"},
                                           TypeText{"SignAndSixDigits", -123456, "-123456"},
                                           TypeText{"SignAndSevenDigitsAreCut", -1234567, "-123456"},
                                           TypeText{"LargestIsCut", INT_MAX, "2147483"},
                                           TypeText{"SmallestIsCut", INT_MIN, "-214748"}),
                         by_name);

TEST_P(PblkType, IsComparedAsTextOfAtMostSevenCharacters)
{
    const int type = GetParam().type;
    const auto found = [type](const std::string& text) {
        write_policy(node("/a", "h", "data_source_type=\"" + text + R"(" data_source_name="s")"));
        return std::vector{
            one(tresk_pblk_read_node_with_path_zdk("/a", type, "s")).has_value(),
            one(tresk_pblk_read_node_with_hash_zdk("h", type, "s")).has_value(),
            list([type](int* count) { return tresk_pblk_read_all_data_zdk(type, "s", count); }).count == 1};
    };
    EXPECT_EQ(found(GetParam().text), std::vector(3, true));
    EXPECT_EQ(found(GetParam().text + std::string("0")), std::vector(3, false));
    EXPECT_EQ(found(std::string(" ") + GetParam().text), std::vector(3, false));
    EXPECT_EQ(found(std::string("0") + GetParam().text), std::vector(3, false));
}

} // namespace

} // namespace tresk::test
