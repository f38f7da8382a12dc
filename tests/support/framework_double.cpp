// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/framework_double.h"

#include "common/framework.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <ostream>

namespace tresk::test {

namespace {

constexpr int kErrnoAfterLogging = EDOM; // nothing in the library fails with it

std::mutex& recording()
{
    static std::mutex mutex;
    return mutex;
}

char* absolute_or_below_working_directory(const char* path)
{
    if (path == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    const std::string absolute = *path == '/' ? path : std::filesystem::current_path() / path;
    return ::strdup(absolute.c_str());
}

std::optional<std::string> text_or_null(const char* text)
{
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

[[gnu::format(printf, 1, 0)]] std::string filled_in(const char* format, std::va_list arguments)
{
    char* text = nullptr;
    const int length = ::vasprintf(&text, format, arguments);
    if (length < 0) {
        return "(cannot be formatted)";
    }
    std::string result(text, static_cast<std::size_t>(length));
    ::free(text);
    return result;
}

void record(LogLine line)
{
    const std::lock_guard lock(recording());
    framework().logs.push_back(std::move(line));
    framework().order.emplace_back("log");
    errno = kErrnoAfterLogging;
}

void record(ErrorRecord error)
{
    const std::lock_guard lock(recording());
    framework().errors.push_back(std::move(error));
    framework().order.emplace_back("error");
    errno = kErrnoAfterLogging;
}

std::string shown(const char* text)
{
    return text == nullptr ? "(null)" : text;
}

[[maybe_unused]] std::string shown(int number)
{
    return std::to_string(number);
}

/// Records a scene function's call and gives its scripted answer.
template <class First, class... Rest>
int scene(const char* function, First first, Rest... rest)
{
    std::string argument = shown(first);
    ((argument += " " + shown(rest)), ...);
    const std::lock_guard lock(recording());
    FrameworkDouble& double_ = framework();
    double_.scene_calls.push_back({function, argument});
    double_.order.push_back(std::string("scene ") + function);
    const auto scripted = double_.scene_results.find(function);
    return scripted == double_.scene_results.end() ? 0 : scripted->second;
}

char** malloced_list(const std::vector<std::string>& paths)
{
    if (paths.empty()) {
        return nullptr;
    }
    auto** list = static_cast<char**>(std::calloc(paths.size(), sizeof(char*)));
    for (std::size_t i = 0; i < paths.size(); ++i) {
        list[i] = ::strdup(paths[i].c_str());
    }
    return list;
}

std::string quoted(const std::optional<std::string>& text)
{
    return text ? '"' + *text + '"' : "null";
}

} // namespace

FrameworkDouble::FrameworkDouble()
    : get_absolute_path(absolute_or_below_working_directory),
      path_is_mount_bind([](const char*, const char*) { return 0; }),
      path_is_same([](const char*, const char*) { return 0; }), path_is_dir([](const char*) { return 0; }),
      paths_in_dir([](const char*) { return std::vector<std::string>(); }),
      version_get([](int, char**) { return 0; }),
      sm3_file_path([](const char*, std::size_t, unsigned char*) { return 0; })
{
}

void FrameworkDouble::note(const std::string& text)
{
    const std::lock_guard lock(recording());
    order.push_back(text);
}

void FrameworkDouble::reset()
{
    const std::lock_guard lock(recording());
    *this = FrameworkDouble();
}

FrameworkDouble& framework()
{
    static FrameworkDouble instance;
    return instance;
}

std::ostream& operator<<(std::ostream& out, const LogLine& line)
{
    return out << (line.old_call ? "old log " : "log ") << line.level << ' ' << quoted(line.subject) << ' '
               << line.source << ':' << line.line << ' ' << quoted(line.text);
}

std::ostream& operator<<(std::ostream& out, const ErrorRecord& record)
{
    return out << "error " << record.code << ' ' << quoted(record.subject) << ' ' << quoted(record.text);
}

std::ostream& operator<<(std::ostream& out, const SceneCall& call)
{
    return out << call.function << '(' << call.argument << ')';
}

} // namespace tresk::test

using namespace tresk::test;

extern "C" {

void tresk_log_v2(int level, int one, int zero, const char* subject, const char* source, int line,
                  const char* format, ...)
{
    EXPECT_EQ(one, 1);
    EXPECT_EQ(zero, 0);
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = filled_in(format, arguments);
    va_end(arguments);
    record(LogLine{false, level, text_or_null(subject), source, line, format, std::move(text)});
}

void tresk_log(int level, int zero, const char* subject, const char* format, ...)
{
    EXPECT_EQ(zero, 0);
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = filled_in(format, arguments);
    va_end(arguments);
    record(LogLine{true, level, text_or_null(subject), "", 0, format, std::move(text)});
}

void tresk_set_error(int code, const char* subject, const char* format, ...)
{
    std::optional<std::string> text;
    std::va_list arguments;
    va_start(arguments, format);
    if (format != nullptr) {
        text = filled_in(format, arguments);
    }
    va_end(arguments);
    record(ErrorRecord{code, text_or_null(subject), text_or_null(format), std::move(text)});
}

int tresk_is_disabled(void)
{
    return framework().disabled;
}

int tresk_get_func_status(int function_index)
{
    const auto scripted = framework().func_status.find(function_index);
    return scripted == framework().func_status.end() ? 0 : scripted->second;
}

int tresk_version_get(int kind, char** version)
{
    return framework().version_get(kind, version);
}

int tresk_sm3_file_path(const char* text, std::size_t length, unsigned char digest[32])
{
    return framework().sm3_file_path(text, length, digest);
}

char* get_absolute_path(const char* path)
{
    return framework().get_absolute_path(path);
}

char** get_path_list_from_dir(const char* path, int* count)
{
    const std::vector<std::string> paths = framework().paths_in_dir(path);
    *count = static_cast<int>(paths.size());
    return malloced_list(paths);
}

int path_is_dir(const char* path)
{
    return framework().path_is_dir(path);
}

int path_is_mount_bind(const char* source, const char* target)
{
    return framework().path_is_mount_bind(source, target);
}

int path_is_same(const char* a, const char* b)
{
    return framework().path_is_same(a, b);
}

char* ltrim_anyway(char* text)
{
    return text + std::strspn(text, " \t\r\n\v\f");
}

// Scene functions: one line each, in the order of common/framework.h.
// clang-format off
int tresk_scene_netctl_add_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_netctl_remove_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_netctl_add_by_package(const char* package) { return scene(__func__, package); }
int tresk_scene_netctl_remove_by_package(const char* package) { return scene(__func__, package); }
int tresk_scene_pblkctl_add_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_pblkctl_remove_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_taskctl_add_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_taskctl_remove_by_path(const char* path) { return scene(__func__, path); }

// clang-format on

} // extern "C"
