// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/error_record.h"

#include "common/framework.h"
#include "common/handles.h"

#include <dlfcn.h>

#include <cstdarg>
#include <mutex>
#include <utility>

namespace tresk::ctl {

namespace {

std::mutex& guard()
{
    static std::mutex mutex;
    return mutex;
}

std::optional<ErrorRecord>& kept()
{
    static std::optional<ErrorRecord> record;
    return record;
}

[[gnu::format(printf, 1, 0)]] std::string filled_in(const char* format, std::va_list arguments)
{
    char* text = nullptr;
    const int length = ::vasprintf(&text, format, arguments);
    const Malloced<char> owner(length < 0 ? nullptr : text);
    return owner ? std::string(owner.get()) : std::string();
}

void keep(int code, const std::string& text)
{
    const std::lock_guard lock(guard());
    if (!kept()) {
        kept() = ErrorRecord{code, text};
    }
}

void pass_on(int code, const char* subject, const std::string* text)
{
    using Recorder = void (*)(int, const char*, const char*, ...);
    static const auto next = reinterpret_cast<Recorder>(::dlsym(RTLD_NEXT, "tresk_set_error"));
    if (next == nullptr) {
        return;
    }
    if (text == nullptr) {
        next(code, subject, nullptr);
    } else {
        next(code, subject, "%s", text->c_str());
    }
}

} // namespace

std::optional<ErrorRecord> take_error_record()
{
    const std::lock_guard lock(guard());
    return std::exchange(kept(), std::nullopt);
}

} // namespace tresk::ctl

extern "C" __attribute__((visibility("default"))) void tresk_set_error(int code, const char* subject,
                                                                       const char* format, ...)
{
    if (format == nullptr) {
        tresk::ctl::keep(code, "");
        tresk::ctl::pass_on(code, subject, nullptr);
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = tresk::ctl::filled_in(format, arguments);
    va_end(arguments);
    tresk::ctl::keep(code, text);
    tresk::ctl::pass_on(code, subject, &text);
}
