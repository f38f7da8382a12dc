// SPDX-License-Identifier: LGPL-2.1-or-later
//
// From the tables of methods to objects on the bus, and from a call to its answer: authorisation where it is
// asked for, fault, handler, audit line, reply. Calls of an unknown method or with another signature are
// answered by GDBus and never come here.
#ifndef TRESK_STANDIN_SERVICE_DISPATCHER_H
#define TRESK_STANDIN_SERVICE_DISPATCHER_H

#include "standin/service/method.h"

#include <memory>
#include <vector>

namespace tresk::service {

/// The exit status after a "die" fault, to be told from other ends.
inline constexpr int kDiedOnDemand = 70;

class Dispatcher {
  public:
    /// @ask_polkit: whether methods that are not open to everybody ask polkit before anything else.
    explicit Dispatcher(Folders folders, bool ask_polkit = false);
    ~Dispatcher();
    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;
    Dispatcher(Dispatcher&&) = delete;
    Dispatcher& operator=(Dispatcher&&) = delete;

    /// Registers every object. The connection outlives the dispatcher. Throws std::runtime_error.
    void export_on(GDBusConnection* connection, std::span<const MethodTable> tables);

    /// An object on the bus, as its callbacks know it.
    struct Object;

  private:
    Folders folders_;
    bool ask_polkit_;
    std::vector<std::unique_ptr<Object>> objects_;
};

} // namespace tresk::service

#endif
