// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/private_bus.h"

#include <cstdlib>
#include <stdexcept>

namespace tresk::test {

namespace {

constexpr int kAddressFd = 3;

std::string configuration(const std::string& address)
{
    return R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>)" +
           address + R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
  </policy>
</busconfig>
)";
}

} // namespace

PrivateBus::PrivateBus() : address_("unix:path=" + (folder_ / "bus").string())
{
    write_file(folder_ / "bus.conf", configuration(address_));
    start();
}

void PrivateBus::start()
{
    std::filesystem::remove(folder_ / "bus");
    daemon_ = ChildProcess({
        .words = {"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog",
                  "--config-file=" + (folder_ / "bus.conf").string(),
                  "--print-address=" + std::to_string(kAddressFd)},
        .environment = {},
        .announce_fd = kAddressFd,
        .error_file = {},
    });
    if (!daemon_.announcement()) {
        throw std::runtime_error("dbus-daemon did not announce its address");
    }
}

void PrivateBus::stop()
{
    daemon_.terminate();
}

void PrivateBus::restart()
{
    stop();
    start();
}

void PrivateBus::use_as_system_bus() const
{
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
}

BusConnection PrivateBus::connect() const
{
    const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                         G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    GError* error = nullptr;
    BusConnection connection(
        g_dbus_connection_new_for_address_sync(address_.c_str(), flags, nullptr, nullptr, &error));
    if (!connection) {
        const std::string text = error->message;
        g_error_free(error);
        throw std::runtime_error("no connection to the private bus: " + text);
    }
    return connection;
}

} // namespace tresk::test
