// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/devctl_history.h"

namespace tresk::test {

namespace {

constexpr char kYesterday[] = "datetime('now', '-1 day')";

/// The bytes of a record, of which none may be left to chance.
std::string bytes_of(const tresk_device_record& record)
{
    return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

/// What a row's columns become.
class DeviceHistoryRecord : public DeviceHistory {
  protected:
    void SetUp() override
    {
        DeviceHistory::SetUp();
        database.run(kCreateTable);
    }

    Database database;
};

TEST_F(DeviceHistoryRecord, HoldsItsColumnsInItsOwnOrder)
{
    database.run("INSERT INTO device_record VALUES (99, 11, '1d6b', '0003', 'the name', 'the serial', " +
                 std::string(kYesterday) + ", 'the note', 88)");
    const std::string seen = database.value("SELECT access_t FROM device_record");
    EXPECT_EQ(seen.size(), 19U);
    EXPECT_EQ(bytes_of(read_one()), word(11) + word(88) + word(0x1d6b) + word(3) + field("the name", 128) +
                                        field("the serial", 128) + field(seen, 20) + field("the note", 256));
    expect_nothing_logged();
}

TEST_F(DeviceHistoryRecord, ReadsIdsAsHexadecimal)
{
    const std::pair<const char*, std::uint32_t> ids[] = {
        {"'1d6b'", 7531},
        {"'1D6B'", 7531},
        {"'0x1d6b'", 7531},
        {"'0X1D6B'", 7531},
        {"'  1d6b rest'", 7531},
        {"'ffffffff'", 0xFFFFFFFFU},
        {"'112345678'", 0x12345678U},
        {"'ffffffffffffffffff'", 0xFFFFFFFFU},
        {"'-1'", 0xFFFFFFFFU},
        {"'xyz'", 0},
        {"''", 0},
        {"10", 16},
        {"NULL", 0},
    };
    for (const auto& [text, value] : ids) {
        database.run("DELETE FROM device_record");
        database.add(kYesterday, "''", "1", text, "'0'");
        EXPECT_EQ(read_one().third, value) << text;
        database.run("DELETE FROM device_record");
        database.add(kYesterday, "''", "1", "'0'", text);
        EXPECT_EQ(read_one().fourth, value) << text;
    }
}

TEST_F(DeviceHistoryRecord, ReadsNumbersAsDecimal)
{
    const std::pair<const char*, std::int32_t> numbers[] = {
        {"12", 12},
        {"-12", -12},
        {"'12'", 12},
        {"' 12 rest'", 12},
        {"'0x12'", 0},
        {"'garbage'", 0},
        {"''", 0},
        {"NULL", 0},
        {"2147483647", 2147483647},
        {"2147483648", -2147483647 - 1},
        {"4294967297", 1},
        {"'99999999999999999999'", -1},
        {"1.9", 1},
    };
    for (const auto& [text, value] : numbers) {
        database.run("DELETE FROM device_record");
        database.add(kYesterday, "''", text, "'0'", "'0'", "''", "''", text);
        const tresk_device_record record = read_one();
        EXPECT_EQ(record.first, value) << text;
        EXPECT_EQ(record.second, value) << text;
    }
}

TEST_F(DeviceHistoryRecord, CutsTextsThatDoNotFit)
{
    for (const std::size_t length : {126U, 127U, 128U, 5000U, 40'000U}) {
        const std::string text(length, 't');
        database.run("DELETE FROM device_record");
        database.add(kYesterday, "'" + text + "'", "1", "'1'", "'1'", "'" + text + "'", "'" + text + "'");
        const tresk_device_record record = read_one();
        EXPECT_EQ(std::string(record.text_1), text.substr(0, 127));
        EXPECT_EQ(std::string(record.text_2), text.substr(0, 127));
        EXPECT_EQ(std::string(record.text_3), text.substr(0, 255));
    }
}

TEST_F(DeviceHistoryRecord, CutsATimeThatDoesNotFit)
{
    database.add("strftime('%Y-%m-%d 00:00:00.000', 'now')");
    const std::string today = database.value("SELECT access_t FROM device_record");
    EXPECT_GT(today.size(), 19U);
    EXPECT_EQ(std::string(read_one().time), today.substr(0, 19));
}

TEST_F(DeviceHistoryRecord, TakesTextsAsTheyStand)
{
    database.add(kYesterday, "'%s%n'", "1", "'1'", "'1'", "CAST(x'C3A9FF' AS TEXT)",
                 "'a' || char(10) || 'b'");
    const tresk_device_record record = read_one();
    EXPECT_STREQ(record.text_1, "\xC3\xA9\xFF");
    EXPECT_STREQ(record.text_2, "a\nb");
    EXPECT_STREQ(record.text_3, "%s%n");
}

TEST_F(DeviceHistoryRecord, IsEmptyWhereTheColumnsAreNull)
{
    database.add(kYesterday, "NULL", "NULL", "NULL", "NULL", "NULL", "NULL", "NULL");
    tresk_device_record expected = {};
    const std::string seen = database.value("SELECT access_t FROM device_record");
    std::memcpy(expected.time, seen.c_str(), seen.size());
    EXPECT_EQ(bytes_of(read_one()), bytes_of(expected));
}

TEST_F(DeviceHistory, IgnoresColumnsBehindTheNinth)
{
    Database().run(
        "CREATE TABLE device_record (id, a, b, c, d, e, access_t, f, g, h, i, j);"
        "INSERT INTO device_record VALUES (1, 2, '3', '4', '5', '6', date('now'), '7', 8, 9, 10, 11);"
        "INSERT INTO device_record VALUES (1, 12, '3', '4', '5', '6', date('now', '-1 day'), '7', 18, "
        "9, 10, 11)");
    const DeviceRecords records = read();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].first, 2);
    EXPECT_EQ(records[0].second, 8);
    EXPECT_EQ(records[1].first, 12);
    EXPECT_EQ(records[1].second, 18);
    EXPECT_STREQ(records[1].text_3, "7");
}

TEST_F(DeviceHistory, LeavesZerosForColumnsThatAreMissing)
{
    Database().run(
        "CREATE TABLE device_record (id, a, b, c, d, e, access_t, f);"
        "INSERT INTO device_record VALUES (1, 2, '3', '4', '5', '6', date('now'), '7');"
        "INSERT INTO device_record VALUES (1, 12, '3', '4', '5', '6', date('now', '-1 day'), '7')");
    const DeviceRecords records = read();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].first, 2);
    EXPECT_EQ(records[0].second, 0) << "read from the next row";
    EXPECT_STREQ(records[0].text_3, "7");
    EXPECT_EQ(records[1].first, 12);
    EXPECT_EQ(records[1].second, 0);
}

TEST_F(DeviceHistory, TakesATableOfTwoColumns)
{
    Database().run("CREATE TABLE device_record (id, access_t);"
                   "INSERT INTO device_record VALUES (1, date('now'))");
    const std::string year = Database().value("SELECT strftime('%Y', access_t) FROM device_record");
    tresk_device_record expected = {};
    expected.first = std::stoi(year);
    EXPECT_EQ(bytes_of(read_one()), bytes_of(expected));
}

} // namespace

} // namespace tresk::test
