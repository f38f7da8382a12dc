// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/policy_path.h"

#include "standin/service/method.h"

#include <glib.h>
#include <libxml/parserInternals.h>
#include <openssl/evp.h>

#include <array>
#include <new>
#include <string_view>
#include <system_error>

namespace tresk::service {

namespace {

constexpr std::size_t kPathLimitBytes = 4096;
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

void require_path(bool condition, const char* complaint)
{
    if (!condition) {
        throw Refusal(error_name::kInvalidArgument, complaint);
    }
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

std::string policy_path(const std::string& path)
{
    require_path(path.starts_with('/'), "the path is not absolute");
    require_path(path.size() < kPathLimitBytes, "the path is too long");
    require_storable(path);
    std::string form = lookup_form(path);
    require_path(form.size() < kPathLimitBytes, "the path is too long");
    return form;
}

void require_storable(const std::string& text)
{
    if (!is_storable(text)) {
        throw Refusal(error_name::kInvalidArgument, "a text holds characters that a policy cannot hold");
    }
}

std::string path_hash(const std::string& path)
{
    std::array<unsigned char, 32> digest{};
    if (EVP_Digest(path.data(), path.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
        throw std::bad_alloc();
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : digest) {
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

} // namespace tresk::service
