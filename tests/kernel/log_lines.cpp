// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/kernel/log_lines.h"

#include "common/framework.h"
#include "common/handles.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace tresk::test {

namespace {

std::mutex& guard()
{
    static std::mutex mutex;
    return mutex;
}

std::vector<LogLine>& kept()
{
    static std::vector<LogLine> lines;
    return lines;
}

std::string text_or_nothing(const char* text)
{
    return text == nullptr ? "" : text;
}

void keep(LogLine line)
{
    const std::lock_guard lock(guard());
    kept().push_back(std::move(line));
}

} // namespace

std::vector<LogLine> log_lines()
{
    const std::lock_guard lock(guard());
    return kept();
}

void forget_log_lines()
{
    const std::lock_guard lock(guard());
    kept().clear();
}

std::uint32_t own_thread_id()
{
    return static_cast<std::uint32_t>(::syscall(SYS_gettid));
}

} // namespace tresk::test

using namespace tresk::test;

extern "C" void tresk_log_v2(int level, int /*one*/, int /*zero*/, const char* subject, const char* source,
                             int /*line*/, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    const int length = ::vasprintf(&text, format, arguments);
    va_end(arguments);
    const tresk::Malloced<char> owner(length < 0 ? nullptr : text);
    keep({own_thread_id(), level, text_or_nothing(subject), text_or_nothing(source),
          text_or_nothing(owner.get())});
}
