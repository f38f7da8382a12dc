// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The devices that were seen: read from the service's database, and handed to the service to be added.
#include "common/edge.h"
#include "common/record_array.h"
#include "common/text.h"
#include "dbus/service_call.h"
#include "devctl/device_policy.h"
#include "tresk_extend.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace tresk::devctl {

namespace {

constexpr char kDatabase[] = "/etc/tresk/db/whlist.db";
constexpr char kQuery[] = "SELECT * FROM device_record WHERE datetime(access_t) BETWEEN "
                          "datetime('now','start of day', '-60 days') and datetime('now','localtime') "
                          "order by datetime(access_t) DESC";

constexpr char kGet[] = "device_record_get";
constexpr char kInsert[] = "tresk_devctl_xdg_insert_record";

using Database = Handle<sqlite3, ::sqlite3_close>;
using Cells = Handle<char*, ::sqlite3_free_table>;
using Message = Handle<char, ::sqlite3_free>;

/// A query's answer: the column names, then the rows, each cell a text or null.
struct Table {
    Cells cells;
    int rows = 0;
    int columns = 0;

    [[nodiscard]] std::span<const char* const> row(int number) const
    {
        const auto width = static_cast<std::size_t>(columns);
        return {cells.get() + width * (static_cast<std::size_t>(number) + 1), width};
    }
};

/// For the caller, behind the log, which may have changed errno.
void keep_want_of_memory(int code)
{
    if (code == SQLITE_NOMEM) {
        errno = ENOMEM;
    }
}

/// Opening creates a missing file, which then lacks the table: like a damaged one, it fails at the query.
Database open_database()
{
    sqlite3* handle = nullptr;
    const int code = sqlite3_open(kDatabase, &handle);
    Database database(handle);
    if (code < 0 || !database) {
        log_error(kSource, kGet, "%s: open devctl sqlite3 failed\n", kGet);
        keep_want_of_memory(code);
        return nullptr;
    }
    return database;
}

std::optional<Table> run_query(sqlite3* database)
{
    Table table;
    char** cells = nullptr;
    char* text = nullptr;
    const int code = sqlite3_get_table(database, kQuery, &cells, &table.rows, &table.columns, &text);
    table.cells.reset(cells);
    const Message message(text);
    if (code != SQLITE_OK) {
        // A database that could not be opened, and one without memory, leave no message behind.
        log_error(kSource, kGet, "%s: get data failed, error mesg :%s\n", kGet,
                  message ? message.get() : sqlite3_errmsg(database));
        keep_want_of_memory(sqlite3_errcode(database)); // tells more of one that could not be opened
        return std::nullopt;
    }
    return table;
}

/// The text of a row's column; empty where the row is shorter or the cell is null.
const char* text_in(std::span<const char* const> row, std::size_t column)
{
    return column < row.size() && row[column] != nullptr ? row[column] : "";
}

/// What strtoul() makes of the text, which is nearly always a few hexadecimal digits and nothing else.
std::uint32_t id_in(std::span<const char* const> row, std::size_t column)
{
    const std::string_view text = text_in(row, column);
    std::uint32_t id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id, 16);
    if (error == std::errc() && end == text.data() + text.size()) {
        return id;
    }
    return static_cast<std::uint32_t>(std::strtoul(text.data(), nullptr, 16));
}

/// Fills a record of zeros. Column 0 is the row's number.
void fill(tresk_device_record& record, std::span<const char* const> row)
{
    record.first = to_int32(text_in(row, 1));
    record.second = to_int32(text_in(row, 8));
    record.third = id_in(row, 2);
    record.fourth = id_in(row, 3);
    set_text(record.text_1, text_in(row, 4));
    set_text(record.text_2, text_in(row, 5));
    set_text(record.time, text_in(row, 6));
    set_text(record.text_3, text_in(row, 7));
}

tresk_device_record* get_records(int* count)
{
    if (count == nullptr) {
        return nullptr;
    }
    const Database database = open_database();
    if (!database) {
        return nullptr;
    }
    const std::optional<Table> table = run_query(database.get());
    if (!table) {
        return nullptr;
    }
    if (table->rows == 0) {
        log_error(kSource, kGet, "%s: devctl_record is empty\n", kGet);
        return nullptr;
    }
    Malloced<tresk_device_record> records =
        make_records<tresk_device_record>(static_cast<std::size_t>(table->rows));
    for (int number = 0; number < table->rows; ++number) {
        fill(records.get()[number], table->row(number));
    }
    *count = table->rows;
    return records.release();
}

/// The field's text, which fills it where it has no NUL.
template <std::size_t N>
std::string text_of(const char (&field)[N])
{
    return {field, std::find(field, field + N, '\0')};
}

/// The records as the service takes them; null where a text cannot travel.
Variant packed(std::span<const tresk_device_record> records)
{
    const Handle<GVariantBuilder, ::g_variant_builder_unref> builder(
        g_variant_builder_new(G_VARIANT_TYPE("a(iiuussss)")));
    for (const tresk_device_record& record : records) {
        const std::array<std::string, 4> texts = {text_of(record.text_1), text_of(record.text_2),
                                                  text_of(record.time), text_of(record.text_3)};
        if (!std::all_of(texts.begin(), texts.end(), is_dbus_text)) {
            return nullptr;
        }
        g_variant_builder_add(builder.get(), "(iiuussss)", record.first, record.second, record.third,
                              record.fourth, texts[0].c_str(), texts[1].c_str(), texts[2].c_str(),
                              texts[3].c_str());
    }
    return Variant(g_variant_ref_sink(g_variant_builder_end(builder.get())));
}

int insert_records(const tresk_device_record* records, int count)
{
    if (records == nullptr || count < 1) {
        log_error(kSource, kInsert, "%s: recv is null\n", kInsert);
        return kFailed;
    }
    const ServiceArguments arguments(packed({records, static_cast<std::size_t>(count)}));
    return ask_service({kSource, kInsert}, {"/devctl", "com.meron.tresk.devctl"},
                       "tresk_devctl_insert_record", arguments)
        .value_or(kFailed);
}

} // namespace

} // namespace tresk::devctl

using namespace tresk;

TRESK_EXPORT tresk_device_record* device_record_get(int* count)
{
    return at_edge<tresk_device_record*>(nullptr, [&] { return devctl::get_records(count); });
}

TRESK_EXPORT int tresk_devctl_xdg_insert_record(const tresk_device_record* records, int count)
{
    return at_edge(devctl::kFailed, [&] { return devctl::insert_records(records, count); });
}
