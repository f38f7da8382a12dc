// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Bounded texts. Records are cut by bytes; what goes to the service is cut by whole UTF-8 characters.
#ifndef TRESK_COMMON_TEXT_H
#define TRESK_COMMON_TEXT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tresk {

namespace detail {
void copy_into(char* field, std::size_t field_bytes, std::string_view text);
}

/// Zero-fills @field and copies as many bytes of @text as leave room for the terminator.
template <std::size_t N>
void copy_bytes(char (&field)[N], std::string_view text)
{
    detail::copy_into(field, N, text);
}

/// True when @text and its terminator fit a field of @field_bytes.
constexpr bool fits(std::string_view text, std::size_t field_bytes) noexcept
{
    return text.size() < field_bytes;
}

/// The longest beginning of @text of at most @max_bytes that ends between two UTF-8 characters.
std::string_view cut_to_characters(std::string_view text, std::size_t max_bytes) noexcept;

/// True when @text can travel as a D-Bus string: valid UTF-8 without NUL.
bool is_dbus_text(std::string_view text) noexcept;

/// The text's leading base-10 number as strtol() reads it, cut to 32 bits; 0 where there is none.
std::int32_t to_int32(std::string_view text);

/// Writes two lowercase hexadecimal digits a byte to @out, without a terminator.
template <std::size_t N>
void write_hex(const std::array<unsigned char, N>& bytes, char* out) noexcept
{
    constexpr char digits[] = "0123456789abcdef";
    for (const unsigned char byte : bytes) {
        *out++ = digits[byte >> 4U];
        *out++ = digits[byte & 0xFU];
    }
}

} // namespace tresk

#endif
