// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/record_array.h"
#include "tests/unit/ppro_files.h"

#include <filesystem>

namespace tresk::test {

namespace {

constexpr char kFunction[] = "tresk_ppro_read_all_data_with_file_internal";
constexpr char kExactFunction[] = "tresk_ppro_read_all_data_with_file_zdk";

/// An array reader, called with a file or, where it takes none, without.
struct ArrayReader {
    const char* name;
    bool takes_file;
    const char* function; ///< that its messages name
    ppro_node_info* (*read)(char* file, int* count);
};

std::ostream& operator<<(std::ostream& out, const ArrayReader& reader)
{
    return out << reader.name;
}

const ArrayReader kReaders[] = {
    {"WithFile", true, kFunction,
     [](char* file, int* count) { return tresk_ppro_read_all_data_with_file(file, count); }},
    {"WithFileSm", true, kFunction,
     [](char* file, int* count) { return tresk_ppro_read_all_data_with_file_sm(file, count); }},
    {"WithFileZdk", true, kExactFunction,
     [](char* file, int* count) { return tresk_ppro_read_all_data_with_file_zdk(file, count, 0, ""); }},
    {"Internal", false, kFunction,
     [](char*, int* count) { return tresk_ppro_read_all_data_internal(count, 0); }},
    {"Plain", false, kFunction, [](char*, int* count) { return tresk_ppro_read_all_data(count); }},
    {"Sm", false, kFunction, [](char*, int* count) { return tresk_ppro_read_all_data_sm(count); }},
    {"Zdk", false, kExactFunction,
     [](char*, int* count) { return tresk_ppro_read_all_data_zdk(count, 0, ""); }},
};

class PproArrayReader : public PproFilesTest, public ::testing::WithParamInterface<ArrayReader> {
  protected:
    static Listing read(const std::string& file = kPolicyFile)
    {
        std::string name = file;
        return list([&name](int* count) { return GetParam().read(name.data(), count); });
    }

    /// The call failed: no array, and the counter as it was.
    static void expect_failure(const Listing& listing)
    {
        EXPECT_TRUE(listing.null);
        EXPECT_EQ(listing.count, kUnwritten);
    }

    static void expect_no_entries(const Listing& listing)
    {
        EXPECT_TRUE(listing.null);
        EXPECT_EQ(listing.count, 0);
    }
};

INSTANTIATE_TEST_SUITE_P(Readers, PproArrayReader, ::testing::ValuesIn(kReaders), by_name);

TEST_P(PproArrayReader, GivesRecordsInDocumentOrder)
{
    write_policy(node("/b", "hb", "2") + "\n" + node("/a", "ha", "1") + "<other/>" + node("/c", "hc", "-3"));
    const Listing listing = read();
    EXPECT_EQ(listing.count, 3);
    EXPECT_EQ(listing.records, (std::vector<Record>{{"/b", "hb", 2}, {"/a", "ha", 1}, {"/c", "hc", -3}}));
}

TEST_P(PproArrayReader, GivesEachRecordOfAPathThatOccursTwice)
{
    write_policy(node("/a", "h1", "1") + node("/a", "h2", "2"));
    EXPECT_EQ(read().records, (std::vector<Record>{{"/a", "h1", 1}, {"/a", "h2", 2}}));
}

TEST_P(PproArrayReader, TakesTheLastHashAndTypeOfANode)
{
    write_policy(
        "<ppro_node path=\"/a\"><hash>h1</hash><type>1</type><hash>h2</hash><type>2</type></ppro_node>");
    EXPECT_EQ(read().records, (std::vector<Record>{{"/a", "h2", 2}}));
}

TEST_P(PproArrayReader, GivesNoArrayForARootWithoutChildren)
{
    write_policy("");
    expect_no_entries(read());
}

TEST_P(PproArrayReader, GivesNoArrayWhereNoNodeIsAccepted)
{
    write_policy("\n<!-- none --><ppro_node/><other/>\n");
    expect_no_entries(read());
}

TEST_P(PproArrayReader, ZeroesEveryByteThatHoldsNoValue)
{
    write_policy(node("/a", "h", "7") + node("/bb", "hh", "8"));
    std::string file = kPolicyFile;
    int count = 0;
    const Malloced<ppro_node_info> records(GetParam().read(file.data(), &count));
    ASSERT_EQ(count, 2);
    const auto wanted = make_record<ppro_node_info>();
    std::strcpy(wanted->path, "/bb");
    std::strcpy(wanted->hash, "hh");
    wanted->type = 8;
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): the padding counts, too.
    EXPECT_EQ(std::memcmp(records.get() + 1, wanted.get(), sizeof *wanted), 0);
}

TEST_P(PproArrayReader, CutsTheHashAt64Bytes)
{
    write_policy(node("/a", std::string(64, 'f') + "tail", "1"));
    EXPECT_EQ(read().records, (std::vector<Record>{{"/a", std::string(64, 'f'), 1}}));
}

TEST_P(PproArrayReader, GivesAPathOf4095BytesAndLeavesALongerOneOut)
{
    const std::string longest = "/" + std::string(4094, 'p');
    write_policy(node(longest + "q", "h1", "1") + node(longest, "h2", "2"));
    EXPECT_EQ(read().records, (std::vector<Record>{{longest, "h2", 2}}));
}

TEST_P(PproArrayReader, GivesAMultibytePathUnchanged)
{
    write_policy(node("/usr/bin/\xC3\xA9&amp;&lt;&#9;", "h", "1"));
    EXPECT_EQ(read().records, (std::vector<Record>{{"/usr/bin/\xC3\xA9&<\t", "h", 1}}));
}

TEST_P(PproArrayReader, CutsTheTypeTo32Bits)
{
    write_policy(node("/a", "h", "4294967298"));
    EXPECT_EQ(read().records, (std::vector<Record>{{"/a", "h", 2}}));
}

TEST_P(PproArrayReader, CreatesTheMissingPolicyAndFails)
{
    expect_failure(read());
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
    expect_no_entries(read());
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(PproArrayReader, FillsTheEmptyPolicyAndFails)
{
    write_file(kPolicyFile, "");
    expect_failure(read());
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
    expect_no_entries(read());
}

TEST_P(PproArrayReader, FailsWhereItsFolderIsMissing)
{
    std::filesystem::remove_all("/etc/tresk/ppro");
    expect_failure(read());
    EXPECT_FALSE(std::filesystem::exists("/etc/tresk/ppro"));
}

TEST_P(PproArrayReader, NamesTheRootItWantsWhereItFindsAnother)
{
    write_file(kPolicyFile, "<pblk_root>" + node("/a", "h", "1") + "</pblk_root>");
    expect_failure(read());
    ASSERT_EQ(framework().logs.size(), 1U);
    const LogLine& line = framework().logs[0];
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.subject, GetParam().function);
    EXPECT_EQ(line.source, "tresk_ppro");
    EXPECT_EQ(line.format, "%s: document of the wrong type, root node != %s\n");
    EXPECT_EQ(line.text,
              std::string(GetParam().function) + ": document of the wrong type, root node != ppro_root\n");
    EXPECT_TRUE(framework().errors.empty());
}

TEST_P(PproArrayReader, LeavesAPolicyOfAnotherRootAlone)
{
    write_file(kPolicyFile, "<pblk_root/>");
    read();
    EXPECT_EQ(read_file(kPolicyFile), "<pblk_root/>");
}

TEST_P(PproArrayReader, FailsSilentlyWhereThereIsNoRoot)
{
    write_file(kPolicyFile, "<?xml version=\"1.0\"?>\n<!-- nothing -->\n");
    expect_failure(read());
    EXPECT_TRUE(framework().order.empty());
    EXPECT_EQ(read_file(kPolicyFile), "<?xml version=\"1.0\"?>\n<!-- nothing -->\n");
}

TEST_P(PproArrayReader, FailsWithoutACounter)
{
    write_policy(node("/a", "h", "1"));
    std::string file = kPolicyFile;
    EXPECT_EQ(GetParam().read(file.data(), nullptr), nullptr);
}

TEST_P(PproArrayReader, ReadsTheFileItIsGivenOrThePolicy)
{
    write_policy(node("/policy", "h", "1"));
    write_file("/etc/tresk/ppro/other.xml", policy(node("/other", "h", "2")));
    const Record wanted = GetParam().takes_file ? Record{"/other", "h", 2} : Record{"/policy", "h", 1};
    EXPECT_EQ(read("/etc/tresk/ppro/other.xml").records, std::vector<Record>{wanted});
}

class PproFileReader : public PproArrayReader {};

INSTANTIATE_TEST_SUITE_P(Readers, PproFileReader, ::testing::Values(kReaders[0], kReaders[1], kReaders[2]),
                         by_name);

TEST_P(PproFileReader, FailsWithoutAFileAndCreatesNothing)
{
    int count = kUnwritten;
    EXPECT_EQ(GetParam().read(nullptr, &count), nullptr);
    EXPECT_EQ(count, kUnwritten);
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
}

TEST_P(PproFileReader, CreatesTheMissingPolicyNotTheFileItWasGiven)
{
    expect_failure(read("/etc/tresk/ppro/other.xml"));
    EXPECT_EQ(read_file("/etc/tresk/ppro/other.xml"), std::nullopt);
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
}

TEST_P(PproFileReader, CreatesNothingForAFileWithoutAnyElement)
{
    write_file("/etc/tresk/ppro/other.xml", "junk\n");
    expect_failure(read("/etc/tresk/ppro/other.xml"));
    EXPECT_EQ(read_file("/etc/tresk/ppro/other.xml"), "junk\n");
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
}

TEST_P(PproFileReader, LeavesAnExistingPolicyAloneWhereItsFileIsMissing)
{
    write_policy(node("/a", "h", "1"));
    expect_failure(read("/etc/tresk/ppro/other.xml"));
    EXPECT_EQ(read_file(kPolicyFile), policy(node("/a", "h", "1")));
}

TEST_P(PproFileReader, ReadsARelativeFile)
{
    write_file("/etc/tresk/ppro/other.xml", policy(node("/other", "h", "2")));
    std::filesystem::current_path("/etc/tresk");
    EXPECT_EQ(read("ppro/other.xml").records, (std::vector<Record>{{"/other", "h", 2}}));
}

class PproArrays : public PproFilesTest {};

TEST_F(PproArrays, HideTheSmSideFromOrdinaryReadersAlone)
{
    write_policy(node("/a", "ha", "1", "sm_status=\"1\"") + node("/b", "hb", "2"));
    EXPECT_EQ(list([](int* count) { return tresk_ppro_read_all_data(count); }).records,
              (std::vector<Record>{{"/b", "hb", 2}}));
    EXPECT_EQ(list([](int* count) { return tresk_ppro_read_all_data_sm(count); }).records,
              (std::vector<Record>{{"/a", "ha", 1}, {"/b", "hb", 2}}));
}

TEST_F(PproArrays, AreReadAfreshAtEveryCall)
{
    for (const char* path : {"/a", "/b"}) {
        write_policy(node(path, "h", "1"));
        EXPECT_EQ(list([](int* count) { return tresk_ppro_read_all_data(count); }).records,
                  (std::vector<Record>{{path, "h", 1}}));
    }
}

TEST_F(PproArrays, AskNothingOfTheFramework)
{
    write_policy(node("/home/a", "h", "1"));
    framework().get_absolute_path = [](const char*) -> char* {
        framework().note("get_absolute_path");
        return nullptr;
    };
    framework().path_is_mount_bind = [](const char*, const char*) {
        framework().note("path_is_mount_bind");
        return 1;
    };
    EXPECT_EQ(list([](int* count) { return tresk_ppro_read_all_data(count); }).records,
              (std::vector<Record>{{"/home/a", "h", 1}}));
    EXPECT_TRUE(framework().order.empty());
}

} // namespace

} // namespace tresk::test
