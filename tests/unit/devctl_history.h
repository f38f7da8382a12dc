// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What device_record_get() gives, as plain values.
#ifndef TRESK_TESTS_UNIT_DEVCTL_HISTORY_H
#define TRESK_TESTS_UNIT_DEVCTL_HISTORY_H

#include "tests/unit/devctl_database.h"
#include "tests/unit/devctl_scene.h"

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace tresk::test {

/// A counter's value before a call that must not write it.
inline constexpr int kUnwritten = -7777;

using DeviceRecords = std::vector<tresk_device_record>;

class DeviceHistory : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }

    /// The records; none where the function gave null, whose counter has to be untouched then.
    static DeviceRecords read()
    {
        int count = kUnwritten;
        const Malloced<tresk_device_record> records(device_record_get(&count));
        EXPECT_EQ(records == nullptr, count == kUnwritten);
        return records ? DeviceRecords(records.get(), records.get() + count) : DeviceRecords();
    }

    /// The only record; zeros where there is not exactly one.
    static tresk_device_record read_one()
    {
        const DeviceRecords records = read();
        EXPECT_EQ(records.size(), 1U);
        return records.size() == 1 ? records.front() : tresk_device_record{};
    }

    static void expect_fails_with(const std::string& text)
    {
        framework().reset();
        EXPECT_TRUE(read().empty());
        expect_logged("device_record_get", "device_record_get: " + text + "\n");
    }
};

} // namespace tresk::test

#endif
