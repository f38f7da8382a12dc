// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every function of the family that allocates, with its first, second, third... request for memory refused:
// it gives its failure value and leaves the outputs alone, or does its whole work all the same; and it leaks
// nothing.
#include "tests/support/failing_memory.h"
#include "tests/support/held_devices.h"
#include "tests/unit/devctl_history.h"

#include <cerrno>
#include <cstdlib>
#include <iterator>

namespace tresk::test {

namespace {

template <class Record>
Outcome listed(Record* (*function)(int*), int (*expected)(), bool (*is_last)(const Record&))
{
    hold_policies();
    int count = kUnwritten;
    Record* records = function(&count);
    return {records == nullptr && count == kUnwritten,
            records != nullptr && count == expected() && is_last(records[count - 1]), records};
}

/// Where the scene library itself has no memory for the products, the listing is that of the types.
Outcome list_all()
{
    return listed<tresk_device_policy>(
        tresk_devctl_read_all_dev_data, [] { return products_given ? 5 : 3; },
        [](const auto& last) { return last.utype == 8 || last.dtype == 2; });
}

Outcome list_types()
{
    return listed<tresk_device_policy>(
        tresk_devctl_read_not_special_data, [] { return 3; },
        [](const auto& last) { return last.dtype == 2; });
}

Outcome list_products()
{
    return listed<tresk_device_policy>(
        tresk_devctl_read_special_xmldata, [] { return 2; },
        [](const auto& last) { return last.utype == 8; });
}

Outcome list_types_short()
{
    return listed<tresk_device_policy_short>(
        tresk_devctl_sm_get_no_special, [] { return 3; }, [](const auto& last) { return last.dtype == 2; });
}

Outcome list_products_short()
{
    return listed<tresk_device_policy_short>(
        tresk_devctl_sm_read_special_xmldata, [] { return 2; },
        [](const auto& last) { return last.utype == 8; });
}

Outcome list_networks()
{
    return listed<tresk_wireless_name>(
        tresk_devctl_read_all_ssid_data, [] { return 2; },
        [](const auto& last) { return std::string_view(last.name) == "office"; });
}

Outcome get_history()
{
    int count = kUnwritten;
    tresk_device_record* records = device_record_get(&count);
    return {records == nullptr && count == kUnwritten,
            records != nullptr && count == 3 && records[0].third == 7531 && records[2].first == 3, records};
}

constexpr tresk_device_policy policy(std::int32_t dtype, std::uint32_t id)
{
    tresk_device_policy made = {};
    made.dtype = dtype;
    made.dpid = made.dvid = id;
    return made;
}

/// A product and a type, twice.
const tresk_device_policy kBatch[] = {policy(0, 5), policy(2, 0), policy(0, 7), policy(3, 0)};

Outcome add_batch()
{
    const int result = tresk_devctl_batch_add_perm(kBatch, std::size(kBatch));
    return {result == -1, result == 0 && framework().scene_calls.size() == 2, nullptr};
}

const WatchedCall kFunctions[] = {
    {"AddBatch", add_batch, 0},
    {"ListAll", list_all, 0},
    {"ListTypes", list_types, 0},
    {"ListProducts", list_products, 0},
    {"ListTypesShort", list_types_short, 0},
    {"ListProductsShort", list_products_short, 0},
    {"ListNetworks", list_networks, 0},
    {"GetHistory", get_history, 0},
};

class DevctlWithoutMemory : public DeviceHistory, public ::testing::WithParamInterface<WatchedCall> {
  protected:
    void SetUp() override
    {
        DeviceHistory::SetUp();
        Database database;
        database.run(kCreateTable);
        for (const char* number : {"1", "2", "3"}) {
            database.add("datetime('now', '-" + std::string(number) + " day')", "'note'", number);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Functions, DevctlWithoutMemory, ::testing::ValuesIn(kFunctions), by_name);

TEST_P(DevctlWithoutMemory, FailsOrDoesItsWorkAtEachRefusal)
{
    EXPECT_GT(refuse_each(GetParam(), false), 0);
}

TEST_P(DevctlWithoutMemory, FailsOrDoesItsWorkWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(GetParam(), true), 0);
}

TEST_F(DeviceHistory, SaysThatItsDatabaseCouldNotBeOpened)
{
    Database database;
    database.run(kCreateTable);
    database.add("datetime('now')", "'note'", "1");
    long said = 0;
    bool refused = true;
    for (long nth = 1; refused; ++nth) {
        framework().reset();
        int count = kUnwritten;
        FailingMemory memory(nth, false);
        const Malloced<tresk_device_record> records(device_record_get(&count));
        const int cause = errno;
        memory.stop();
        refused = memory.refused();
        EXPECT_TRUE(records != nullptr || cause == ENOMEM) << "request " << nth << ", errno " << cause;
        if (records == nullptr && !framework().logs.empty() &&
            framework().logs.front().text == "device_record_get: open devctl sqlite3 failed\n") {
            ++said;
            EXPECT_EQ(framework().logs.size(), 1U);
        }
    }
    EXPECT_GT(said, 0);
}

TEST_F(FrameworkTest, BatchTellsTheSceneNothingWhereItsRecordsFindNoMemory)
{
    for (long nth = 1; nth <= 2; ++nth) { // the first record of each array
        framework().reset();
        errno = 0;
        FailingMemory memory(nth, true);
        const int result = tresk_devctl_batch_add_perm(kBatch, std::size(kBatch));
        const int cause = errno;
        memory.stop();
        EXPECT_TRUE(memory.refused());
        EXPECT_EQ(result, -1);
        EXPECT_EQ(cause, ENOMEM);
        EXPECT_TRUE(framework().scene_calls.empty());
        EXPECT_TRUE(framework().scene_bytes.empty());
    }
}

} // namespace

} // namespace tresk::test
