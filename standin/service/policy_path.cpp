// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/policy_path.h"

#include "standin/service/argument_check.h"

#include <glib.h>
#include <libxml/parserInternals.h>

#include <array>
#include <string_view>
#include <system_error>

namespace tresk::service {

namespace {

constexpr std::size_t kTextLimitBytes = 4096;
constexpr std::string_view kDataFolder = "/data";
constexpr std::array<std::string_view, 2> kBoundFolders{"/home", "/root"};

/// Whether @folder shows the folder of the same name below "/data".
bool is_bound(std::string_view folder, const std::filesystem::path& root)
{
    std::error_code failure;
    const std::filesystem::path shown = root / folder.substr(1);
    const std::filesystem::path source = root / kDataFolder.substr(1) / folder.substr(1);
    return std::filesystem::equivalent(source, shown, failure) && !failure;
}

bool is_storable(const std::string& text)
{
    for (const char* at = text.c_str(); *at != '\0'; at = g_utf8_find_next_char(at, nullptr)) {
        const gunichar character = g_utf8_get_char(at);
        if (!IS_CHAR(character)) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string lookup_form(const std::string& path, const std::filesystem::path& root)
{
    for (const std::string_view folder : kBoundFolders) {
        if (path.starts_with(folder) && is_bound(folder, root)) {
            return std::string(kDataFolder) + path;
        }
    }
    return path;
}

void require_path(const std::string& path)
{
    require(path.starts_with('/'), "the path is not absolute");
    require(path.size() < kTextLimitBytes, "the path is too long");
    require_storable(path);
}

std::string policy_path(const std::string& path)
{
    require_path(path);
    std::string form = lookup_form(path);
    require(form.size() < kTextLimitBytes, "the path is too long");
    return form;
}

void require_storable(const std::string& text)
{
    require(is_storable(text), "a text holds characters that a policy cannot hold");
}

void require_field(const std::string& text)
{
    require(text.size() < kTextLimitBytes, "a text is too long");
    require_storable(text);
}

} // namespace tresk::service
