// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_STATUS_CODES_H
#define TRESK_TRESKCTL_STATUS_CODES_H

#include "treskctl/failure.h"

#include <span>
#include <string_view>

namespace tresk::ctl {

/// One of the framework's status codes, as people meet it.
struct StatusCode {
    int code;
    std::string_view name;
    std::string_view meaning;
    Cause cause;
};

/// The row of @code, or null for a number that is none of the framework's failures (0 included).
const StatusCode* find_status_code(int code);

/// All of them, for the manual.
std::span<const StatusCode> status_codes();

} // namespace tresk::ctl

#endif
