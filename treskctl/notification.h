// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What all notifications of the kernel module have in common: a type, and how they end.
#ifndef TRESK_TRESKCTL_NOTIFICATION_H
#define TRESK_TRESKCTL_NOTIFICATION_H

#include "treskctl/policy/kind.h"
#include "treskctl/run.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tresk::ctl {

/// The message has room for 16 bits.
using MessageType = std::uint16_t;

/// Adds "--type", which is required: no number of the module's is a natural default.
void add_message_type(CLI::App& command, MessageType& type);

/// A notification's row, and the library's call that sends it.
struct Notice {
    std::vector<std::string> fields;
    Row row;
    LibraryCall call;
};

/// Sends the message, or shows the call where the settings want that.
void send_notification(Run& run, const Notice& notice);

} // namespace tresk::ctl

#endif
