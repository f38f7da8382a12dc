// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A connection to the system bus for the length of one call, apart from all else in the process.
//
// GDBus leaves work behind in the main context that is the thread's default while a proxy lives: what runs
// when its signal subscriptions end, and the news that a connection was closed. In a process that runs no
// main loop nobody ever does that work, so it would pile up, and with it references to closed connections.
// So the call runs under a main context of its own, which is drained before return.
//
// The process's shared connection (g_bus_get_sync) will not do for that. It belongs to the context of whoever
// asked for it first: made under ours, it would outlive that context as soon as another thread shares it,
// never learn that it was closed and be handed out closed from then on; made under the application's, its
// exit-on-close would end the process from within a library call. One of our own shares nothing with
// anybody, and ends nothing when the bus goes away.
#ifndef TRESK_DBUS_BUS_CONNECTION_H
#define TRESK_DBUS_BUS_CONNECTION_H

#include "common/handles.h"

#include <gio/gio.h>

namespace tresk {

template <class T>
using Object = Handle<T, ::g_object_unref>;

/// The calling thread's default main context while it lives.
class PrivateContext {
  public:
    PrivateContext();
    ~PrivateContext();
    PrivateContext(const PrivateContext&) = delete;
    PrivateContext& operator=(const PrivateContext&) = delete;

    /// Runs all that is pending, without waiting.
    void drain() noexcept;

  private:
    Handle<GMainContext, ::g_main_context_unref> context_;
};

/// The connection; what was made on it must be released before.
class BusConnection {
  public:
    /// Connects. Where that fails the connection is of no use, and @error says why.
    explicit BusConnection(GError** error);
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    [[nodiscard]] GDBusConnection* get() const noexcept { return connection_.get(); }

    explicit operator bool() const noexcept { return connected_; }

  private:
    PrivateContext context_;
    Object<GDBusConnection> connection_; ///< also where connecting failed: it is then not yet let go of
    bool connected_;
};

} // namespace tresk

#endif
