// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The database of devices seen: killed in the middle of an insertion, its readers find all rows of the call
// or none.
#include "tests/crash/operation.h"
#include "tests/crash/service_operations.h"
#include "tests/crash/small_disk.h"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <iostream>
#include <memory>

namespace tresk::test {
namespace {

constexpr char kOneDevice[] = "([(1, 2, 3, 4, 'a', 'b', '2024-01-01 00:00:00', 'c')],)";
constexpr char kTwoDevices[] = "([(5, 6, 7, 8, 'd', 'e', '2024-01-02 00:00:00', 'f'), "
                               "(9, 10, 11, 12, 'g', 'h', '2024-01-03 00:00:00', 'i')],)";

struct CloseDatabase {
    void operator()(sqlite3* database) const noexcept { sqlite3_close(database); }
};

std::string all_columns(sqlite3* database, const char* sql)
{
    std::string text;
    char* message = nullptr;
    const auto add = [](void* out, int columns, char** values, char**) {
        for (int i = 0; i < columns; ++i) {
            *static_cast<std::string*>(out) += std::string(values[i] == nullptr ? "null" : values[i]) + "|";
        }
        *static_cast<std::string*>(out) += "\n";
        return 0;
    };
    if (sqlite3_exec(database, sql, add, &text, &message) != SQLITE_OK) {
        text += "(" + std::string(message == nullptr ? "" : message) + ")\n";
    }
    sqlite3_free(message);
    return text;
}

std::string mode_of(const std::filesystem::path& file)
{
    struct stat status = {};
    return ::stat(file.c_str(), &status) == 0 ? std::to_string(status.st_mode & 0777U) + "\n" : "";
}

/// What a reader of the database finds; a file without the table is as good as none.
std::string records_in(const std::filesystem::path& file)
{
    if (!std::filesystem::exists(file)) {
        return "nothing\n";
    }
    sqlite3* opened = nullptr;
    const int status = sqlite3_open(file.c_str(), &opened);
    const std::unique_ptr<sqlite3, CloseDatabase> database(opened);
    if (status != SQLITE_OK) {
        return "(cannot be opened)\n";
    }
    const std::string whole = all_columns(opened, "PRAGMA integrity_check");
    if (whole != "ok|\n") {
        return "(damaged) " + whole;
    }
    if (all_columns(opened, "SELECT name FROM sqlite_master WHERE name = 'device_record'").empty()) {
        return "nothing\n";
    }
    return mode_of(file) + all_columns(opened, "SELECT * FROM device_record ORDER BY id");
}

class DeviceRecordsCrash : public ::testing::TestWithParam<bool> {
  protected:
    /// Everybody may read the database, whatever the service was started with.
    void SetUp() override { ::umask(0077); }

    [[nodiscard]] Operation operation() const
    {
        const service::Folders folders{folder / "state", folder / "etc"};
        const std::filesystem::path file = folders.etc / "db" / "whlist.db";
        const bool is_new = GetParam();
        return {is_new ? "NewDatabase" : "NextRecords",
                [=, this] {
                    folder.clear();
                    std::filesystem::create_directories(folders.state);
                    if (!is_new) {
                        ASSERT_TRUE(run_apart([&] {
                            return call_method(folders, "devctl", "tresk_devctl_insert_record", kOneDevice);
                        }));
                    }
                },
                // A call is no set of rows: it is only made where its rows are not there yet.
                [=] {
                    return records_in(file).find("2024-01-03") != std::string::npos ||
                           call_method(folders, "devctl", "tresk_devctl_insert_record", kTwoDevices);
                },
                [=] {
                    return State{{"records", records_in(file)}};
                },
                [] { return State(); }};
    }

    SmallDisk folder{"128k"};
};

TEST_P(DeviceRecordsCrash, LeavesAllRowsOrNone)
{
    const Tally tally = kill_at_each_call(operation());
    EXPECT_THAT(tally.objections, ::testing::IsEmpty());
    EXPECT_GT(tally.found_old, 0U);
    EXPECT_GT(tally.found_new, 0U);
    std::cout << "killed " << tally.runs << " times, old " << tally.found_old << ", new " << tally.found_new
              << "\n";
}

TEST_P(DeviceRecordsCrash, ReportsAFullDiskAndLeavesTheOldRows)
{
    const Tally limited = limit_file_size(operation(), {0, 100, 512, 4096});
    EXPECT_THAT(limited.objections, ::testing::IsEmpty());
    if (!can_refuse()) {
        GTEST_SKIP() << "system calls cannot be refused on this machine";
    }
    const Tally refused = refuse_each_call(operation(), ENOSPC);
    EXPECT_THAT(refused.objections, ::testing::IsEmpty());
    EXPECT_GT(refused.runs, 3U);
}

TEST_P(DeviceRecordsCrash, LeavesTheOldRowsWithoutRoomAndTheNewOnesWithEnough)
{
    if (!folder.is_small()) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    const Tally tally = run_with_room(operation(), folder / "filler", {0, 1, 2, 3, 4, 5, 6, 7, 8, 12});
    EXPECT_THAT(tally.objections, ::testing::IsEmpty());
    EXPECT_GT(tally.found_old, 0U);
    EXPECT_GT(tally.found_new, 0U);
}

INSTANTIATE_TEST_SUITE_P(Of, DeviceRecordsCrash, ::testing::Bool(), [](const auto& row) {
    return std::string(row.param ? "NewDatabase" : "NextRecords");
});

} // namespace
} // namespace tresk::test
