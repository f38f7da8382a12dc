// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The refusal of values that no method can work with.
#ifndef TRESK_STANDIN_SERVICE_ARGUMENT_CHECK_H
#define TRESK_STANDIN_SERVICE_ARGUMENT_CHECK_H

#include "standin/service/method.h"

#include <cstdint>
#include <string>

namespace tresk::service {

/// Refuses the call as a bad argument unless @condition holds.
inline void require(bool condition, const std::string& complaint)
{
    if (!condition) {
        throw Refusal(error_name::kInvalidArgument, complaint);
    }
}

/// @value, which has to be one of 0 to @last; @what names it in the complaint.
inline int require_within(std::int64_t value, int last, const char* what)
{
    require(value >= 0 && value <= last, std::string(what) + " is out of range (0 to " +
                                             std::to_string(last) + "): " + std::to_string(value));
    return static_cast<int>(value);
}

} // namespace tresk::service

#endif
