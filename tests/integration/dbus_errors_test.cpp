// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What becomes of the service's errors: the code, the diagnostic and the error record.
#include "tests/integration/dbus_fixture.h"

namespace tresk::test {

namespace {

enum class Record { whole, split };

struct ErrorRow {
    const char* name;
    int code;
    Record record;
};

std::ostream& operator<<(std::ostream& out, const ErrorRow& row)
{
    return out << row.name;
}

constexpr ErrorRow kRows[] = {
    {"MERON.TRESK.AUTH.FAILED", -1001, Record::whole},
    {"MERON.TRESK.CANCEL.AUTH", -1002, Record::whole},
    {"MERON.TRESK.DISABLED", -1003, Record::whole},
    {"MERON.TRESK.DATABASE.ERR", -1004, Record::whole},
    {"MERON.TRESK.LABEL.GET.ERR", -1005, Record::split},
    {"MERON.TRESK.LABEL.SET.ERR", -1006, Record::split},
    {"MERON.TRESK.INVALID.ARG", -1007, Record::whole},
    {"MERON.TRESK.EXTRACT.LIST.ERR", -1008, Record::split},
    {"MERON.TRESK.FILE.ATTR.ERR", -1009, Record::split},
    {"MERON.TRESK.CONF.ERR", -1010, Record::whole},
    {"MERON.TRESK.NETCTL.ERR", -1012, Record::whole},
    {"MERON.TRESK.DEVCTL.ERR", -1013, Record::whole},
    {"MERON.TRESK.DEVCTL.ADD.EXIST", -1014, Record::whole},
    {"MERON.TRESK.DEVCTL.UPDATE.REPEATE", -1015, Record::whole},
    // Names that are in no row.
    {"MERON.TRESK.UNHEARD.OF", -1011, Record::whole},
    {"MERON.TRESK.AUTH", -1011, Record::whole},
    {"MERON.TRESK.AUTH.FAILED.TWICE", -1011, Record::whole},
    {"MERON.TRESK.DEVCTL.UPDATE.REPEAT", -1011, Record::whole},
    {"MERON.TRESK.OK.NOT", -1011, Record::whole},
    {"org.freedesktop.DBus.Error.AccessDenied", -1011, Record::whole},
    {"org.freedesktop.DBus.Error.Timeout", -1011, Record::whole},
    // Names that differ from a row in case alone.
    {"meron.tresk.auth.failed", -1011, Record::whole},
    {"MERON.TRESK.Label.Set.Err", -1011, Record::whole},
    {"MERON.TRESK.Ok", -1011, Record::whole},
};

class ServiceError : public ServiceTest, public ::testing::WithParamInterface<ErrorRow> {};

INSTANTIATE_TEST_SUITE_P(Each, ServiceError, ::testing::ValuesIn(kRows), [](const auto& test) {
    std::string name = test.param.name;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
});

constexpr char kMessage[] = "/usr/bin/a: 100%s of it, refused: %n";

TEST_P(ServiceError, HasItsCode)
{
    service.fail("ask", GetParam().name, kMessage);
    EXPECT_EQ(code_of_failed_call("ask"), GetParam().code);
}

TEST_P(ServiceError, IsLoggedWithNameAndMessage)
{
    service.fail("ask", GetParam().name, kMessage);
    code_of_failed_call("ask");
    const LogLine log = only_log();
    EXPECT_EQ(log.level, 3);
    EXPECT_EQ(log.subject, std::nullopt);
    EXPECT_EQ(log.source, "libtresk_dbus");
    EXPECT_EQ(log.format, "%s: %s\n");
    EXPECT_EQ(log.text, std::string(GetParam().name) + ": " + kMessage + "\n");
}

TEST_P(ServiceError, IsRecordedAfterTheLog)
{
    service.fail("ask", GetParam().name, kMessage);
    code_of_failed_call("ask");
    const bool split = GetParam().record == Record::split;
    const ErrorRecord error = only_error();
    EXPECT_EQ(error.code, GetParam().code);
    EXPECT_EQ(error.subject, split ? std::optional<std::string>("/usr/bin/a") : std::nullopt);
    EXPECT_EQ(error.format, "%s");
    EXPECT_EQ(error.text, split ? " 100%s of it" : kMessage);
    EXPECT_EQ(framework().order, (std::vector<std::string>{"log", "error"}));
}

TEST_P(ServiceError, WithoutAMessageIsNeitherLoggedNorRecorded)
{
    service.fail("ask", GetParam().name, std::nullopt);
    EXPECT_EQ(code_of_failed_call("ask"), GetParam().code);
    EXPECT_EQ(framework().order, std::vector<std::string>());
}

TEST_P(ServiceError, WithAnEmptyMessageIsLoggedAndRecorded)
{
    service.fail("ask", GetParam().name, "");
    EXPECT_EQ(code_of_failed_call("ask"), GetParam().code);
    EXPECT_EQ(only_log().text, std::string(GetParam().name) + ": \n");
    const ErrorRecord error = only_error();
    EXPECT_EQ(error.subject, std::nullopt);
    EXPECT_EQ(error.text, GetParam().record == Record::split ? std::nullopt : std::optional<std::string>(""));
}

using ServiceErrors = ServiceTest;

TEST_F(ServiceErrors, OkIsCode0AndToldNobody)
{
    for (const std::optional<std::string>& message :
         {std::optional<std::string>("all is well"), std::optional<std::string>()}) {
        service.fail("ask", "MERON.TRESK.OK", message);
        EXPECT_EQ(code_of_failed_call("ask"), 0);
    }
    EXPECT_EQ(framework().order, std::vector<std::string>());
}

// --- messages of the form "subject:text,more" ---

struct SplitRow {
    const char* label;
    const char* message;
    std::optional<std::string> subject;
    std::optional<std::string> text;
};

std::ostream& operator<<(std::ostream& out, const SplitRow& row)
{
    return out << row.label;
}

const SplitRow kSplits[] = {
    {"SubjectTextAndMore", "/a:denied,more,and more", "/a", "denied"},
    {"BlanksAreKept", "/a b : denied , more", "/a b ", " denied "},
    {"NoComma", "/a:denied by rule 7", "/a", "denied by rule 7"},
    {"NoColon", "denied", "denied", std::nullopt},
    {"CommaWithoutColon", "denied, more", "denied, more", std::nullopt},
    {"NothingAfterTheColon", "/a:", "/a", std::nullopt},
    {"NothingBeforeTheColon", ":denied,more", "denied,more", std::nullopt},
    {"NothingBetweenColonAndComma", "/a:,more", "/a", "more"},
    {"OnlyCommasAfterTheColon", "/a:,,,", "/a", std::nullopt},
    {"TwoColons", "/a::denied,more", "/a", ":denied"},
    {"CommaBeforeTheColon", "/a,b:denied", "/a,b", "denied"},
    {"LeadingColons", "::/a:denied", "/a", "denied"},
    {"OnlyAColon", ":", std::nullopt, std::nullopt},
    {"ManyLettersBeyondAscii", "/\u00e4\u20ac:\u6587\u5b57,\u00fc", "/\u00e4\u20ac", "\u6587\u5b57"},
};

class SplitMessage : public ServiceTest, public ::testing::WithParamInterface<SplitRow> {};

INSTANTIATE_TEST_SUITE_P(Each, SplitMessage, ::testing::ValuesIn(kSplits),
                         [](const auto& test) { return test.param.label; });

TEST_P(SplitMessage, GivesSubjectAndText)
{
    service.fail("ask", "MERON.TRESK.LABEL.SET.ERR", GetParam().message);
    EXPECT_EQ(code_of_failed_call("ask"), -1006);
    EXPECT_EQ(only_log().text, std::string("MERON.TRESK.LABEL.SET.ERR: ") + GetParam().message + "\n");
    const ErrorRecord error = only_error();
    EXPECT_EQ(error.code, -1006);
    EXPECT_EQ(error.subject, GetParam().subject);
    EXPECT_EQ(error.text, GetParam().text);
}

TEST_F(ServiceErrors, TextThatBeginsLikeGlibsSentenceForNoneIsTold)
{
    service.fail("ask", "MERON.TRESK.AUTH.FAILED", "Error return with empty body: but not here");
    EXPECT_EQ(code_of_failed_call("ask"), -1001);
    EXPECT_EQ(only_error().text, "Error return with empty body: but not here");
}

// --- handling_dbus_error() with errors of a client's own calls ---

TEST_F(ServiceErrors, ErrorWithoutAMessageIsNoneOfTheServices)
{
    GError error = {G_IO_ERROR, G_IO_ERROR_FAILED, nullptr};
    EXPECT_EQ(handling_dbus_error(&error), -1011);
    expect_interface_error_was_told();
}

using HandlingDbusError = FrameworkTest;
using Error = Handle<GError, ::g_error_free>;

TEST_F(HandlingDbusError, LeavesTheErrorToItsOwner)
{
    const Error error(g_dbus_error_new_for_dbus_error("MERON.TRESK.AUTH.FAILED", "not you"));
    EXPECT_EQ(handling_dbus_error(error.get()), -1001);
    EXPECT_EQ(only_error().text, "not you");
    EXPECT_STREQ(error->message, "not you");
}

TEST_F(HandlingDbusError, TellsAnErrorOfThisSideAsInterfaceError)
{
    const Error error(g_error_new_literal(G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "MERON.TRESK.AUTH.FAILED"));
    EXPECT_EQ(handling_dbus_error(error.get()), -1011);
    expect_interface_error_was_told();
}

TEST_F(HandlingDbusError, MapsAnErrorNameThatGLibKnowsItself)
{
    const Error error(g_dbus_error_new_for_dbus_error("org.freedesktop.DBus.Error.NoReply", "gone"));
    EXPECT_EQ(handling_dbus_error(error.get()), -1011);
    EXPECT_EQ(only_log().text, "org.freedesktop.DBus.Error.NoReply: gone\n");
    EXPECT_EQ(only_error().text, "gone");
}

TEST_F(HandlingDbusError, TakesARemoteErrorWithoutANameAsOneOfAnUnknownName)
{
    const Error error(g_error_new_literal(G_IO_ERROR, G_IO_ERROR_DBUS_ERROR, "GDBus.Error:no name here"));
    EXPECT_EQ(handling_dbus_error(error.get()), -1011);
    EXPECT_EQ(only_log().text, ": GDBus.Error:no name here\n");
    EXPECT_EQ(only_error().text, "GDBus.Error:no name here");
}

TEST_F(HandlingDbusError, TakesNoErrorAsInterfaceError)
{
    EXPECT_EQ(handling_dbus_error(nullptr), -1011);
    expect_interface_error_was_told();
}

} // namespace

} // namespace tresk::test
