// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The record of devices seen: the table device_record of the SQLite database "db/whlist.db". Readers go by
// the columns' positions and overlook column 0; by name they know access_t alone, the time of the access as
// SQLite's datetime() reads it. So rows are inserted by position, into a table of another's making too.
//
// A call's eight values are columns 1, 8, 2 and 3, and then the texts of columns 4 to 7. Columns 2 and 3 hold
// hexadecimal digits.
#include "standin/service/families.h"
#include "standin/service/policy_edit.h"

#include <sqlite3.h>

#include <array>
#include <cstdio>
#include <string>
#include <system_error>
#include <vector>

namespace tresk::service {

namespace {

using OpenDatabase = Handle<sqlite3, sqlite3_close>;
using Statement = Handle<sqlite3_stmt, sqlite3_finalize>;

/// How long a change waits for readers to finish.
constexpr int kPatienceMs = 5000;

constexpr char kTable[] = "CREATE TABLE IF NOT EXISTS device_record ("
                          "id INTEGER PRIMARY KEY, number_1 INTEGER NOT NULL, id_2 TEXT NOT NULL, "
                          "id_3 TEXT NOT NULL, text_4 TEXT NOT NULL, text_5 TEXT NOT NULL, "
                          "access_t TEXT NOT NULL, text_7 TEXT NOT NULL, number_8 INTEGER NOT NULL)";
constexpr char kRow[] = "INSERT INTO device_record VALUES (NULL, ?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)";

// --- the database ---

class Database {
  public:
    /// Makes the file where there is none.
    explicit Database(const std::filesystem::path& file)
    {
        sqlite3* opened = nullptr;
        const int status = sqlite3_open(file.c_str(), &opened);
        connection_.reset(opened);
        require(status);
        sqlite3_busy_timeout(opened, kPatienceMs);
    }

    void run(const char* sql) { require(sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr)); }

    Statement prepare(const char* sql)
    {
        sqlite3_stmt* prepared = nullptr;
        require(sqlite3_prepare_v2(connection_.get(), sql, -1, &prepared, nullptr));
        return Statement(prepared);
    }

    void require(int status) const
    {
        if (status != SQLITE_OK && status != SQLITE_DONE) {
            throw Refusal(error_name::kDatabase, sqlite3_errmsg(connection_.get()));
        }
    }

  private:
    OpenDatabase connection_;
};

/// The file in a folder that everybody may read, as the file itself; both are made where they are missing.
Database open_records(const Folders& folders)
{
    using std::filesystem::perms;
    const std::filesystem::path file = folders.etc / "db" / "whlist.db";
    if (std::filesystem::create_directories(file.parent_path())) {
        std::filesystem::permissions(file.parent_path(), perms(0755));
    }
    // An empty one is left by a service that was killed before it gave the file its mode.
    std::error_code no_size;
    const bool is_new = !std::filesystem::exists(file) || std::filesystem::file_size(file, no_size) == 0;
    Database database(file);
    if (is_new) {
        std::filesystem::permissions(file, perms(0644));
    }
    return database;
}

// --- the rows ---

std::string hexadecimal(std::uint32_t number)
{
    std::array<char, 2 * sizeof number + 1> digits{};
    std::snprintf(digits.data(), digits.size(), "%04x", number);
    return digits.data();
}

/// The texts of columns 2 to 7.
std::array<std::string, 6> texts_of(GVariant* record)
{
    return {hexadecimal(unsigned_at(record, 2)),
            hexadecimal(unsigned_at(record, 3)),
            text_at(record, 4),
            text_at(record, 5),
            text_at(record, 6),
            text_at(record, 7)};
}

void insert(const Database& database, sqlite3_stmt* row, GVariant* record)
{
    const auto texts = texts_of(record);
    database.require(sqlite3_bind_int(row, 1, integer_at(record, 0)));
    for (std::size_t at = 0; at < texts.size(); ++at) {
        // SQLite keeps no copy: the row is written before the texts go.
        database.require(sqlite3_bind_text(row, static_cast<int>(at) + 2, texts[at].c_str(), -1, nullptr));
    }
    database.require(sqlite3_bind_int(row, 8, integer_at(record, 1)));
    database.require(sqlite3_step(row));
    database.require(sqlite3_reset(row));
}

/// All rows or none: what is not committed goes when the database is closed.
Variant insert_records(const Folders& folders, GVariant* arguments)
{
    require_enabled(folders);
    const Variant records(g_variant_get_child_value(arguments, 0));
    Database database = open_records(folders);
    database.run("BEGIN IMMEDIATE");
    database.run(kTable);
    const Statement row = database.prepare(kRow);
    for (gsize at = 0; at < g_variant_n_children(records.get()); ++at) {
        const Variant record(g_variant_get_child_value(records.get(), at));
        insert(database, row.get(), record.get());
    }
    database.run("COMMIT");
    return number(kDone);
}

} // namespace

std::span<const Method> device_record_methods()
{
    static constexpr std::array methods{
        Method{"tresk_devctl_insert_record", "a(iiuussss)", "i", insert_records},
    };
    return methods;
}

} // namespace tresk::service
