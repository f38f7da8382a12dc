// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What all notifications of the kernel module have in common: a type, and how they end.
#ifndef TRESK_TRESKCTL_NOTIFICATION_H
#define TRESK_TRESKCTL_NOTIFICATION_H

#include "treskctl/run.h"

#include <cstdint>
#include <functional>

namespace tresk::ctl {

/// The message has room for 16 bits.
using MessageType = std::uint16_t;

/// Adds "--type", which is required: no number of the module's is a natural default.
void add_message_type(CLI::App& command, MessageType& type);

/// Sends with @send, one of the library's functions, and adds @row to @results when the message has gone.
void send_notification(Run& run, Table& results, Row row, const std::function<int()>& send);

} // namespace tresk::ctl

#endif
