// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_core: questions about paths, answered from the file system as it is.
#include "common/edge.h"
#include "common/framework.h"
#include "standin/framework/c_array.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace {

std::optional<struct stat> status_of(const char* path)
{
    struct stat status = {};
    return path != nullptr && ::stat(path, &status) == 0 ? std::optional{status} : std::nullopt;
}

bool same_file(const std::optional<struct stat>& a, const std::optional<struct stat>& b)
{
    return a && b && a->st_dev == b->st_dev && a->st_ino == b->st_ino;
}

/// Every file below @directory that is no directory itself, sorted; symbolic links are not followed.
std::vector<std::string> files_below(const char* directory)
{
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator{directory}) {
        if (!entry.is_directory() || entry.is_symlink()) {
            files.push_back(entry.path());
        }
    }
    std::ranges::sort(files);
    return files;
}

} // namespace

TRESK_EXPORT char* get_absolute_path(const char* path)
{
    if (path == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    return ::realpath(path, nullptr);
}

TRESK_EXPORT char** get_path_list_from_dir(const char* path, int* count)
{
    return tresk::at_edge<char**>(nullptr, [&]() -> char** {
        if (path == nullptr || count == nullptr || path_is_dir(path) == 0) {
            return nullptr;
        }
        const std::vector<std::string> files = files_below(path);
        char** const array = tresk::standin::copy_to_c(files);
        if (array != nullptr) {
            *count = static_cast<int>(files.size());
        }
        return array;
    });
}

TRESK_EXPORT int path_is_dir(const char* path)
{
    const auto status = status_of(path);
    return status && S_ISDIR(status->st_mode) ? 1 : 0;
}

TRESK_EXPORT int path_is_mount_bind(const char* source, const char* target)
{
    return tresk::at_edge(0, [&] {
        if (source == nullptr || target == nullptr) {
            return 0;
        }
        const auto below_source = status_of((std::string{source} + target).c_str());
        const bool bound = same_file(below_source, status_of(target)) && S_ISDIR(below_source->st_mode);
        return bound ? 1 : 0;
    });
}

TRESK_EXPORT int path_is_same(const char* a, const char* b)
{
    return same_file(status_of(a), status_of(b)) ? 1 : 0;
}

TRESK_EXPORT char* ltrim_anyway(char* text)
{
    return text == nullptr ? nullptr : text + std::strspn(text, " \t\n\v\f\r");
}
