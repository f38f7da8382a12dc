// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every reader with its first, second, third... request for memory refused: it gives its failure value and
// leaves the outputs alone, or does its whole work all the same; and it leaks nothing.
#include "common/handles.h"
#include "tests/support/failing_memory.h"
#include "tests/unit/netctl_files.h"

#include <cerrno>
#include <cstring>

namespace tresk::test {

namespace {

constexpr char kFirst[] = "/a/name/that/is/longer/than/any/small/text";

template <class Record>
bool is_named(const Record& record, const char* name)
{
    if constexpr (requires { record.pkg; }) {
        return std::strcmp(record.pkg, name) == 0;
    } else {
        return std::strcmp(record.path, name) == 0;
    }
}

template <class Record, class Count>
Outcome of_array(Record* (*read)(Count*))
{
    Count count = kUnwritten;
    Record* records = read(&count);
    const bool complete = records != nullptr && count == 3 && is_named(records[0], kFirst) &&
                          is_named(records[2], "/c") && records[2].type == 3;
    return {records == nullptr && count == kUnwritten, complete, records};
}

template <class Record>
Outcome of_record(Record* record)
{
    return {record == nullptr, record != nullptr && is_named(*record, "/c") && record->type == 3, record};
}

Outcome get_distinction()
{
    user_distinguish = 0;
    const int setting = tresk_netctl_get_user_distinguish();
    const bool stands = user_distinguish == (setting == 1 ? 1 : 0);
    user_distinguish = 0;
    return {setting == -1 && stands, setting == 1 && stands, nullptr};
}

Outcome get_hash()
{
    user_distinguish = 1;
    char* hash = tresk_netctl_get_path_hash(kFirst, 1000);
    user_distinguish = 0;
    return {hash == nullptr, hash != nullptr && std::strlen(hash) == 64, hash};
}

template <class Count, auto Read>
Outcome array_of_user()
{
    return of_array(+[](Count* count) { return Read(kUid, count); });
}

template <auto Read>
Outcome record_of_user()
{
    return of_record(Read(kUid, "/c"));
}

const WatchedCall kFunctions[] = {
    {"All", [] { return of_array(tresk_netctl_read_all_data); }},
    {"WithUid", array_of_user<std::uint32_t, tresk_netctl_read_all_data_with_uid>},
    {"ExtWithUid", array_of_user<std::int32_t, tresk_netctl_ext_read_all_data_with_uid>},
    {"Pkg", array_of_user<std::uint32_t, tresk_netctl_pkg_read_all_data_with_uid>},
    {"Node", record_of_user<tresk_netctl_read_node_with_uid>},
    {"ExtNode", record_of_user<tresk_netctl_ext_read_node_with_uid>},
    {"PkgNode", record_of_user<tresk_netctl_pkg_read_node_with_uid>},
    {"PkgPathNode", record_of_user<tresk_netctl_pkg_path_read_node_with_uid>},
    {"Distinction", get_distinction},
    {"Hash", get_hash, 0},
};

class NetctlWithoutMemory : public NetctlFilesTest, public ::testing::WithParamInterface<WatchedCall> {
  protected:
    void SetUp() override
    {
        NetctlFilesTest::SetUp();
        const std::string program =
            "<hash>h&e;</hash><type>3</type><path>/etc/tresk/netctl/netctl.xml</path>";
        const std::string users = user(node_with(kFirst, program) + node("/b") + node_with("/c", program));
        for (const auto& [file, identity] : {std::pair(kPrograms, "path"), std::pair(kPackages, "pkg")}) {
            std::string text = document(users, identity);
            text.replace(text.find("user_dist=\"0\""), 13, "user_dist=\"1\"");
            write_file(file,
                       text.insert(text.find("<tresk_root"), "<!DOCTYPE tresk_root [<!ENTITY e \"text\">]>"));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Functions, NetctlWithoutMemory, ::testing::ValuesIn(kFunctions), by_name);

TEST_P(NetctlWithoutMemory, FailsOrDoesItsWorkAtEachRefusal)
{
    EXPECT_GT(refuse_each(GetParam(), false), 0);
}

TEST_P(NetctlWithoutMemory, FailsOrDoesItsWorkWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(GetParam(), true), 0);
}

TEST_F(NetctlFilesTest, PathHashSaysThatItsResultFoundNoMemory)
{
    FailingMemory memory(1, false);
    const Malloced<char> hash(tresk_netctl_get_path_hash("abc", 0));
    const int cause = errno;
    memory.stop();
    EXPECT_EQ(hash, nullptr);
    EXPECT_EQ(cause, ENOMEM);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].level, 3);
    EXPECT_EQ(framework().logs[0].subject, "tresk_netctl_get_path_hash");
    EXPECT_EQ(framework().logs[0].source, "tresk_netctl");
    EXPECT_EQ(framework().logs[0].format, "%s: failed to malloc XML hash!\n");
    EXPECT_EQ(framework().logs[0].text, "tresk_netctl_get_path_hash: failed to malloc XML hash!\n");
}

TEST_F(NetctlFilesTest, PathHashSaysNothingWhereItsTextFoundNoMemory)
{
    FailingMemory memory(2, false);
    const Malloced<char> hash(tresk_netctl_get_path_hash(kFirst, 0));
    memory.stop();
    EXPECT_EQ(hash, nullptr);
    EXPECT_TRUE(framework().order.empty());
}

} // namespace

} // namespace tresk::test
