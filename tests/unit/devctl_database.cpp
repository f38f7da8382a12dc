// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/devctl_database.h"

#include <filesystem>
#include <stdexcept>

namespace tresk::test {

Database::Database()
{
    std::filesystem::create_directories(std::filesystem::path(kDatabaseFile).parent_path());
    sqlite3* handle = nullptr;
    const int code = sqlite3_open(kDatabaseFile, &handle);
    handle_.reset(handle);
    if (code != SQLITE_OK) {
        throw std::runtime_error("cannot open the database");
    }
}

void Database::run(const std::string& statements)
{
    if (sqlite3_exec(handle_.get(), statements.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error(statements + ": " + sqlite3_errmsg(handle_.get()));
    }
}

std::string Database::value(const std::string& query)
{
    sqlite3_stmt* made = nullptr;
    if (sqlite3_prepare_v2(handle_.get(), query.c_str(), -1, &made, nullptr) != SQLITE_OK) {
        throw std::runtime_error(query + ": " + sqlite3_errmsg(handle_.get()));
    }
    const Handle<sqlite3_stmt, ::sqlite3_finalize> statement(made);
    if (sqlite3_step(statement.get()) != SQLITE_ROW) {
        throw std::runtime_error(query + ": no row");
    }
    return reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
}

void Database::add(const std::string& when, const std::string& note, const std::string& kind,
                   const std::string& vid, const std::string& pid, const std::string& name,
                   const std::string& serial, const std::string& state)
{
    std::string values = "NULL";
    for (const std::string* each : {&kind, &vid, &pid, &name, &serial, &when, &note, &state}) {
        values += ", " + *each;
    }
    run("INSERT INTO device_record VALUES (" + values + ")");
}

} // namespace tresk::test
