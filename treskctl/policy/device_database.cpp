// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/device_database.h"

#include "common/handles.h"

#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <optional>

namespace tresk::ctl {

namespace {

using Database = Handle<sqlite3, ::sqlite3_close>;
using Statement = Handle<sqlite3_stmt, ::sqlite3_finalize>;

/// The listing goes by the columns' places, and takes nine of them.
constexpr int kColumns = 9;

struct NumberColumn {
    int column;
    int base;
};

constexpr std::array kNumbers = {NumberColumn{1, 10}, NumberColumn{2, 16}, NumberColumn{3, 16},
                                 NumberColumn{8, 10}};

/// The last column tells whether the listing would find the row's time.
constexpr const char* kRows = "SELECT *, access_t, datetime(access_t) FROM device_record";

std::optional<Failure> broken(const std::string& file, const std::string& why)
{
    return Failure{Cause::Policy, why, {}, file, {}};
}

Statement prepared(sqlite3* database, const char* query)
{
    sqlite3_stmt* statement = nullptr;
    (void)sqlite3_prepare_v2(database, query, -1, &statement, nullptr);
    return Statement(statement);
}

std::string text_in(sqlite3_stmt* row, int column)
{
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return text == nullptr ? "" : text;
}

/// Why the file is no sound database.
std::optional<std::string> damage(sqlite3* database)
{
    const Statement check = prepared(database, "PRAGMA quick_check(1)");
    if (!check || sqlite3_step(check.get()) != SQLITE_ROW) {
        return std::string("it is no database that can be read: ") + sqlite3_errmsg(database);
    }
    const std::string answer = text_in(check.get(), 0);
    return answer == "ok" ? std::nullopt : std::optional("the database is damaged: " + answer);
}

bool is_number(const std::string& text, int base)
{
    unsigned long number = 0;
    const char* const begin = text.data() + (text.starts_with("0x") && base == 16 ? 2
                                             : text.starts_with('-')              ? 1
                                                                                  : 0);
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(begin, end, number, base);
    return error == std::errc() && rest == end;
}

void judge_row(Reading& reading, const std::string& file, sqlite3_stmt* row)
{
    const auto complain = [&](const std::string& text) {
        reading.problems.push_back({{file, 0, 0}, "device_record " + text_in(row, 0) + ": " + text});
    };
    const int time = sqlite3_column_count(row) - 2;
    if (sqlite3_column_type(row, time + 1) == SQLITE_NULL) {
        complain("access_t \"" + text_in(row, time) + "\" is no time: the device is never listed");
    }
    for (const auto& [column, base] : kNumbers) {
        const std::string text = text_in(row, column);
        if (!is_number(text, base)) {
            complain(std::string(sqlite3_column_name(row, column)) + " \"" + text + "\" is no " +
                     (base == 16 ? "hexadecimal" : "decimal") + " number");
        }
    }
}

void judge_rows(Reading& reading, const std::string& file, sqlite3* database)
{
    const Statement rows = prepared(database, kRows);
    if (!rows) {
        reading.failure =
            broken(file, std::string("it has not the table that is listed: ") + sqlite3_errmsg(database));
        return;
    }
    if (sqlite3_column_count(rows.get()) - 2 < kColumns) {
        reading.failure = broken(file, "device_record has fewer than the " + std::to_string(kColumns) +
                                           " columns that are listed");
        return;
    }
    while (sqlite3_step(rows.get()) == SQLITE_ROW) {
        judge_row(reading, file, rows.get());
    }
}

bool holds_nothing(const std::string& file)
{
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    return error == std::errc::no_such_file_or_directory || (!error && size == 0);
}

} // namespace

Reading judge_device_database(const std::string& file)
{
    Reading reading;
    if (holds_nothing(file)) {
        return reading;
    }
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
    const Database database(opened);
    if (code != SQLITE_OK) {
        reading.failure = broken(file, std::string("it cannot be opened: ") + sqlite3_errstr(code));
    } else if (const auto why = damage(database.get())) {
        reading.failure = broken(file, *why);
    } else {
        judge_rows(reading, file, database.get());
    }
    return reading;
}

} // namespace tresk::ctl
