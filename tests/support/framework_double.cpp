// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/framework_double.h"

#include "common/framework.h"
#include "common/handles.h"

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
    const Malloced<char> owner(text);
    return {text, static_cast<std::size_t>(length)};
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

std::string shown(int number)
{
    return std::to_string(number);
}

int answer_of(const std::string& function, const std::string& argument)
{
    const std::map<std::string, int>& results = framework().scene_results;
    for (const std::string& key : {function + " " + argument, function}) {
        const auto scripted = results.find(key);
        if (scripted != results.end()) {
            return scripted->second;
        }
    }
    return 0;
}

/// Records a scene function's call and gives its scripted answer.
template <class First, class... Rest>
int scene(const char* function, First first, Rest... rest)
{
    std::string argument = shown(first);
    ((argument += " " + shown(rest)), ...);
    const std::lock_guard lock(recording());
    framework().scene_calls.push_back({function, argument});
    framework().order.push_back(std::string("scene ") + function);
    return answer_of(function, argument);
}

std::string shown_list(char** paths, int count)
{
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += shown(paths[i]) + " ";
    }
    return text + std::to_string(count);
}

int scene_list(const char* function, char** paths, int count)
{
    return scene(function, shown_list(paths, count).c_str());
}

template <class Record>
int scene_records(const char* function, const Record* records, int count)
{
    {
        const std::lock_guard lock(recording());
        framework().scene_bytes.emplace_back(reinterpret_cast<const char*>(records),
                                             sizeof(Record) * static_cast<std::size_t>(count));
    }
    return scene(function, count);
}

/// A getter's call stands in the order of events.
template <class Get>
auto scene_get(const char* function, const Get& get, int* count)
{
    framework().note(std::string("scene ") + function);
    return get(count);
}

std::string quoted(const std::optional<std::string>& text)
{
    return text ? '"' + *text + '"' : "null";
}

} // namespace

char** malloced_list(const std::vector<std::string>& texts)
{
    if (texts.empty()) {
        return nullptr;
    }
    auto** list = static_cast<char**>(std::calloc(texts.size(), sizeof(char*)));
    for (std::size_t i = 0; list != nullptr && i < texts.size(); ++i) {
        list[i] = ::strdup(texts[i].c_str());
        if (list[i] == nullptr) { // a list is whole, or there is none
            std::for_each_n(list, i, std::free);
            std::free(list);
            return nullptr;
        }
    }
    return list;
}

FrameworkDouble::FrameworkDouble()
    : protected_files([](int*) { return nullptr; }), device_types([](int*) { return nullptr; }),
      device_pvids([](int*) { return nullptr; }), wireless_networks([](int*) { return nullptr; }),
      get_absolute_path(absolute_or_below_working_directory),
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
int tresk_scene_filectl_add_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_filectl_remove_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_filectl_multi_add_by_path(char** paths, int count) { return scene_list(__func__, paths, count); }
int tresk_scene_filectl_multi_remove_by_path(char** paths, int count) { return scene_list(__func__, paths, count); }
char** tresk_scene_filectl_get_policy(int* count) { return scene_get(__func__, framework().protected_files, count); }
int tresk_scene_admctl_add_path_for_deny_all_user(const char* path) { return scene(__func__, path); }
int tresk_scene_admctl_remove_path_from_deny_all_user(const char* path) { return scene(__func__, path); }
int tresk_scene_admctl_add_path_for_user(int role, const char* path) { return scene(__func__, role, path); }
int tresk_scene_admctl_remove_path_from_user(int role, const char* path) { return scene(__func__, role, path); }
int tresk_scene_exectl_xattr_set(const char* path) { return scene(__func__, path); }
int tresk_scene_exectl_xattr_multi_set(char** paths, int count) { return scene_list(__func__, paths, count); }
int tresk_scene_exectl_wlist_add(const char* path) { return scene(__func__, path); }
int tresk_scene_exectl_wlist_delete(const char* path) { return scene(__func__, path); }
int tresk_scene_exectl_wlist_multi_add(char** paths, int count) { return scene_list(__func__, paths, count); }
int tresk_scene_exectl_wlist_multi_delete(char** paths, int count) { return scene_list(__func__, paths, count); }
int tresk_scene_kmodctl_add_by_name(const char* name) { return scene(__func__, name); }
int tresk_scene_kmodctl_remove_by_name(const char* name) { return scene(__func__, name); }
int tresk_scene_netctl_add_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_netctl_remove_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_netctl_add_by_package(const char* package) { return scene(__func__, package); }
int tresk_scene_netctl_remove_by_package(const char* package) { return scene(__func__, package); }
int tresk_scene_pblkctl_add_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_pblkctl_remove_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_taskctl_add_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_taskctl_remove_by_path(const char* path) { return scene(__func__, path); }
int tresk_scene_add_devctl_by_type(type_record* records, int count) { return scene_records(__func__, records, count); }
int tresk_scene_remove_devctl_by_type(type_record* records, int count) { return scene_records(__func__, records, count); }
int tresk_scene_add_devctl_by_pvid(pvid_record* records, int count) { return scene_records(__func__, records, count); }
int tresk_scene_remove_devctl_by_pvid(pvid_record* records, int count) { return scene_records(__func__, records, count); }
int tresk_scene_add_devctl_by_netcard_name(netcard_record* records, int count) { return scene_records(__func__, records, count); }
int tresk_scene_remove_devctl_by_netcard_name(netcard_record* records, int count) { return scene_records(__func__, records, count); }
type_record* tresk_scene_get_devctl_all_types(int* count) { return scene_get(__func__, framework().device_types, count); }
pvid_record* tresk_scene_get_devctl_all_pvid(int* count) { return scene_get(__func__, framework().device_pvids, count); }
netcard_record* tresk_scene_get_devctl_netcard(int* count) { return scene_get(__func__, framework().wireless_networks, count); }

// clang-format on

} // extern "C"
