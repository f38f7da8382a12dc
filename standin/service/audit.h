// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_STANDIN_SERVICE_AUDIT_H
#define TRESK_STANDIN_SERVICE_AUDIT_H

#include <filesystem>
#include <string>

namespace tresk::service {

/// What the audit log tells of one call; no member holds a line end.
struct AuditEntry {
    std::string sender;
    std::string method;
    std::string arguments;
    std::string answer;
};

/// Appends "TIME SENDER METHOD ARGUMENTS -> ANSWER" in one write, so that a reader of the log sees whole
/// lines. A log that cannot be written is told on standard error and stops nothing.
void append_audit(const std::filesystem::path& log, const AuditEntry& entry);

} // namespace tresk::service

#endif
