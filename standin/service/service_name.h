// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_STANDIN_SERVICE_SERVICE_NAME_H
#define TRESK_STANDIN_SERVICE_SERVICE_NAME_H

#include "standin/service/glib_handles.h"

namespace tresk::service {

/// A connection to the system bus that does not end the process with the bus. Throws std::runtime_error.
Connection connect_to_system_bus();

/// Owns "com.meron.tresk" from the return on, for as long as the connection lives. Throws
/// std::runtime_error when the bus does not grant it, also when another service owns it.
void own_service_name(GDBusConnection* connection);

} // namespace tresk::service

#endif
