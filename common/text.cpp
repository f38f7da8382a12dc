// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/text.h"

#include "secure_copy.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

namespace tresk {

namespace detail {

void copy_into(char* field, std::size_t field_bytes, std::string_view text)
{
    std::memset(field, 0, field_bytes);
    const std::size_t length = std::min(text.size(), field_bytes - 1);
    if (length == 0) {
        return; // a bounded copy of nothing is refused as an error
    }
    // The exact length: a count beyond the source object is refused, however large the field is.
    (void)strncpy_s(field, field_bytes, text.data(), length);
}

} // namespace detail

namespace {

constexpr std::size_t kLongestCharacter = 4;

constexpr bool continues_character(char byte) noexcept
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Nearly every number of a policy: a few digits and nothing else.
std::optional<std::int32_t> plain_number(std::string_view text) noexcept
{
    constexpr std::size_t kDigitsThatFit = 9;
    if (text.empty() || text.size() > kDigitsThatFit) {
        return std::nullopt;
    }
    std::int32_t number = 0;
    for (const char character : text) {
        if (character < '0' || character > '9') {
            return std::nullopt;
        }
        number = number * 10 + (character - '0');
    }
    return number;
}

} // namespace

std::string_view cut_to_characters(std::string_view text, std::size_t max_bytes) noexcept
{
    if (text.size() <= max_bytes) {
        return text;
    }
    std::size_t end = max_bytes;
    while (end > 0 && max_bytes - end < kLongestCharacter && continues_character(text[end])) {
        --end;
    }
    // No lead byte in reach: not UTF-8, so there is no character to spare.
    return text.substr(0, continues_character(text[end]) ? max_bytes : end);
}

bool is_dbus_text(std::string_view text) noexcept
{
    return g_utf8_validate_len(text.data(), text.size(), nullptr) != FALSE;
}

std::int32_t to_int32(std::string_view text)
{
    if (const std::optional<std::int32_t> number = plain_number(text)) {
        return *number;
    }
    const std::string terminated(text);
    return static_cast<std::int32_t>(std::strtol(terminated.c_str(), nullptr, 10));
}

} // namespace tresk
