// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A main context of our own for the length of one call.
//
// GDBus leaves work behind in the main context that is the thread's default while a proxy lives: what runs
// when its signal subscriptions end, and the news that a connection was closed. In a process that runs no
// main loop nobody ever does that work, so it would pile up, and with it references to closed connections.
// So the call runs under a private context that is drained and released before return.
#ifndef TRESK_DBUS_PRIVATE_CONTEXT_H
#define TRESK_DBUS_PRIVATE_CONTEXT_H

#include "common/handles.h"

#include <gio/gio.h>

namespace tresk {

/// The calling thread's default main context while it lives.
class PrivateContext {
  public:
    PrivateContext() : context_(g_main_context_new()) { g_main_context_push_thread_default(context_.get()); }

    ~PrivateContext()
    {
        drain();
        g_main_context_pop_thread_default(context_.get());
    }

    PrivateContext(const PrivateContext&) = delete;
    PrivateContext& operator=(const PrivateContext&) = delete;

    /// Runs all that is pending, without waiting.
    void drain() noexcept;

    [[nodiscard]] GMainContext* get() const noexcept { return context_.get(); }

  private:
    Handle<GMainContext, ::g_main_context_unref> context_;
};

/// Keeps a bus that goes away from ending the process while @context is drained.
///
/// The shared system bus connection raises SIGTERM when it finds itself closed, in the context in which it
/// was made. That is right in an application's main loop and wrong in the middle of a library call. A
/// connection is closed once, so holding the switch back in that very emission, and in no other thread's,
/// changes nothing else for anybody who shares the connection.
class ExitOnCloseHold {
  public:
    ExitOnCloseHold(GDBusConnection* connection, const PrivateContext& context);
    ~ExitOnCloseHold();
    ExitOnCloseHold(const ExitOnCloseHold&) = delete;
    ExitOnCloseHold& operator=(const ExitOnCloseHold&) = delete;

  private:
    GDBusConnection* connection_;
    gulong handler_;
};

} // namespace tresk

#endif
