// SPDX-License-Identifier: LGPL-2.1-or-later
//
// GLib's bus thread: one for all connections of a process, and it lives as long. It lets go of a connection
// when it gets to it, so what a call left can be told only once it has nothing more to do.
#ifndef TRESK_TESTS_FAULTS_BUS_THREAD_H
#define TRESK_TESTS_FAULTS_BUS_THREAD_H

#include "common/handles.h"

#include <glib.h>

#include <chrono>

namespace tresk::test {

class BusThread {
  public:
    /// Meets it by a connection of its own; throws std::runtime_error where there is no bus.
    BusThread();

    /// Waits until it has done all that it can do now; false when the deadline passed before.
    [[nodiscard]] bool settle(std::chrono::milliseconds deadline) const;

  private:
    Handle<GMainContext, ::g_main_context_unref> context_;
};

} // namespace tresk::test

#endif
