// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/status_codes.h"

#include "tresk_extend.h"

#include <algorithm>
#include <array>

namespace tresk::ctl {

namespace {

// The name is the constant's own, so that what a user reads can be searched in the header.
#define TRESKCTL_ROW(constant, meaning, cause)                                                               \
    StatusCode                                                                                               \
    {                                                                                                        \
        constant, #constant, meaning, cause                                                                  \
    }
constexpr std::array kCodes = {
    TRESKCTL_ROW(TRESK_ERROR_AUTHORISATION, "authorisation failed", Cause::Refused),
    TRESKCTL_ROW(TRESK_ERROR_CANCELLED, "authorisation cancelled", Cause::Cancelled),
    TRESKCTL_ROW(TRESK_ERROR_DISABLED, "the framework is disabled", Cause::Disabled),
    TRESKCTL_ROW(TRESK_ERROR_DATABASE, "the service's policy store failed", Cause::Policy),
    TRESKCTL_ROW(TRESK_ERROR_LABEL_READ, "a label could not be read", Cause::Status),
    TRESKCTL_ROW(TRESK_ERROR_LABEL_WRITE, "a label could not be written", Cause::Status),
    TRESKCTL_ROW(TRESK_ERROR_INVALID_ARGUMENT, "an argument was refused", Cause::Usage),
    TRESKCTL_ROW(TRESK_ERROR_LIST, "a list could not be extracted", Cause::Status),
    TRESKCTL_ROW(TRESK_ERROR_FILE_ATTRIBUTE, "a file attribute could not be read or written", Cause::Status),
    TRESKCTL_ROW(TRESK_ERROR_CONFIGURATION, "configuration error", Cause::Policy),
    TRESKCTL_ROW(TRESK_ERROR_SERVICE, "the service could not be reached, or failed for an unknown reason",
                 Cause::Unreachable),
    TRESKCTL_ROW(TRESK_ERROR_NETWORK_CONTROL, "network control error", Cause::Status),
    TRESKCTL_ROW(TRESK_ERROR_DEVICE_CONTROL, "device control error", Cause::Status),
    TRESKCTL_ROW(TRESK_ERROR_DEVICE_EXISTS, "the device entry exists already", Cause::Conflict),
    TRESKCTL_ROW(TRESK_ERROR_DEVICE_UNCHANGED, "repeated device update", Cause::Conflict),
};
#undef TRESKCTL_ROW
static_assert(kCodes.size() == TRESK_ERROR_AUTHORISATION - TRESK_ERROR_DEVICE_UNCHANGED + 1);

} // namespace

std::span<const StatusCode> status_codes()
{
    return kCodes;
}

const StatusCode* find_status_code(int code)
{
    const auto* const row = std::ranges::find(kCodes, code, &StatusCode::code);
    return row == kCodes.end() ? nullptr : row;
}

} // namespace tresk::ctl
