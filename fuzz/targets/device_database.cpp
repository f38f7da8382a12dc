// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is the file of the database of devices. The listing reads it, and treskctl's judging of it.
#include "treskctl/policy/device_database.h"

#include "fuzz/support/policy_place.h"
#include "tresk_extend.h"

#include <filesystem>

namespace tresk::fuzz {

namespace {

void check_record(const tresk_device_record& record)
{
    TRESK_REQUIRE(is_zero_filled(record.text_1));
    TRESK_REQUIRE(is_zero_filled(record.text_2));
    TRESK_REQUIRE(is_zero_filled(record.time));
    TRESK_REQUIRE(is_zero_filled(record.text_3));
}

/// What a database may have beside it.
void remove_companions()
{
    for (const char* end : {"-journal", "-wal", "-shm"}) {
        std::filesystem::remove(std::string(ctl::kDeviceDatabase) + end);
    }
}

} // namespace

void set_up()
{
    enter_sandbox();
}

void run(std::string_view input)
{
    remove_companions();
    place(ctl::kDeviceDatabase, input);
    for (const ctl::Problem& problem : ctl::judge_device_database(ctl::kDeviceDatabase).problems) {
        TRESK_REQUIRE(!problem.text.empty());
    }
    const auto records = list<tresk_device_record, int>(device_record_get, check_record);
    // No devices are a failure to this reader.
    TRESK_REQUIRE(records.failed == records.records.empty());
    TRESK_REQUIRE(input.empty() ? records.failed : true);
}

} // namespace tresk::fuzz
