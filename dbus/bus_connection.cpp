// SPDX-License-Identifier: LGPL-2.1-or-later
#include "dbus/bus_connection.h"

namespace tresk {

namespace {

constexpr guint kHangUpMilliseconds = 100;
constexpr int kReleaseAttempts = 1000;
constexpr gulong kReleasePauseMicroseconds = 100;

Object<GDBusConnection> new_connection(GError** error)
{
    const Handle<char, ::g_free> address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, error));
    if (!address) {
        return nullptr;
    }
    constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    return Object<GDBusConnection>(G_DBUS_CONNECTION(
        g_object_new(G_TYPE_DBUS_CONNECTION, "address", address.get(), "flags", flags, nullptr)));
}

/// A look at an object that may be gone.
class WeakReference {
  public:
    explicit WeakReference(gpointer object) { g_weak_ref_init(&reference_, object); }

    ~WeakReference() { g_weak_ref_clear(&reference_); }

    WeakReference(const WeakReference&) = delete;
    WeakReference& operator=(const WeakReference&) = delete;

    [[nodiscard]] bool is_gone() noexcept
    {
        return Object<GObject>(static_cast<GObject*>(g_weak_ref_get(&reference_))) == nullptr;
    }

  private:
    GWeakRef reference_{};
};

gboolean note_time_is_up(gpointer is_up)
{
    *static_cast<bool*>(is_up) = true;
    return G_SOURCE_REMOVE;
}

} // namespace

PrivateContext::PrivateContext() : context_(g_main_context_new())
{
    g_main_context_push_thread_default(context_.get());
}

PrivateContext::~PrivateContext()
{
    g_main_context_pop_thread_default(context_.get());
}

void PrivateContext::drain() noexcept
{
    while (g_main_context_iteration(context_.get(), FALSE) != FALSE) {
    }
}

void PrivateContext::wait_until_closed(GDBusConnection* connection, guint milliseconds) noexcept
{
    bool time_is_up = false;
    const Handle<GSource, ::g_source_unref> clock(g_timeout_source_new(milliseconds));
    g_source_set_callback(clock.get(), note_time_is_up, &time_is_up, nullptr);
    g_source_attach(clock.get(), context_.get());
    while (!time_is_up && g_dbus_connection_is_closed(connection) == FALSE) {
        g_main_context_iteration(context_.get(), TRUE);
    }
    g_source_destroy(clock.get());
}

BusConnection::BusConnection(GError** error)
    : connection_(new_connection(error)),
      connected_(connection_ && g_initable_init(G_INITABLE(connection_.get()), nullptr, error) != FALSE)
{
}

/// A connection that is let go of while GDBus's own thread watches its socket has that watch cancelled from
/// here, and GLib loses a watch that ends during its cancellation: some 400 bytes at one call in a hundred.
/// So the socket is shut down first, the watch ends by itself, and nothing is left to cancel.
void BusConnection::hang_up() noexcept
{
    GIOStream* stream = g_dbus_connection_get_stream(connection_.get());
    if (G_IS_SOCKET_CONNECTION(stream)) {
        GSocket* socket = g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream));
        g_socket_shutdown(socket, TRUE, TRUE, nullptr);
        context_.wait_until_closed(connection_.get(), kHangUpMilliseconds);
    }
}

/// GDBus's own thread may hold the connection at this moment, to tell our context that the bus went away.
/// That news keeps the connection alive, and the connection our context, so it is waited for.
BusConnection::~BusConnection()
{
    if (connected_) {
        hang_up();
    }
    WeakReference connection(connection_.get());
    context_.drain();
    connection_.reset();
    context_.drain();
    for (int attempt = 0; attempt < kReleaseAttempts && !connection.is_gone(); ++attempt) {
        g_usleep(kReleasePauseMicroseconds);
        context_.drain();
    }
}

} // namespace tresk
