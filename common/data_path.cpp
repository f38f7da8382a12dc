// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/data_path.h"

#include "common/framework.h"
#include "common/text.h"

#include <cerrno>
#include <cstring>
#include <string_view>

namespace tresk {

namespace {

constexpr std::string_view kData = "/data";
constexpr std::string_view kBoundFromData[] = {"/home", "/root"};

bool starts_below_data(std::string_view path)
{
    if (!path.starts_with(kData)) {
        return false;
    }
    path.remove_prefix(kData.size());
    for (const std::string_view bound : kBoundFromData) {
        if (path.starts_with(bound)) {
            return true;
        }
    }
    return false;
}

bool is_bound_from_data(std::string_view path)
{
    for (const std::string_view bound : kBoundFromData) {
        if (path.starts_with(bound) && path_is_mount_bind(kData.data(), bound.data()) == 1) {
            return true;
        }
    }
    return false;
}

} // namespace

Malloced<char> absolute_path(const char* path)
{
    if (path == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    return Malloced<char>(get_absolute_path(path));
}

const char* without_data(const char* path)
{
    if (!starts_below_data(path)) {
        return path;
    }
    const char* rest = path + kData.size();
    return path_is_same(path, rest) == 1 ? rest : path;
}

void shorten_data_path(char* path, std::size_t kept)
{
    const char* rest = without_data(path);
    if (rest == path) {
        return;
    }
    const std::size_t length = cut_to_characters(rest, kept).size();
    std::memmove(path, rest, length);
    path[length] = '\0';
}

Malloced<char> stored_path(Source source, const char* path, std::size_t kept)
{
    Malloced<char> stored = absolute_path(path);
    if (!stored) {
        report_unresolved_path(source, path);
        return nullptr;
    }
    shorten_data_path(stored.get(), kept);
    return stored;
}

std::string lookup_key(const char* path)
{
    std::string key(is_bound_from_data(path) ? kData : std::string_view());
    key += path;
    if (key.size() > kLookupKeyKept) {
        key.resize(kLookupKeyKept);
    }
    return key;
}

} // namespace tresk
