// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/record_array.h"
#include "tests/unit/netctl_files.h"

#include <cstring>

namespace tresk::test {

namespace {

class NetctlRecord : public NetctlReaderTest {
  protected:
    /// The only record of a policy that holds one node with these children.
    static Values record_of(const std::string& children)
    {
        write_users(user(node_with(kName, children)));
        const Listing listing = read();
        EXPECT_EQ(listing.records.size(), 1U);
        return listing.records.empty() ? Values() : listing.records[0];
    }
};

INSTANTIATE_TEST_SUITE_P(Readers, NetctlRecord, ::testing::ValuesIn(readers()), by_name);

TEST_P(NetctlRecord, HoldsTheNodesTexts)
{
    EXPECT_EQ(record_of("<type>2</type><hash>h</hash><name>N</name><path>/</path><ico>I</ico>"
                        "<desktop>D</desktop><server_type>5</server_type>"),
              GetParam().visible({kName, "2", "h", "N", "/", "I", "D", "5"}));
}

TEST_P(NetctlRecord, SaysUnknownForMissingTextsAndZeroForTheServerType)
{
    EXPECT_EQ(record_of("<hash>h</hash><type>1</type>"),
              GetParam().visible({kName, "1", "h", "unknown", "unknown", "unknown", "unknown", "0"}));
}

TEST_P(NetctlRecord, HoldsEmptyTextsOfEmptyElements)
{
    EXPECT_EQ(record_of("<hash/><type/><name/><ico/><desktop></desktop><server_type/>"),
              GetParam().visible({kName, "0", "", "", "unknown", "", "", "0"}));
}

TEST_P(NetctlRecord, HoldsTheLastOfDuplicateChildren)
{
    EXPECT_EQ(record_of("<hash>1</hash><type>1</type><name>1</name><path>/etc</path><ico>1</ico>"
                        "<desktop>1</desktop><server_type>1</server_type>"
                        "<hash>2</hash><type>2</type><name>2</name><path>/</path><ico>2</ico>"
                        "<desktop>2</desktop><server_type>2</server_type>"),
              GetParam().visible({kName, "2", "2", "2", "/", "2", "2", "2"}));
}

TEST_P(NetctlRecord, JoinsTheTextOfAnElement)
{
    EXPECT_EQ(record_of("<hash>a<![CDATA[<b>]]>&amp;<!-- c -->c</hash><type>1</type>"
                        "<ico><x>d</x>e</ico><desktop>&#233;</desktop>"),
              GetParam().visible({kName, "1", "a<b>&c", "unknown", "unknown", "de", "\xC3\xA9", "0"}));
}

TEST_P(NetctlRecord, ReadsNumbersAsTheyBegin)
{
    const std::pair<const char*, const char*> numbers[] = {{"-3", "-3"},
                                                           {" 7x", "7"},
                                                           {"x", "0"},
                                                           {"0x10", "0"},
                                                           {"2147483648", "-2147483648"},
                                                           {"4294967298", "2"},
                                                           {"99999999999999999999", "-1"},
                                                           {"+4", "4"}};
    for (const auto& [text, number] : numbers) {
        const Values record = record_of("<hash>h</hash><type>" + std::string(text) + "</type><server_type>" +
                                        text + "</server_type>");
        EXPECT_EQ(record.type, number) << text;
        EXPECT_EQ(record, GetParam().visible(
                              {kName, number, "h", "unknown", "unknown", "unknown", "unknown", number}));
    }
}

TEST_P(NetctlRecord, CutsItsTextsByBytes)
{
    const std::string hash(64, 'f');
    const std::string name(254, 'n');
    const std::string text(4094, 't');
    EXPECT_EQ(
        record_of("<type>1</type><hash>" + hash + "tail!!</hash><name>" + name + "\xC3\xA9</name><ico>" +
                  text + "\xC3\xA9</ico><desktop>" + text + "xyz</desktop>"),
        GetParam().visible({kName, "1", hash, name + "\xC3", "unknown", text + "\xC3", text + "x", "0"}));
}

TEST_P(NetctlRecord, KeepsTextsThatFitWhole)
{
    const std::string hash(64, 'f');
    const std::string name(255, 'n');
    const std::string text(4095, 't');
    EXPECT_EQ(record_of("<type>1</type><hash>" + hash + "</hash><name>" + name + "</name><ico>" + text +
                        "</ico><desktop>" + text + "</desktop>"),
              GetParam().visible({kName, "1", hash, name, "unknown", text, text, "0"}));
}

TEST_P(NetctlRecord, HoldsANameOf4095BytesAndNoneForALongerOne)
{
    const std::string longest = "/" + std::string(4094, 'p');
    write_users(user(node(longest + "q") + node(longest)));
    EXPECT_EQ(read({"", kUid, longest}).names(), std::vector<std::string>{longest});
    write_users(user(node(longest + "q")));
    expect_nothing(read({"", kUid, longest}));
    expect_nothing(read({"", kUid, longest + "q"}));
}

TEST_P(NetctlRecord, HoldsANameOfAnyCharacters)
{
    write_users(user(node("/usr/bin/\xC3\xA9 &amp;&lt;&#9;%s")));
    const std::string name = "/usr/bin/\xC3\xA9 &<\t%s";
    EXPECT_EQ(read({"", kUid, name}).names(), std::vector<std::string>{name});
}

class NetctlArray : public NetctlReaderTest {};

INSTANTIATE_TEST_SUITE_P(Readers, NetctlArray, ::testing::ValuesIn(readers_that([](const Reader& reader) {
                             return !reader.single;
                         })),
                         by_name);

TEST_P(NetctlArray, HoldsTheNodesInDocumentOrder)
{
    write_users(user(node("/b") + "\n" + node("/a") + "<other/>") + user(node("/c") + node("/a"), "1"));
    const Listing listing = read();
    EXPECT_EQ(listing.count, 4);
    EXPECT_EQ(listing.names(), (std::vector<std::string>{"/b", "/a", "/c", "/a"}));
}

class NetctlNode : public NetctlReaderTest {};

INSTANTIATE_TEST_SUITE_P(Readers, NetctlNode, ::testing::ValuesIn(readers_that([](const Reader& reader) {
                             return reader.single;
                         })),
                         by_name);

TEST_P(NetctlNode, IsTheFirstOfItsName)
{
    write_users(user(node("/b", "1") + node(kName, "2") + node(kName, "3")));
    ASSERT_EQ(read().records.size(), 1U);
    EXPECT_EQ(read().records[0].type, "2");
}

TEST_P(NetctlNode, IsNoneWhereTheFirstOfItsNameIsIncomplete)
{
    for (const char* children : {"", "<hash>h</hash>", "text"}) {
        write_users(user(node_with(kName, children) + node(kName)) + user(node(kName)));
        expect_nothing(read());
    }
}

TEST_P(NetctlNode, IsFoundByItsWholeNameAlone)
{
    write_users(user(node(kName)));
    for (const char* name : {"/usr/bin/A", "/usr/bin/", "/usr/bin/aa", "", " /usr/bin/a", "//usr/bin/a"}) {
        expect_nothing(read({"", kUid, name}));
    }
}

TEST_P(NetctlNode, MayHaveAnEmptyName)
{
    write_users(user(node("")));
    EXPECT_EQ(read({"", kUid, ""}).names(), std::vector<std::string>{""});
}

/// The bytes of an array's second record against those that @fill gives a record of zeros. The record before
/// it left its texts where the array was before it grew.
template <class Record, class Count>
void expect_bytes(Record* (*read)(std::uint32_t, Count*), void (*fill)(Record&))
{
    write_policies(user(node("/longer/texts/than/those/below") + node("/bb", "8")));
    Count count = 0;
    const Malloced<Record> records(read(kUid, &count));
    ASSERT_EQ(count, 2);
    const Malloced<Record> wanted = make_record<Record>();
    fill(*wanted);
    EXPECT_EQ(std::memcmp(records.get() + 1, wanted.get(), sizeof(Record)), 0);
}

template <class Record>
void expect_bytes(Record* (*read)(std::uint32_t, const char*), void (*fill)(Record&))
{
    write_policies(user(node("/bb", "8")));
    const Malloced<Record> record(read(kUid, "/bb"));
    ASSERT_NE(record, nullptr);
    const Malloced<Record> wanted = make_record<Record>();
    fill(*wanted);
    EXPECT_EQ(std::memcmp(record.get(), wanted.get(), sizeof(Record)), 0);
}

template <class Record>
void fill_program(Record& record)
{
    std::strcpy(record.path, "/bb");
    std::strcpy(record.hash, "h");
    record.type = 8;
    if constexpr (requires { record.name; }) {
        std::strcpy(record.name, "N");
        std::strcpy(record.ico, "I");
        record.server_type = 5;
    }
    if constexpr (requires { record.desktop; }) {
        std::strcpy(record.desktop, "D");
    }
}

template <class Record>
void fill_package(Record& record)
{
    std::strcpy(record.pkg, "/bb");
    if constexpr (requires { record.path; }) {
        std::strcpy(record.path, "/");
    }
    record.type = 8;
    std::strcpy(record.ico, "I");
    std::strcpy(record.desktop, "D");
    record.server_type = 5;
}

class NetctlRecordBytes : public NetctlFilesTest {};

TEST_F(NetctlRecordBytes, AreZeroWhereTheyHoldNoValue)
{
    expect_bytes<netctl_node_data, std::uint32_t>(
        [](std::uint32_t, std::uint32_t* count) { return tresk_netctl_read_all_data(count); }, fill_program);
    expect_bytes<netctl_node_info>(tresk_netctl_read_all_data_with_uid, fill_program);
    expect_bytes<netctl_ext_node_info>(tresk_netctl_ext_read_all_data_with_uid, fill_program);
    expect_bytes<netctl_pkg_node_info>(tresk_netctl_pkg_read_all_data_with_uid, fill_package);
    expect_bytes<netctl_node_info>(tresk_netctl_read_node_with_uid, fill_program);
    expect_bytes<netctl_ext_node_info>(tresk_netctl_ext_read_node_with_uid, fill_program);
    expect_bytes<netctl_pkg_node_info>(tresk_netctl_pkg_read_node_with_uid, fill_package);
    expect_bytes<netctl_pkg_path_node_info>(tresk_netctl_pkg_path_read_node_with_uid, fill_package);
}

class NetctlPackageProgram : public NetctlFilesTest {
  protected:
    static std::string program_of(const std::string& nodes)
    {
        write_policies(user(nodes));
        const Malloced<netctl_pkg_path_node_info> record(
            tresk_netctl_pkg_path_read_node_with_uid(kUid, kName));
        return record ? record->path : "(null)";
    }

    static std::string with_program(const std::string& path)
    {
        return node_with(kName, "<type>1</type><path>" + path + "</path>");
    }
};

TEST_F(NetctlPackageProgram, NeedNotExist)
{
    EXPECT_EQ(program_of(with_program("/no/such/file")), "/no/such/file");
    EXPECT_EQ(program_of(with_program("")), "");
}

TEST_F(NetctlPackageProgram, IsNeverShortened)
{
    const std::string longest = "/" + std::string(4094, 'p');
    EXPECT_EQ(program_of(with_program(longest)), longest);
    EXPECT_EQ(program_of(with_program(longest + "q")), "(null)");
    EXPECT_EQ(program_of(with_program(longest + "q") + with_program("/next")), "/next");
}

TEST_F(NetctlPackageProgram, MayBeTooLongWhereItIsNotAsked)
{
    write_policies(user(with_program("/" + std::string(5000, 'p'))));
    EXPECT_NE(Malloced<netctl_pkg_node_info>(tresk_netctl_pkg_read_node_with_uid(kUid, kName)), nullptr);
}

} // namespace

} // namespace tresk::test
