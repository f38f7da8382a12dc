// SPDX-License-Identifier: LGPL-2.1-or-later
//
// How a failure is told: one diagnostic in the framework's log, and, where a function reports through the
// framework, one error record that a client can read back. Texts from outside (the service's, a file's, a
// caller's) are always arguments, never a format.
#ifndef TRESK_COMMON_REPORT_H
#define TRESK_COMMON_REPORT_H

#include "common/framework.h"

namespace tresk {

inline constexpr int kLogError = 3;

/// Source module of a diagnostic and the line that wrote it. Converts from the module's name alone.
struct Source {
    const char* name;
    int line;

    // NOLINTNEXTLINE(google-explicit-constructor,hicpp-explicit-conversions): the line is the caller's.
    constexpr Source(const char* module, int at = __builtin_LINE()) : name(module), line(at) {}
};

// The formats below are literals at every call, which the compiler cannot see through a template.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"

/// Writes one diagnostic at @level. @subject may be null.
template <class... Args>
void log_at(int level, Source source, const char* subject, const char* format, Args... args)
{
    tresk_log_v2(level, 1, 0, subject, source.name, source.line, format, args...);
}

/// Writes one diagnostic at the level of failures.
template <class... Args>
void log_error(Source source, const char* subject, const char* format, Args... args)
{
    log_at(kLogError, source, subject, format, args...);
}

/// Writes the error record. @subject and @format may be null.
template <class... Args>
void record_error(int code, const char* subject, const char* format, Args... args)
{
    tresk_set_error(code, subject, format, args...);
}

#pragma GCC diagnostic pop

/// A bad argument of @function: errno EINVAL, logged and recorded as -1007 with the function as subject.
void report_bad_argument(Source source, const char* function);

/// A path that cannot be made absolute, errno telling why: logged and recorded as -1011. @path may be null.
void report_unresolved_path(Source source, const char* path);

} // namespace tresk

#endif
