// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is an error as the service or the bus may answer it: a byte for its kind, its name, a NUL and its
// message. The code, the log and the error record are what a second table says.
#include "fuzz/support/error_table.h"
#include "fuzz/support/fake_bus.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

namespace tresk::fuzz {

namespace {

using test::framework;

constexpr int kServiceFailed = -1011;

/// Takes a beginning of @text that ends at @sign away, past the signs before it; nothing where none is left.
std::optional<std::string> token(std::string& text, char sign)
{
    text.erase(0, std::min(text.find_first_not_of(sign), text.size()));
    if (text.empty()) {
        return std::nullopt;
    }
    const std::size_t end = std::min(text.find(sign), text.size());
    const std::string first = text.substr(0, end);
    text.erase(0, end + 1);
    return first;
}

void require_record(const std::string& name, std::string message)
{
    TRESK_REQUIRE(framework().logs.size() == 1 && framework().errors.size() == 1);
    TRESK_REQUIRE(framework().logs.front().text == name + ": " + message + "\n");
    const test::ErrorRecord& record = framework().errors.front();
    TRESK_REQUIRE(record.code == code_of_error(name));
    // No text from outside is ever a format.
    TRESK_REQUIRE(!record.format || record.format == "%s");
    if (has_subject(name)) {
        const auto subject = token(message, ':');
        const auto text = token(message, ',');
        TRESK_REQUIRE(record.subject == subject && record.text == text);
    } else {
        TRESK_REQUIRE(!record.subject && record.text == message);
    }
}

void require_nothing_said()
{
    TRESK_REQUIRE(framework().logs.empty() && framework().errors.empty());
}

void require_no_reply()
{
    TRESK_REQUIRE(framework().errors.size() == 1);
    TRESK_REQUIRE(framework().errors.front().code == kServiceFailed);
    TRESK_REQUIRE(framework().errors.front().subject == "dbus");
}

void check_remote(Pieces& pieces, bool with_body)
{
    const std::string asked_name = pieces.text();
    const std::string message(pieces.text());
    const OwnedError error = remote_error(asked_name, with_body ? std::optional(message) : std::nullopt);
    const Handle<char, ::g_free> name(g_dbus_error_get_remote_error(error.get()));
    const OwnedError plain(g_error_copy(error.get()));
    g_dbus_error_strip_remote_error(plain.get());
    const std::string said = plain->message;

    TRESK_REQUIRE(handling_dbus_error(error.get()) == code_of_error(name.get()));
    if (std::string_view(name.get()) == "MERON.TRESK.OK" || !says_something(said)) {
        require_nothing_said();
    } else {
        require_record(name.get(), said);
    }
}

/// What begins as a remote error and has no name fails like one with an unknown name.
void check_nameless(GError* error)
{
    const std::string message = error->message;
    TRESK_REQUIRE(handling_dbus_error(error) == kServiceFailed);
    require_record("", message);
}

/// What GLib itself has to say, and what no function of its answers.
void check_other(Pieces& pieces)
{
    const std::string message = pieces.text();
    const OwnedError error(g_error_new_literal(G_IO_ERROR, pieces.byte(), message.c_str()));
    if (pieces.byte() != 0) {
        TRESK_REQUIRE(handling_dbus_error(nullptr) == kServiceFailed);
        require_no_reply();
        return;
    }
    const Handle<char, ::g_free> name(g_dbus_error_get_remote_error(error.get()));
    if (name) {
        return; // as good as one from the bus
    }
    if (g_dbus_error_is_remote_error(error.get()) != FALSE) {
        check_nameless(error.get());
    } else {
        TRESK_REQUIRE(handling_dbus_error(error.get()) == kServiceFailed);
        require_no_reply();
    }
}

} // namespace

void set_up() {}

void run(std::string_view input)
{
    framework().reset();
    Pieces pieces(input);
    switch (pieces.byte() % 3) {
    case 0:
        check_remote(pieces, true);
        break;
    case 1:
        check_remote(pieces, false);
        break;
    default:
        check_other(pieces);
        break;
    }
}

} // namespace tresk::fuzz
