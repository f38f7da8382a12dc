// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The service reports failures as D-Bus errors by name; this is where a name becomes a status code and where
// the failure is told.
#include "dbus/service_error.h"

#include "common/edge.h"
#include "common/handles.h"
#include "common/report.h"
#include "tresk_extend.h"

#include <gio/gio.h>

#include <cstring>
#include <string_view>

namespace tresk {

namespace {

/// What the error record holds: the whole message as its text, or a message of the form
/// "subject:text,more" taken apart.
enum class Record { whole, split };

struct ErrorRow {
    std::string_view name;
    int code;
    Record record;
};

constexpr std::string_view kOk = "MERON.TRESK.OK";

constexpr ErrorRow kErrors[] = {
    {"MERON.TRESK.AUTH.FAILED", TRESK_ERROR_AUTHORISATION, Record::whole},
    {"MERON.TRESK.CANCEL.AUTH", TRESK_ERROR_CANCELLED, Record::whole},
    {"MERON.TRESK.DISABLED", TRESK_ERROR_DISABLED, Record::whole},
    {"MERON.TRESK.DATABASE.ERR", TRESK_ERROR_DATABASE, Record::whole},
    {"MERON.TRESK.LABEL.GET.ERR", TRESK_ERROR_LABEL_READ, Record::split},
    {"MERON.TRESK.LABEL.SET.ERR", TRESK_ERROR_LABEL_WRITE, Record::split},
    {"MERON.TRESK.INVALID.ARG", TRESK_ERROR_INVALID_ARGUMENT, Record::whole},
    {"MERON.TRESK.EXTRACT.LIST.ERR", TRESK_ERROR_LIST, Record::split},
    {"MERON.TRESK.FILE.ATTR.ERR", TRESK_ERROR_FILE_ATTRIBUTE, Record::split},
    {"MERON.TRESK.CONF.ERR", TRESK_ERROR_CONFIGURATION, Record::whole},
    {"MERON.TRESK.NETCTL.ERR", TRESK_ERROR_NETWORK_CONTROL, Record::whole},
    {"MERON.TRESK.DEVCTL.ERR", TRESK_ERROR_DEVICE_CONTROL, Record::whole},
    {"MERON.TRESK.DEVCTL.ADD.EXIST", TRESK_ERROR_DEVICE_EXISTS, Record::whole},
    {"MERON.TRESK.DEVCTL.UPDATE.REPEATE", TRESK_ERROR_DEVICE_UNCHANGED, Record::whole},
};
constexpr ErrorRow kOtherError = {"", TRESK_ERROR_SERVICE, Record::whole};

const ErrorRow& row_of(std::string_view name)
{
    for (const ErrorRow& row : kErrors) {
        if (row.name == name) {
            return row;
        }
    }
    return kOtherError;
}

void record(const ErrorRow& row, char* message)
{
    if (row.record == Record::whole) {
        record_error(row.code, nullptr, "%s", message);
        return;
    }
    char* rest = nullptr;
    const char* subject = strtok_r(message, ":", &rest);
    const char* text = strtok_r(nullptr, ",", &rest);
    if (text == nullptr) {
        record_error(row.code, subject, nullptr);
    } else {
        record_error(row.code, subject, "%s", text);
    }
}

/// True when the error reply carried a text. GLib puts a sentence of its own, in the user's language, where
/// the service sent none.
bool has_text(const GError* error)
{
    if (error->message == nullptr) {
        return false;
    }
    const std::string_view none = g_dgettext("glib20", "Error return with empty body");
    const std::string_view message = error->message;
    return !message.starts_with(none) || message.find_first_not_of(": ", none.size()) != message.npos;
}

bool is_remote(const GError* error)
{
    return error != nullptr && error->message != nullptr && g_dbus_error_is_remote_error(error) != FALSE;
}

int handle_remote(GError* error)
{
    const Handle<char, ::g_free> given_name(g_dbus_error_get_remote_error(error));
    // A message can begin as a remote error's does and go on without a name.
    const char* name = given_name ? given_name.get() : "";
    g_dbus_error_strip_remote_error(error);
    if (name == kOk) {
        return TRESK_SUCCESS;
    }
    const ErrorRow& row = row_of(name);
    if (has_text(error)) {
        log_error(kDbusSource, nullptr, "%s: %s\n", name, error->message);
        record(row, error->message);
    }
    return row.code;
}

} // namespace

int report_no_reply()
{
    log_error(kDbusSource, nullptr, "dbus interface call error\n");
    record_error(TRESK_ERROR_SERVICE, "dbus", "dbus interface call error\n");
    return TRESK_ERROR_SERVICE;
}

} // namespace tresk

TRESK_EXPORT int handling_dbus_error(GError* error)
{
    using namespace tresk;
    return at_edge(int(TRESK_ERROR_SERVICE),
                   [&] { return is_remote(error) ? handle_remote(error) : report_no_reply(); });
}
