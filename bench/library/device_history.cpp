// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The devices that were seen, beside having the same rows as texts from the database.
#include "bench/library/contest.h"
#include "common/handles.h"
#include "tresk_extend.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

namespace tresk::bench {

namespace {

constexpr char kDatabase[] = "/etc/tresk/db/whlist.db";
constexpr char kQuery[] = "SELECT * FROM device_record WHERE datetime(access_t) BETWEEN "
                          "datetime('now','start of day', '-60 days') and datetime('now','localtime') "
                          "order by datetime(access_t) DESC";

using Database = Handle<sqlite3, ::sqlite3_close>;

Database open_database()
{
    sqlite3* handle = nullptr;
    const int code = sqlite3_open(kDatabase, &handle);
    Database database(handle);
    require(code == SQLITE_OK, "no database");
    return database;
}

/// Devices of the last 50 days.
void write_database(int count)
{
    const std::filesystem::path file = kDatabase;
    std::filesystem::create_directories(file.parent_path());
    std::filesystem::remove(file);
    const Database database = open_database();
    const std::string statements =
        "CREATE TABLE device_record (id INTEGER PRIMARY KEY, kind INTEGER, vid TEXT, pid TEXT, name TEXT, "
        "serial TEXT, access_t TEXT, note TEXT, state INTEGER);"
        "WITH RECURSIVE numbers(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM numbers LIMIT " +
        std::to_string(count) +
        ") INSERT INTO device_record SELECT n, n % 7, printf('%04x', n % 65536), printf('%04x', n / 7 % "
        "65536), "
        "'Storage device of the maker ' || n, printf('%020d', n), "
        "datetime('now', '-' || (1 + n * 7919 % 72000) || ' minutes'), 'seen at port ' || (n % 8), n % 2 "
        "FROM numbers;";
    require(sqlite3_exec(database.get(), statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
            "the database cannot be written");
}

void read_by_library(int count)
{
    int found = 0;
    const Malloced<tresk_device_record> records(device_record_get(&found));
    require(records != nullptr && found == count, "not the records that are there");
}

/// The query's rows as sqlite gives them.
class Table {
  public:
    Table() : database_(open_database())
    {
        require(sqlite3_get_table(database_.get(), kQuery, &cells_, &rows, &columns_, nullptr) == SQLITE_OK,
                "the query failed");
    }

    ~Table() { sqlite3_free_table(cells_); }

    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    [[nodiscard]] const char* at(int row, int column) const
    {
        return cells_[static_cast<std::ptrdiff_t>(row + 1) * columns_ + column];
    }

    int rows = 0;

  private:
    Database database_;
    char** cells_ = nullptr;
    int columns_ = 0;
};

void read_barely(int count)
{
    require(Table().rows == count, "not the rows that are there");
}

void read_straight_on(int count)
{
    const Table table;
    require(table.rows == count, "not the rows that are there");
    const Malloced<tresk_device_record> records(static_cast<tresk_device_record*>(
        std::calloc(static_cast<std::size_t>(table.rows), sizeof(tresk_device_record))));
    for (int i = 0; i < table.rows; ++i) {
        tresk_device_record& record = records.get()[i];
        record.first = static_cast<std::int32_t>(std::strtol(table.at(i, 1), nullptr, 10));
        record.second = static_cast<std::int32_t>(std::strtol(table.at(i, 8), nullptr, 10));
        record.third = static_cast<std::uint32_t>(std::strtoul(table.at(i, 2), nullptr, 16));
        record.fourth = static_cast<std::uint32_t>(std::strtoul(table.at(i, 3), nullptr, 16));
        (void)std::snprintf(record.text_1, sizeof(record.text_1), "%s", table.at(i, 4));
        (void)std::snprintf(record.text_2, sizeof(record.text_2), "%s", table.at(i, 5));
        (void)std::snprintf(record.time, sizeof(record.time), "%s", table.at(i, 6));
        (void)std::snprintf(record.text_3, sizeof(record.text_3), "%s", table.at(i, 7));
    }
}

Contest contest_of(int count, std::int64_t calls, int turns)
{
    Contest contest;
    contest.name = count < 10'000 ? "" : "device history, " + std::to_string(count) + " rows";
    contest.bound = 1.15;
    contest.series = "device history by rows";
    contest.size = count;
    contest.clock = Clock::thread;
    contest.calls = calls;
    contest.turns = turns;
    contest.quick_turns = 5;
    contest.instructions_bound = count == 10'000 ? 1.15 : 0;
    contest.prepare = [count] { write_database(count); };
    contest.library = [count] { read_by_library(count); };
    contest.yardstick = [count] { read_barely(count); };
    contest.naive = [count] { read_straight_on(count); };
    contest.tidy = [] { std::filesystem::remove(kDatabase); };
    return contest;
}

} // namespace

Subject device_history()
{
    return {"history",
            {contest_of(100, 50, 21), contest_of(1'000, 10, 21), contest_of(10'000, 4, 21),
             contest_of(100'000, 1, 25)},
            {}};
}

} // namespace tresk::bench
