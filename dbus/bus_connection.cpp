// SPDX-License-Identifier: LGPL-2.1-or-later
#include "dbus/bus_connection.h"

namespace tresk {

namespace {

constexpr int kReleaseAttempts = 2000;
constexpr gulong kReleasePauseMicroseconds = 10;

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

BusConnection::BusConnection(GError** error)
    : connection_(new_connection(error)),
      connected_(connection_ && g_initable_init(G_INITABLE(connection_.get()), nullptr, error) != FALSE)
{
}

/// GDBus's own thread may hold the connection at this moment, to tell our context that the bus went away.
/// That news keeps the connection alive, and the connection our context, so it is waited for.
///
/// The release cancels the watch of the socket, and GLib loses a watch that ends during its cancellation:
/// some 400 bytes at one connection in a hundred. Shutting the socket down before would end the watch in
/// time, but GDBus may then tell the end once more, by an address at which the next call's connection stands
/// by then.
BusConnection::~BusConnection()
{
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
