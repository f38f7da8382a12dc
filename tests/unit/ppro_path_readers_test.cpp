// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/ppro_files.h"

#include <cerrno>

namespace tresk::test {

namespace {

/// A reader of one path's entry.
struct PathReader {
    const char* name;
    const char* function; ///< that its messages name
    ppro_node_info* (*read)(const char* path);
};

std::ostream& operator<<(std::ostream& out, const PathReader& reader)
{
    return out << reader.name;
}

constexpr char kNumeric[] = "tresk_ppro_read_node_with_path_internal";

const PathReader kReaders[] = {
    {"Plain", kNumeric, tresk_ppro_read_node_with_path},
    {"Sm", kNumeric, tresk_ppro_read_node_with_path_sm},
    {"Internal", kNumeric, [](const char* path) { return tresk_ppro_read_node_with_path_internal(path, 0); }},
    {"Zdk", "tresk_ppro_read_node_with_path_zdk",
     [](const char* path) { return tresk_ppro_read_node_with_path_zdk(path, 0, ""); }},
};

class PproPathReader : public PproFilesTest, public ::testing::WithParamInterface<PathReader> {
  protected:
    static std::optional<Record> read(const std::string& path) { return one(GetParam().read(path.c_str())); }

    /// Makes one directory a bind mount of the one of that name below "/data".
    static void bind_from_data(const std::string& directory)
    {
        framework().path_is_mount_bind = [directory](const char* source, const char* target) {
            framework().note(std::string(source) + " on " + target);
            return source == std::string("/data") && target == directory ? 1 : 0;
        };
    }
};

INSTANTIATE_TEST_SUITE_P(Readers, PproPathReader, ::testing::ValuesIn(kReaders), by_name);

TEST_P(PproPathReader, FindsTheEntryOfThePath)
{
    write_policy(node("/usr/bin/a", "ha", "1") + node("/usr/bin/b", "hb", "2"));
    EXPECT_EQ(read("/usr/bin/b"), (Record{"/usr/bin/b", "hb", 2}));
}

TEST_P(PproPathReader, FindsNoOtherPath)
{
    write_policy(node("/usr/bin/a", "ha", "1"));
    EXPECT_EQ(read("/usr/bin/ab"), std::nullopt);
    EXPECT_EQ(read("/usr/bin"), std::nullopt);
    EXPECT_EQ(read("/usr/bin/A"), std::nullopt);
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(PproPathReader, TakesTheFirstOfTwoEntries)
{
    write_policy(node("/a", "h1", "1") + node("/a", "h2", "2"));
    EXPECT_EQ(read("/a"), (Record{"/a", "h1", 1}));
}

TEST_P(PproPathReader, SearchesTheAbsolutePath)
{
    write_policy(node("/x/a", "h", "1"));
    framework().get_absolute_path = [](const char* path) {
        return ::strdup(path == std::string("../a") ? "/x/a" : "/other");
    };
    EXPECT_EQ(read("../a"), (Record{"/x/a", "h", 1}));
}

TEST_P(PproPathReader, SearchesBelowDataWhereHomeIsBound)
{
    bind_from_data("/home");
    write_policy(node("/home/u/a", "h1", "1") + node("/data/home/u/a", "h2", "2"));
    EXPECT_EQ(read("/home/u/a"), (Record{"/data/home/u/a", "h2", 2}));
    EXPECT_EQ(framework().order, std::vector<std::string>{"/data on /home"});
}

TEST_P(PproPathReader, SearchesBelowDataWhereRootIsBound)
{
    bind_from_data("/root");
    write_policy(node("/root/a", "h1", "1") + node("/data/root/a", "h2", "2"));
    EXPECT_EQ(read("/root/a"), (Record{"/data/root/a", "h2", 2}));
    EXPECT_EQ(framework().order, std::vector<std::string>{"/data on /root"});
}

TEST_P(PproPathReader, SearchesHomeItselfWhereOnlyRootIsBound)
{
    bind_from_data("/root");
    write_policy(node("/data/home/u/a", "h2", "2") + node("/home/u/a", "h1", "1"));
    EXPECT_EQ(read("/home/u/a"), (Record{"/home/u/a", "h1", 1}));
}

TEST_P(PproPathReader, TakesFiveCharactersForHome)
{
    bind_from_data("/home");
    write_policy(node("/homework/a", "h1", "1") + node("/data/homework/a", "h2", "2"));
    EXPECT_EQ(read("/homework/a"), (Record{"/data/homework/a", "h2", 2}));
}

TEST_P(PproPathReader, AsksForNoMountElsewhere)
{
    bind_from_data("/home");
    write_policy(node("/usr/home/a", "h", "1"));
    EXPECT_EQ(read("/usr/home/a"), (Record{"/usr/home/a", "h", 1}));
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(PproPathReader, TakesOneAloneForABoundMount)
{
    framework().path_is_mount_bind = [](const char*, const char*) { return -1; };
    write_policy(node("/home/a", "h", "1"));
    EXPECT_EQ(read("/home/a"), (Record{"/home/a", "h", 1}));
}

TEST_P(PproPathReader, FindsAPathOf4095BytesAndNoLongerOne)
{
    const std::string longest = "/" + std::string(4094, 'p');
    write_policy(node(longest + "q", "h1", "1") + node(longest, "h2", "2"));
    EXPECT_EQ(read(longest), (Record{longest, "h2", 2}));
    EXPECT_EQ(read(longest + "q"), std::nullopt);
}

TEST_P(PproPathReader, DoesNotTakeAKeyOfCutLengthForTheEntryOfAShorterPath)
{
    write_policy(node("/" + std::string(4094, 'p'), "h", "1"));
    EXPECT_EQ(read("/" + std::string(4200, 'p')), std::nullopt);
}

TEST_P(PproPathReader, ReportsAPathThatCannotBeMadeAbsolute)
{
    framework().get_absolute_path = [](const char*) -> char* {
        errno = ENOENT;
        return nullptr;
    };
    EXPECT_EQ(read("no/such"), std::nullopt);
    ASSERT_EQ(framework().logs.size(), 1U);
    const LogLine& line = framework().logs[0];
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.source, "tresk_ppro");
    EXPECT_EQ(line.format, "faile to get absolute path: %s");
    EXPECT_EQ(line.text, "faile to get absolute path: No such file or directory");
    ASSERT_EQ(framework().errors.size(), 1U);
    const ErrorRecord& error = framework().errors[0];
    EXPECT_EQ(error.code, -1011);
    EXPECT_EQ(error.subject, "no/such");
    EXPECT_EQ(error.format, "faile to get absolute path: %s");
    EXPECT_EQ(error.text, "faile to get absolute path: No such file or directory");
}

TEST_P(PproPathReader, TakesNullForAPathThatCannotBeMadeAbsolute)
{
    EXPECT_EQ(GetParam().read(nullptr), nullptr);
    ASSERT_EQ(framework().errors.size(), 1U);
    EXPECT_EQ(framework().errors[0].code, -1011);
    EXPECT_EQ(framework().errors[0].subject, std::nullopt);
    EXPECT_EQ(framework().errors[0].text, "faile to get absolute path: Invalid argument");
    EXPECT_EQ(framework().logs.size(), 1U);
}

TEST_P(PproPathReader, DoesNotOpenThePolicyForAPathThatCannotBeMadeAbsolute)
{
    framework().get_absolute_path = [](const char*) -> char* { return nullptr; };
    EXPECT_EQ(read("/a"), std::nullopt);
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
}

TEST_P(PproPathReader, CreatesTheMissingPolicyAndFails)
{
    EXPECT_EQ(read("/a"), std::nullopt);
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
    EXPECT_EQ(read("/a"), std::nullopt);
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(PproPathReader, NamesTheRootItWantsWhereItFindsAnother)
{
    write_file(kPolicyFile, "<ppro>" + node("/a", "h", "1") + "</ppro>");
    EXPECT_EQ(read("/a"), std::nullopt);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].subject, GetParam().function);
    EXPECT_EQ(framework().logs[0].text,
              std::string(GetParam().function) + ": document of the wrong type, root node != ppro_root\n");
}

class PproPaths : public PproFilesTest {};

constexpr char kIncomplete[] = "<ppro_node path=\"/a\"><hash>h0</hash></ppro_node>";
constexpr char kChildless[] = "<ppro_node path=\"/a\"/>";

TEST_F(PproPaths, OfTheNumericFilterSkipIncompleteNodes)
{
    write_policy(std::string(kChildless) + kIncomplete + node("/a", "h", "1"));
    EXPECT_EQ(one(tresk_ppro_read_node_with_path("/a")), (Record{"/a", "h", 1}));
    EXPECT_EQ(one(tresk_ppro_read_node_with_path_sm("/a")), (Record{"/a", "h", 1}));
}

TEST_F(PproPaths, OfTheNumericFilterSkipHiddenNodes)
{
    write_policy(node("/a", "h1", "1", "sm_status=\"1\"") + node("/a", "h2", "2"));
    EXPECT_EQ(one(tresk_ppro_read_node_with_path("/a")), (Record{"/a", "h2", 2}));
    EXPECT_EQ(one(tresk_ppro_read_node_with_path_sm("/a")), (Record{"/a", "h1", 1}));
}

TEST_F(PproPaths, OfTheExactFilterEndAtTheFirstNodeThatPasses)
{
    for (const char* first : {kChildless, kIncomplete}) {
        write_policy(first + node("/a", "h", "1"));
        EXPECT_EQ(one(tresk_ppro_read_node_with_path_zdk("/a", 0, "")), std::nullopt) << first;
    }
}

TEST_F(PproPaths, OfTheExactFilterSkipNodesThatDoNotPass)
{
    write_policy(std::string(R"(<ppro_node path="/a" sm_status="1"/>)") +
                 R"(<ppro_node path="/a" data_source_name="t"/>)" +
                 node("/a", "h", "1", "data_source_name=\"s\""));
    EXPECT_EQ(one(tresk_ppro_read_node_with_path_zdk("/a", 0, "s")), (Record{"/a", "h", 1}));
}

TEST_F(PproPaths, AnswerWithAZeroedRecord)
{
    write_policy(node("/a", "h", "7"));
    const Malloced<ppro_node_info> record(tresk_ppro_read_node_with_path("/a"));
    ASSERT_NE(record, nullptr);
    const std::string_view bytes(reinterpret_cast<const char*>(record.get()), sizeof *record);
    std::string wanted(sizeof *record, '\0');
    wanted.replace(0, 2, "/a");
    wanted[4096] = 'h';
    const std::int32_t type = 7;
    std::memcpy(&wanted[4164], &type, sizeof type);
    EXPECT_EQ(bytes, wanted);
}

} // namespace

} // namespace tresk::test
