// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Many edits return -1 for every failure; why is told to the framework's error record alone. This program
// listens: its own tresk_set_error() stands before the framework's, keeps what the library records during a
// call, and passes it on.
#ifndef TRESK_TRESKCTL_ERROR_RECORD_H
#define TRESK_TRESKCTL_ERROR_RECORD_H

#include <optional>
#include <string>

namespace tresk::ctl {

struct ErrorRecord {
    int code = 0;
    std::string text;
};

/// The first error that was recorded since the last call of this; nothing where there was none. A step's
/// first error is its cause, later ones its consequences.
std::optional<ErrorRecord> take_error_record();

} // namespace tresk::ctl

#endif
