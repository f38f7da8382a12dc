// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/bus_thread.h"

#include <gio/gio.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <stdexcept>

namespace tresk::test {

namespace {

using Connection = Handle<GDBusConnection, ::g_object_unref>;

Connection connect()
{
    const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    return Connection(g_dbus_connection_new_for_address_sync(address, flags, nullptr, nullptr, nullptr));
}

/// Static, for the filter may run while it is being removed.
std::atomic<GMainContext*>& found_context()
{
    static std::atomic<GMainContext*> context = nullptr;
    return context;
}

/// A filter of messages, which the bus thread runs.
GDBusMessage* find_context(GDBusConnection* /*connection*/, GDBusMessage* message, gboolean /*incoming*/,
                           gpointer /*data*/)
{
    if (found_context() == nullptr) {
        found_context() = g_main_context_ref_thread_default();
    }
    return message;
}

GMainContext* context_of_bus_thread()
{
    const Connection connection = connect();
    if (!connection) {
        throw std::runtime_error("no bus");
    }
    const guint filter = g_dbus_connection_add_filter(connection.get(), find_context, nullptr, nullptr);
    const Handle<GVariant, ::g_variant_unref> reply(g_dbus_connection_call_sync(
        connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
        nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr, nullptr));
    g_dbus_connection_remove_filter(connection.get(), filter);
    if (!reply || found_context() == nullptr) {
        throw std::runtime_error("the bus does not answer");
    }
    return found_context();
}

class Signal {
  public:
    void give()
    {
        const std::lock_guard lock(mutex_);
        given_ = true;
        changed_.notify_all();
    }

    bool wait(std::chrono::milliseconds deadline)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, deadline, [this] { return given_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool given_ = false;
};

gboolean give(gpointer signal)
{
    static_cast<Signal*>(signal)->give();
    return G_SOURCE_REMOVE;
}

} // namespace

BusThread::BusThread() : context_(context_of_bus_thread()) {}

bool BusThread::settle(std::chrono::milliseconds deadline) const
{
    constexpr int after_all_else = G_PRIORITY_LOW + 1;
    Signal signal;
    g_main_context_invoke_full(context_.get(), after_all_else, give, &signal, nullptr);
    return signal.wait(deadline);
}

} // namespace tresk::test
