// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The database of devices that were seen, as tests make it.
#ifndef TRESK_TESTS_UNIT_DEVCTL_DATABASE_H
#define TRESK_TESTS_UNIT_DEVCTL_DATABASE_H

#include "common/handles.h"

#include <sqlite3.h>

#include <string>

namespace tresk::test {

inline constexpr char kDatabaseFile[] = "/etc/tresk/db/whlist.db";

/// The table as the service makes it.
inline constexpr char kCreateTable[] = "CREATE TABLE device_record (id INTEGER PRIMARY KEY, kind, vid, pid, "
                                       "name, serial, access_t, note, state)";

/// An open connection to the database, made with its folder where it is missing.
class Database {
  public:
    Database();

    /// Throws std::runtime_error where @statements fail.
    void run(const std::string& statements);
    /// The first value of @query as text.
    std::string value(const std::string& query);

    /// Adds a row that was seen at @when, an SQL expression; the other columns are SQL values, too.
    void add(const std::string& when, const std::string& note = "'note'", const std::string& kind = "1",
             const std::string& vid = "'1d6b'", const std::string& pid = "'0002'",
             const std::string& name = "'name'", const std::string& serial = "'serial'",
             const std::string& state = "3");

  private:
    Handle<sqlite3, ::sqlite3_close> handle_;
};

} // namespace tresk::test

#endif
