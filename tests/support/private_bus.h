// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A message bus of a test's own: a real dbus-daemon with an open policy, listening in a temporary folder.
// It ends with the object, at the latest with the test.
#ifndef TRESK_TESTS_SUPPORT_PRIVATE_BUS_H
#define TRESK_TESTS_SUPPORT_PRIVATE_BUS_H

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

#include <gio/gio.h>

#include <memory>
#include <string>

namespace tresk::test {

struct UnrefObject {
    void operator()(void* object) const noexcept { g_object_unref(object); }
};

using BusConnection = std::unique_ptr<GDBusConnection, UnrefObject>;

class PrivateBus {
  public:
    /// Starts the daemon; throws std::runtime_error when it does not come up.
    PrivateBus();

    /// Starts the daemon after stop(), at the same address.
    void start();
    /// Ends the daemon; every client loses its connection.
    void stop();
    void restart();

    [[nodiscard]] bool running() const noexcept { return daemon_.pid() > 0; }

    /// The same at every start: it holds the socket's path and no daemon's identity.
    [[nodiscard]] const std::string& address() const noexcept { return address_; }

    /// Makes this bus the system bus of this process and of the children it starts from now on. GIO keeps
    /// the first system bus connection of a process while anybody uses it.
    void use_as_system_bus() const;

    /// A new connection, shared with nobody; throws std::runtime_error.
    [[nodiscard]] BusConnection connect() const;

  private:
    TempDir folder_;
    std::string address_;
    ChildProcess daemon_;
};

} // namespace tresk::test

#endif
