// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/service_name.h"

#include <stdexcept>

namespace tresk::service {

namespace {

constexpr char kName[] = "com.meron.tresk";
constexpr guint kDoNotQueue = 4;
constexpr guint kPrimaryOwner = 1;
constexpr int kTimeoutMs = 25000;

} // namespace

Connection connect_to_system_bus()
{
    Error error;
    Connection connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, error.out()));
    if (!connection) {
        throw std::runtime_error("no connection to the system bus: " + error.text());
    }
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    return connection;
}

void own_service_name(GDBusConnection* connection)
{
    Error error;
    const Variant reply(g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", kName, kDoNotQueue), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, kTimeoutMs,
        nullptr, error.out()));
    if (!reply) {
        throw std::runtime_error("cannot own " + std::string(kName) + ": " + error.text());
    }
    guint result = 0;
    g_variant_get(reply.get(), "(u)", &result);
    if (result != kPrimaryOwner) {
        throw std::runtime_error("cannot own " + std::string(kName) + ": another service owns it");
    }
}

} // namespace tresk::service
