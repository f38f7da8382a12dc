// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/audit.h"

#include "standin/service/glib_handles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>

namespace tresk::service {

namespace {

using DateTime = Handle<GDateTime, g_date_time_unref>;

std::string now()
{
    const DateTime time(g_date_time_new_now_utc());
    const GlibText text(g_date_time_format(time.get(), "%Y-%m-%dT%H:%M:%S.%fZ"));
    return text.get();
}

bool append(const std::filesystem::path& file, const std::string& line)
{
    const int log = ::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    const ssize_t written = log < 0 ? -1 : ::write(log, line.data(), line.size());
    const int saved = errno;
    if (log >= 0) {
        ::close(log);
    }
    errno = saved;
    return written == static_cast<ssize_t>(line.size());
}

} // namespace

void append_audit(const std::filesystem::path& log, const AuditEntry& entry)
{
    const std::string line = now() + " " + entry.sender + " " + entry.method + " " + entry.arguments +
                             " -> " + entry.answer + "\n";
    if (!append(log, line)) {
        std::cerr << "tresk-standin-service: " << log.string() << ": " << std::strerror(errno) << "\n";
    }
}

} // namespace tresk::service
