// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is the rows of the database of devices: of each cell a byte for its type and, up to a NUL, its
// bytes. Every record is what the database itself says of its row, and goes to the service as it came.
#include "fuzz/support/fake_bus.h"
#include "fuzz/support/policy_place.h"
#include "tresk_extend.h"

#include <sqlite3.h>

#include <array>

namespace tresk::fuzz {

namespace {

using Statement = Handle<sqlite3_stmt, ::sqlite3_finalize>;
using Connection = Handle<sqlite3, ::sqlite3_close>;

constexpr char kFile[] = "/etc/tresk/db/whlist.db";
constexpr int kColumns = 9;
constexpr int kMostRows = 16;
constexpr int kTime = 6;

sqlite3* database()
{
    static const Connection connection = [] {
        place(kFile, "");
        sqlite3* opened = nullptr;
        TRESK_REQUIRE(sqlite3_open(kFile, &opened) == SQLITE_OK);
        return Connection(opened);
    }();
    return connection.get();
}

void execute(const char* statement)
{
    TRESK_REQUIRE(sqlite3_exec(database(), statement, nullptr, nullptr, nullptr) == SQLITE_OK);
}

Statement prepared(const char* text)
{
    sqlite3_stmt* made = nullptr;
    TRESK_REQUIRE(sqlite3_prepare_v2(database(), text, -1, &made, nullptr) == SQLITE_OK);
    return Statement(made);
}

/// A time that is listed, unless the input has one of its own.
std::string time_in(const std::string& text)
{
    return text.empty() ? "now" : text;
}

void bind_cell(sqlite3_stmt* row, int column, Pieces& pieces)
{
    enum Type { as_text, as_bytes, as_number, as_nothing, types };

    const std::size_t type = pieces.below(types);
    const std::string text = column == kTime ? time_in(pieces.text()) : pieces.text();
    const auto length = static_cast<int>(text.size());
    switch (type) {
    case as_text:
        (void)sqlite3_bind_text(row, column + 1, text.data(), length, SQLITE_TRANSIENT);
        break;
    case as_bytes:
        (void)sqlite3_bind_blob(row, column + 1, text.data(), length, SQLITE_TRANSIENT);
        break;
    case as_number:
        (void)sqlite3_bind_int64(row, column + 1, std::strtoll(text.c_str(), nullptr, 0));
        break;
    default:
        (void)sqlite3_bind_null(row, column + 1);
        break;
    }
}

void fill_table(Pieces& pieces)
{
    execute("BEGIN; DELETE FROM device_record");
    const Statement row = prepared("INSERT INTO device_record VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
    for (int number = 0; number < kMostRows && !pieces.empty(); ++number) {
        for (int column = 0; column < kColumns; ++column) {
            bind_cell(row.get(), column, pieces);
        }
        TRESK_REQUIRE(sqlite3_step(row.get()) == SQLITE_DONE);
        (void)sqlite3_reset(row.get());
    }
    execute("COMMIT");
}

/// The cell as the database makes it a text, up to a NUL.
std::string cell(sqlite3_stmt* row, int column)
{
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return text == nullptr ? "" : text;
}

template <std::size_t N>
void require_text(const char (&field)[N], sqlite3_stmt* row, int column)
{
    TRESK_REQUIRE(is_zero_filled(field));
    TRESK_REQUIRE(cell(row, column).substr(0, N - 1) == field);
}

void require_record(const tresk_device_record& record, sqlite3_stmt* row)
{
    TRESK_REQUIRE(record.first == static_cast<std::int32_t>(std::strtol(cell(row, 1).c_str(), nullptr, 10)));
    TRESK_REQUIRE(record.second == static_cast<std::int32_t>(std::strtol(cell(row, 8).c_str(), nullptr, 10)));
    TRESK_REQUIRE(record.third ==
                  static_cast<std::uint32_t>(std::strtoul(cell(row, 2).c_str(), nullptr, 16)));
    TRESK_REQUIRE(record.fourth ==
                  static_cast<std::uint32_t>(std::strtoul(cell(row, 3).c_str(), nullptr, 16)));
    require_text(record.text_1, row, 4);
    require_text(record.text_2, row, 5);
    require_text(record.time, row, kTime);
    require_text(record.text_3, row, 7);
}

std::vector<std::string> texts_of(const Listing<tresk_device_record>& listing)
{
    std::vector<std::string> texts;
    for (const tresk_device_record& record : listing.records) {
        texts.insert(texts.end(), {record.text_1, record.text_2, record.time, record.text_3});
    }
    return texts;
}

/// To the service they go as they are, or, where one of the texts is none, not at all.
void hand_to_service(const Listing<tresk_device_record>& listing)
{
    fake_bus().reset();
    fake_bus().answer_number(7);
    const int count = static_cast<int>(listing.records.size());
    const int answer = tresk_devctl_xdg_insert_record(listing.records.data(), count);
    const std::vector<std::string> texts = texts_of(listing);
    const bool sendable = std::all_of(texts.begin(), texts.end(), [](const std::string& text) {
        return g_utf8_validate(text.c_str(), -1, nullptr) != FALSE;
    });
    TRESK_REQUIRE(answer == (sendable && count > 0 ? 7 : -1));
    TRESK_REQUIRE(fake_bus().asked.size() == (answer == 7 ? 1U : 0U));
    if (answer == 7) {
        TRESK_REQUIRE(texts_in(fake_bus().asked.front().arguments.get()) == texts);
    }
}

} // namespace

void set_up()
{
    enter_sandbox();
    execute("PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF;"
            "CREATE TABLE device_record (id, type, vid, pid, name, serial, access_t, note, state)");
}

void run(std::string_view input)
{
    Pieces pieces(input);
    fill_table(pieces);
    const Statement rows = prepared("SELECT * FROM device_record WHERE datetime(access_t) BETWEEN "
                                    "datetime('now', 'start of day', '-60 days') AND "
                                    "datetime('now', 'localtime') ORDER BY datetime(access_t) DESC");
    const auto listing = list<tresk_device_record, int>(device_record_get, [](const auto&) {});
    for (const tresk_device_record& record : listing.records) {
        TRESK_REQUIRE(sqlite3_step(rows.get()) == SQLITE_ROW);
        require_record(record, rows.get());
    }
    TRESK_REQUIRE(sqlite3_step(rows.get()) == SQLITE_DONE);
    hand_to_service(listing);
}

} // namespace tresk::fuzz
