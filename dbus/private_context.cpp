// SPDX-License-Identifier: LGPL-2.1-or-later
#include "dbus/private_context.h"

namespace tresk {

namespace {

void on_closed(GDBusConnection* connection, gboolean /*remote_peer_vanished*/, GError* /*error*/,
               gpointer context)
{
    if (g_main_context_is_owner(static_cast<GMainContext*>(context)) != FALSE) {
        g_dbus_connection_set_exit_on_close(connection, FALSE);
    }
}

} // namespace

void PrivateContext::drain() noexcept
{
    while (g_main_context_iteration(context_.get(), FALSE) != FALSE) {
    }
}

// A handler runs before the connection's own, which is where the signal would be raised.
ExitOnCloseHold::ExitOnCloseHold(GDBusConnection* connection, const PrivateContext& context)
    : connection_(connection),
      handler_(g_signal_connect(connection, "closed", G_CALLBACK(on_closed), context.get()))
{
}

ExitOnCloseHold::~ExitOnCloseHold()
{
    g_signal_handler_disconnect(connection_, handler_);
}

} // namespace tresk
