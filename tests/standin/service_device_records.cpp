// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <vector>

namespace tresk::test {

namespace {

/// Two records as a call carries them.
constexpr char kTwo[] =
    R"(([(3, -4, uint32 7531, uint32 2, 'Maker', 'A "thing"', '2024-05-06 07:08:09', "it's"),
                             (1, 0, 4294967295, 0, '', '', '2024-05-06 07:08:10', '')],))";

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

/// kTwo as rows, but for column 0.
const Rows kTwoRows{{"3", "1d6b", "0002", "Maker", "A \"thing\"", "2024-05-06 07:08:09", "it's", "-4"},
                    {"1", "ffffffff", "0000", "", "", "2024-05-06 07:08:10", "", "0"}};

int append_row(void* rows, int count, char** values, char** /*names*/)
{
    static_cast<Rows*>(rows)->emplace_back(values, values + count);
    return 0;
}

struct CloseDatabase {
    void operator()(sqlite3* database) const noexcept { sqlite3_close(database); }
};

class ServiceDeviceRecords : public ServiceScene {
  protected:
    ServiceDeviceRecords() { start_service(); }

    Outcome insert(const std::string& arguments)
    {
        return call("devctl", "tresk_devctl_insert_record", arguments);
    }

    /// The rows that @statements give; statements that fail give their message as one row.
    [[nodiscard]] Rows query(const std::string& statements) const
    {
        sqlite3* opened = nullptr;
        sqlite3_open(file.c_str(), &opened);
        const std::unique_ptr<sqlite3, CloseDatabase> database(opened);
        Rows rows;
        if (sqlite3_exec(opened, statements.c_str(), append_row, &rows, nullptr) != SQLITE_OK) {
            return {{sqlite3_errmsg(opened)}};
        }
        return rows;
    }

    /// Makes a database of the test's own by @statements.
    void seed(const std::string& statements) const
    {
        std::filesystem::create_directories(file.parent_path());
        ASSERT_EQ(query(statements), Rows{});
    }

    /// All rows in the order they came, without column 0.
    [[nodiscard]] Rows records() const
    {
        Rows rows = query("SELECT * FROM device_record ORDER BY rowid");
        for (Row& row : rows) {
            row.erase(row.begin());
        }
        return rows;
    }

    std::filesystem::path file = etc / "db" / "whlist.db";
};

} // namespace

TEST_F(ServiceDeviceRecords, AreInsertedAtTheColumnsThatReadersExpect)
{
    EXPECT_EQ(insert(kTwo), replied("(0,)"));
    EXPECT_EQ(records(), kTwoRows);
}

TEST_F(ServiceDeviceRecords, AreNumberedInColumn0)
{
    insert(kTwo);
    EXPECT_EQ(query("SELECT id FROM device_record"), (Rows{{"1"}, {"2"}}));
}

TEST_F(ServiceDeviceRecords, AccessTimeIsKnownByItsName)
{
    insert(kTwo);
    EXPECT_EQ(query("SELECT access_t FROM device_record ORDER BY datetime(access_t) DESC"),
              (Rows{{"2024-05-06 07:08:10"}, {"2024-05-06 07:08:09"}}));
}

TEST_F(ServiceDeviceRecords, RecordOfNowIsFoundAmongThoseOfTheLastDaysAndOldOnesAreNot)
{
    insert(kTwo);
    const std::string now = query("SELECT datetime('now')")[0][0];
    insert("([(1, 2, uint32 3, uint32 4, 'a', 'b', '" + now + "', 'c')],)");
    EXPECT_EQ(query("SELECT access_t FROM device_record WHERE datetime(access_t) BETWEEN "
                    "datetime('now', 'start of day', '-60 days') AND datetime('now', '+1 day')"),
              Rows{{now}});
}

TEST_F(ServiceDeviceRecords, NumbersAreIntegersAndAllElseIsText)
{
    insert("([(1, 2, uint32 3, uint32 4, '5', '6', '7', '8')],)");
    EXPECT_EQ(query("SELECT typeof(number_1), typeof(id_2), typeof(id_3), typeof(text_4), typeof(text_5), "
                    "typeof(access_t), typeof(text_7), typeof(number_8) FROM device_record"),
              (Rows{{"integer", "text", "text", "text", "text", "text", "text", "integer"}}));
}

TEST_F(ServiceDeviceRecords, LaterCallsAddToTheRecord)
{
    insert(kTwo);
    EXPECT_EQ(insert(kTwo), replied("(0,)"));
    Rows twice = kTwoRows;
    twice.insert(twice.end(), kTwoRows.begin(), kTwoRows.end());
    EXPECT_EQ(records(), twice);
}

TEST_F(ServiceDeviceRecords, NoRecordsMakeAnEmptyTable)
{
    EXPECT_EQ(insert("(@a(iiuussss) [],)"), replied("(0,)"));
    EXPECT_EQ(query("SELECT count(*) FROM device_record"), Rows{{"0"}});
}

TEST_F(ServiceDeviceRecords, AreInsertedIntoATableOfOtherColumnNames)
{
    seed("CREATE TABLE device_record (a INTEGER PRIMARY KEY AUTOINCREMENT, b INT, c, d, e, f, access_t, g, h "
         "INT)");
    EXPECT_EQ(insert(kTwo), replied("(0,)"));
    EXPECT_EQ(records(), kTwoRows);
}

TEST_F(ServiceDeviceRecords, OtherTablesStay)
{
    seed("CREATE TABLE other (a); INSERT INTO other VALUES ('kept')");
    EXPECT_EQ(insert(kTwo), replied("(0,)"));
    EXPECT_EQ(query("SELECT * FROM other"), Rows{{"kept"}});
}

TEST_F(ServiceDeviceRecords, AreInsertedAllOrNone)
{
    seed("CREATE TABLE device_record (a INTEGER PRIMARY KEY, b CHECK (b > 1), c, d, e, f, access_t, g, h)");
    const Outcome outcome = insert(kTwo);
    EXPECT_EQ(outcome.error, kDatabaseError);
    EXPECT_THAT(outcome.message.value_or(""), ::testing::HasSubstr("CHECK constraint failed"));
    EXPECT_EQ(records(), Rows{});
}

TEST_F(ServiceDeviceRecords, TableOfAnotherFormIsRefusedAndKept)
{
    seed("CREATE TABLE device_record (access_t)");
    EXPECT_EQ(insert(kTwo),
              refused(kDatabaseError, "table device_record has 1 columns but 9 values were supplied"));
    EXPECT_EQ(query("SELECT * FROM device_record"), Rows{});
}

TEST_F(ServiceDeviceRecords, FileThatIsNoDatabaseIsRefusedAndKept)
{
    const std::string content = "nonsense, and more of it than a header has bytes: " + std::string(100, 'x');
    write_file(file, content);
    EXPECT_EQ(insert(kTwo), refused(kDatabaseError, "file is not a database"));
    EXPECT_EQ(text_of(file), content);
}

TEST_F(ServiceDeviceRecords, FolderInTheFilesPlaceIsRefused)
{
    std::filesystem::create_directories(file);
    EXPECT_EQ(insert(kTwo), refused(kDatabaseError, "unable to open database file"));
}

TEST_F(ServiceDeviceRecords, FolderThatCannotBeMadeIsRefused)
{
    write_file(etc, "a file where the folder should be");
    EXPECT_EQ(insert(kTwo).error, kDatabaseError);
}

TEST_F(ServiceDeviceRecords, AreRefusedWhileTheFrameworkIsDisabled)
{
    call("xattr", "tresk_xattr_set_status", "(0,)");
    EXPECT_EQ(insert(kTwo), refused("MERON.TRESK.DISABLED", "tresk is disabled."));
    EXPECT_FALSE(std::filesystem::exists(etc));
}

TEST_F(ServiceDeviceRecords, AreForEverybodyToRead)
{
    service.terminate();
    const mode_t usual = ::umask(0077);
    start_service();
    ::umask(usual);
    insert(kTwo);
    EXPECT_EQ(std::filesystem::status(file.parent_path()).permissions(), std::filesystem::perms(0755));
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0644));
}

TEST_F(ServiceDeviceRecords, LeaveOneFile)
{
    insert(kTwo);
    const std::filesystem::directory_iterator files(file.parent_path());
    EXPECT_EQ(std::distance(std::filesystem::begin(files), std::filesystem::end(files)), 1);
}

} // namespace tresk::test
