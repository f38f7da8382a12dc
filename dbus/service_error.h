// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_DBUS_SERVICE_ERROR_H
#define TRESK_DBUS_SERVICE_ERROR_H

namespace tresk {

/// Source module of the call frame's diagnostics.
inline constexpr char kDbusSource[] = "libtresk_dbus";

/// Logs and records a call that failed on this side of the bus, or whose reply is none. Returns -1011.
int report_no_reply();

} // namespace tresk

#endif
