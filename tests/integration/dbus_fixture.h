// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A private bus as this process's system bus, with the framework's service on it where a test wants it.
// Whatever GLib complains about ends the test: the library must not make GLib complain.
#ifndef TRESK_TESTS_INTEGRATION_DBUS_FIXTURE_H
#define TRESK_TESTS_INTEGRATION_DBUS_FIXTURE_H

#include "common/handles.h"
#include "tests/support/framework_double.h"
#include "tests/support/private_bus.h"
#include "tests/support/scripted_service.h"
#include "tresk_extend.h"

#include <gio/gio.h>

#include <optional>
#include <string>

namespace tresk::test {

using Reply = Handle<GVariant, ::g_variant_unref>;

/// A number that no call may leave behind by chance.
inline constexpr int kUntouched = 4711;

class BusTest : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        g_log_set_always_fatal(
            static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING));
        bus.use_as_system_bus();
    }

    /// The number of connections that were ever made to the bus, this question's own included.
    [[nodiscard]] int connections_so_far() const
    {
        const BusConnection connection = bus.connect();
        const std::string name = g_dbus_connection_get_unique_name(connection.get()); // ":1.7"
        return std::stoi(name.substr(name.find('.') + 1)) + 1;
    }

    PrivateBus bus;
};

class ServiceTest : public BusTest {
  protected:
    ScriptedService service{bus.address()};
};

/// process_dbus_method() with the names that the tests do not care about.
inline Reply call_service(const char* method, GVariant* parameters = nullptr, int* error_code = nullptr)
{
    return Reply(process_dbus_method("/ppro", "com.meron.tresk.ppro", method, parameters, error_code));
}

/// The code of a call that is to fail.
inline int code_of_failed_call(const char* method)
{
    int error_code = kUntouched;
    const Reply reply = call_service(method, nullptr, &error_code);
    EXPECT_EQ(reply, nullptr);
    return error_code;
}

/// The only diagnostic so far.
inline LogLine only_log()
{
    EXPECT_EQ(framework().logs.size(), 1U);
    return framework().logs.empty() ? LogLine() : framework().logs.front();
}

/// The only error record so far.
inline ErrorRecord only_error()
{
    EXPECT_EQ(framework().errors.size(), 1U);
    return framework().errors.empty() ? ErrorRecord() : framework().errors.front();
}

/// A call that failed on this side of the bus was logged and recorded, once.
inline void expect_interface_error_was_told()
{
    const LogLine log = only_log();
    EXPECT_EQ(log.level, 3);
    EXPECT_EQ(log.subject, std::nullopt);
    EXPECT_EQ(log.source, "libtresk_dbus");
    EXPECT_EQ(log.text, "dbus interface call error\n");
    const ErrorRecord error = only_error();
    EXPECT_EQ(error.code, -1011);
    EXPECT_EQ(error.subject, "dbus");
    EXPECT_EQ(error.text, "dbus interface call error\n");
}

/// A bad argument of @function was logged and recorded, once.
inline void expect_bad_argument_was_told(const std::string& function, const std::string& source)
{
    const LogLine log = only_log();
    EXPECT_EQ(log.level, 3);
    EXPECT_EQ(log.subject, function);
    EXPECT_EQ(log.source, source);
    EXPECT_EQ(log.text, "Invalid argument");
    const ErrorRecord error = only_error();
    EXPECT_EQ(error.code, -1007);
    EXPECT_EQ(error.subject, function);
    EXPECT_EQ(error.text, "Invalid argument");
}

} // namespace tresk::test

#endif
