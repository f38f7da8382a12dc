// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/policy_files.h"
#include "tests/unit/devctl_history.h"

#include <filesystem>

namespace tresk::test {

namespace {

using Notes = std::vector<std::string>;

/// Which devices are given, and in which order.
class DeviceHistoryRange : public DeviceHistory {
  protected:
    void SetUp() override
    {
        DeviceHistory::SetUp();
        database.run(kCreateTable);
    }

    /// Adds rows by their note and the time they were seen, and reads them. Again, where midnight passed.
    Notes read_back(const std::vector<std::pair<std::string, std::string>>& rows)
    {
        Notes notes;
        std::string today;
        do {
            today = database.value("SELECT date('now')");
            database.run("DELETE FROM device_record");
            for (const auto& [note, when] : rows) {
                database.add(when, "'" + note + "'");
            }
            notes.clear();
            for (const tresk_device_record& record : read()) {
                notes.emplace_back(record.text_3);
            }
        } while (database.value("SELECT date('now')") != today);
        return notes;
    }

    Database database;
};

TEST_F(DeviceHistoryRange, EndsSixtyDaysBeforeTodaysStart)
{
    EXPECT_EQ(read_back({{"59", "datetime('now', 'start of day', '-59 days')"},
                         {"60", "datetime('now', 'start of day', '-60 days')"},
                         {"second before", "datetime('now', 'start of day', '-60 days', '-1 second')"},
                         {"61", "datetime('now', 'start of day', '-61 days')"},
                         {"year", "datetime('now', '-1 year')"}}),
              (Notes{"59", "60"}));
}

TEST_F(DeviceHistoryRange, BeginsNow)
{
    EXPECT_EQ(read_back({{"now", "datetime('now')"},
                         {"morning", "datetime('now', 'start of day')"},
                         {"later", "datetime('now', '+1 hour')"}}),
              (Notes{"now", "morning"}));
}

TEST_F(DeviceHistoryRange, BeginsNowByTheLocalClock)
{
    ::setenv("TZ", "AHEAD-2", 1);
    ::tzset();
    EXPECT_EQ(read_back({{"an hour ahead", "datetime('now', '+1 hour')"},
                         {"three hours ahead", "datetime('now', '+3 hours')"}}),
              (Notes{"an hour ahead"}));
}

TEST_F(DeviceHistoryRange, GivesTheNewestFirst)
{
    EXPECT_EQ(read_back({{"10", "datetime('now', '-10 days')"},
                         {"1", "datetime('now', '-1 days')"},
                         {"50", "datetime('now', '-50 days')"},
                         {"2", "datetime('now', '-2 days')"}}),
              (Notes{"1", "2", "10", "50"}));
}

TEST_F(DeviceHistoryRange, LeavesOutWhatHasNoTime)
{
    EXPECT_EQ(read_back({{"null", "NULL"}, {"garbage", "'garbage'"}, {"day", "date('now', '-1 day')"}}),
              (Notes{"day"}));
}

TEST_F(DeviceHistoryRange, HoldsTenThousandDevices)
{
    database.run("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000) "
                 "INSERT INTO device_record SELECT i, i, 'a', 'b', 'n' || i, 's', "
                 "datetime('now', '-' || i || ' seconds'), 'note', -i FROM n");
    const DeviceRecords records = read();
    ASSERT_EQ(records.size(), 10'000U);
    for (int i = 0; i < 10'000; ++i) {
        const tresk_device_record& record = records[static_cast<std::size_t>(i)];
        ASSERT_EQ(record.first, i + 1);
        ASSERT_EQ(record.second, -(i + 1));
        ASSERT_EQ(record.text_1, "n" + std::to_string(i + 1));
    }
    expect_nothing_logged();
}

TEST_F(DeviceHistoryRange, FailsWhereItIsEmpty)
{
    expect_fails_with("devctl_record is empty");
    database.add("datetime('now', '-100 days')");
    expect_fails_with("devctl_record is empty");
}

TEST_F(DeviceHistory, IsNullForANullCount)
{
    EXPECT_EQ(device_record_get(nullptr), nullptr);
    expect_nothing_logged();
    EXPECT_FALSE(std::filesystem::exists(kDatabaseFile));
}

TEST_F(DeviceHistory, FailsWithoutItsTable)
{
    Database().run("CREATE TABLE other (x)");
    expect_fails_with("get data failed, error mesg :no such table: device_record");
}

TEST_F(DeviceHistory, FailsWithoutItsColumnOfTimes)
{
    Database().run("CREATE TABLE device_record (id, x)");
    expect_fails_with("get data failed, error mesg :no such column: access_t");
}

TEST_F(DeviceHistory, FailsWithoutAFileAndWritesNothingIntoOne)
{
    std::filesystem::create_directories(std::filesystem::path(kDatabaseFile).parent_path());
    expect_fails_with("get data failed, error mesg :no such table: device_record");
    EXPECT_EQ(read_file(kDatabaseFile).value_or(""), "");
}

TEST_F(DeviceHistory, FailsWithoutAFolderAndMakesNone)
{
    const std::filesystem::path folder = std::filesystem::path(kDatabaseFile).parent_path();
    std::filesystem::remove_all(folder);
    expect_fails_with("get data failed, error mesg :unable to open database file");
    EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST_F(DeviceHistory, FailsForAFolderInTheFilesPlace)
{
    std::filesystem::create_directories(kDatabaseFile);
    expect_fails_with("get data failed, error mesg :unable to open database file");
}

TEST_F(DeviceHistory, FailsForAFileThatIsNoDatabase)
{
    const std::string garbage(5000, 'g');
    write_file(kDatabaseFile, garbage);
    expect_fails_with("get data failed, error mesg :file is not a database");
    EXPECT_EQ(read_file(kDatabaseFile), garbage);
}

TEST_F(DeviceHistory, FailsForADatabaseWithoutItsEnd)
{
    {
        Database database;
        database.run(kCreateTable);
        for (int i = 0; i < 200; ++i) {
            database.add("datetime('now', '-1 day')", "printf('%0200d', 1)");
        }
    }
    const std::string whole = read_file(kDatabaseFile).value();
    ASSERT_GT(whole.size(), 8192U);
    write_file(kDatabaseFile, whole.substr(0, 8192));
    expect_fails_with("get data failed, error mesg :database disk image is malformed");
}

TEST_F(DeviceHistory, FailsAtOnceWhileTheDatabaseIsLocked)
{
    Database database;
    database.run(kCreateTable);
    database.add("datetime('now', '-1 day')");
    database.run("BEGIN EXCLUSIVE");
    expect_fails_with("get data failed, error mesg :database is locked");
    database.run("ROLLBACK");
    EXPECT_EQ(read().size(), 1U);
}

TEST_F(DeviceHistory, LeavesTheDatabaseAsItIs)
{
    {
        Database database;
        database.run(kCreateTable);
        database.add("datetime('now', '-1 day')");
    }
    const auto before = read_file(kDatabaseFile);
    EXPECT_EQ(read().size(), 1U);
    EXPECT_EQ(read_file(kDatabaseFile), before);
    EXPECT_FALSE(std::filesystem::exists(std::string(kDatabaseFile) + "-journal"));
}

/// A database that every call opens, and the failure that each meets, if any.
struct Opened {
    const char* name;
    const char* statements;
    std::size_t records;
};

std::ostream& operator<<(std::ostream& out, const Opened& row)
{
    return out << row.name;
}

class DeviceHistoryHandle : public DeviceHistory, public ::testing::WithParamInterface<Opened> {
  protected:
    static std::ptrdiff_t descriptors()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    }
};

constexpr char kFilled[] =
    "CREATE TABLE device_record (id, kind, vid, pid, name, serial, access_t, note, state);"
    "INSERT INTO device_record VALUES (1, 1, 1, 1, 1, 1, datetime('now', '-1 day'), 1, 1)";

INSTANTIATE_TEST_SUITE_P(Databases, DeviceHistoryHandle,
                         ::testing::Values(Opened{"Filled", kFilled, 1},
                                           Opened{"Empty", "CREATE TABLE device_record (id, access_t)", 0},
                                           Opened{"WithoutTable", "CREATE TABLE other (id)", 0}),
                         by_name);

TEST_P(DeviceHistoryHandle, IsReleased)
{
    Database().run(GetParam().statements);
    EXPECT_EQ(read().size(), GetParam().records);
    const std::ptrdiff_t before = descriptors();
    for (int i = 0; i < 1000; ++i) {
        framework().reset();
        ASSERT_EQ(read().size(), GetParam().records);
    }
    EXPECT_EQ(descriptors(), before);
}

} // namespace

} // namespace tresk::test
