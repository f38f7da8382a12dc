// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/report.h"

#include "tresk_extend.h"

#include <cerrno>
#include <cstring>

namespace tresk {

void report_bad_argument(Source source, const char* function)
{
    const char* text = std::strerror(EINVAL);
    log_error(source, function, "%s", text);
    record_error(TRESK_ERROR_INVALID_ARGUMENT, function, "%s", text);
    errno = EINVAL;
}

void report_unresolved_path(Source source, const char* path)
{
    const int cause = errno;
    log_error(source, path, "faile to get absolute path: %s", std::strerror(cause));
    record_error(TRESK_ERROR_SERVICE, path, "faile to get absolute path: %s", std::strerror(cause));
    errno = cause;
}

} // namespace tresk
