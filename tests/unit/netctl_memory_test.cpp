// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every reader with its first, second, third... request for memory refused: it gives its failure value and
// leaves the outputs alone, or does its whole work all the same; and it leaks nothing.
#include "common/handles.h"
#include "tests/unit/netctl_files.h"
#include "tests/unit/ppro_failing_memory.h"

#include <libxml/xmlerror.h>

#include <cerrno>
#include <cstring>

namespace tresk::test {

namespace {

/// What came of one call: whether it failed with its outputs untouched, did all of its work, or neither; and
/// the block that it gave to its caller.
struct Outcome {
    bool failed = false;
    bool complete = false;
    void* given = nullptr;
};

/// libxml2's decompressing file reader leaves its two buffers behind where zlib's state finds no memory.
constexpr long kLeftByParser = 2;

struct Function {
    const char* name;
    Outcome (*call)();
    long may_leave = kLeftByParser; ///< blocks, over all refusals
};

std::ostream& operator<<(std::ostream& out, const Function& function)
{
    return out << function.name;
}

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

const Function kFunctions[] = {
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

class NetctlWithoutMemory : public NetctlFilesTest, public ::testing::WithParamInterface<Function> {
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
        GetParam().call(); // what libraries allocate once and keep
        xmlResetLastError();
    }

    /// Refuses each request in turn; the number of requests.
    static long refuse_each(bool from_there_on)
    {
        long left = 0;
        for (long nth = 1;; ++nth) {
            FailingMemory memory(nth, from_there_on);
            const Outcome outcome = GetParam().call();
            framework().reset(); // these two let go of what they were told
            xmlResetLastError();
            memory.stop();
            ::free(outcome.given);
            left += memory.left() - (outcome.given == nullptr ? 0 : 1);
            EXPECT_LE(left, GetParam().may_leave) << "leak at request " << nth;
            if (!memory.refused()) {
                EXPECT_TRUE(outcome.complete);
                return nth - 1;
            }
            EXPECT_TRUE(outcome.failed || outcome.complete) << "neither at request " << nth;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Functions, NetctlWithoutMemory, ::testing::ValuesIn(kFunctions), by_name);

TEST_P(NetctlWithoutMemory, FailsOrDoesItsWorkAtEachRefusal)
{
    EXPECT_GT(refuse_each(false), 0);
}

TEST_P(NetctlWithoutMemory, FailsOrDoesItsWorkWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(true), 0);
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
