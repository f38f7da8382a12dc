// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/printable.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace tresk::ctl {

namespace {

/// The character at the front of a text; length 0 where the bytes there are not UTF-8.
struct Character {
    std::uint32_t code = 0;
    std::size_t length_bytes = 0;
};

/// What a first byte announces. Forms longer than needed are recognised by @smallest.
struct Form {
    unsigned char mask;
    unsigned char mark;
    std::size_t length_bytes;
    std::uint32_t smallest;
};

constexpr std::array kForms = {
    Form{0x80, 0x00, 1, 0x0},
    Form{0xe0, 0xc0, 2, 0x80},
    Form{0xf0, 0xe0, 3, 0x800},
    Form{0xf8, 0xf0, 4, 0x10000},
};

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};

constexpr Range kSurrogates = {0xd800, 0xdfff};
constexpr std::uint32_t kLastCharacter = 0x10ffff;

constexpr std::array kUnsafe = {
    Range{0x00, 0x1f},     // C0 controls
    Range{0x7f, 0x9f},     // delete and C1 controls
    Range{0x061c, 0x061c}, // Arabic letter mark
    Range{0x200e, 0x200f}, // left-to-right and right-to-left mark
    Range{0x2028, 0x202e}, // line and paragraph separator, embeddings and overrides
    Range{0x2066, 0x2069}, // isolates
};

bool holds(const Range& range, std::uint32_t code)
{
    return code >= range.first && code <= range.last;
}

unsigned char byte_at(std::string_view text, std::size_t index)
{
    return static_cast<unsigned char>(text[index]);
}

Character decode(std::string_view text, const Form& form)
{
    constexpr unsigned char kContinuationMask = 0xc0;
    constexpr unsigned char kContinuation = 0x80;
    constexpr unsigned kContinuationBits = 6;
    std::uint32_t code = byte_at(text, 0) & static_cast<unsigned char>(~form.mask);
    for (std::size_t index = 1; index < form.length_bytes; ++index) {
        if (index >= text.size() || (byte_at(text, index) & kContinuationMask) != kContinuation) {
            return {};
        }
        code = code << kContinuationBits |
               (byte_at(text, index) & static_cast<unsigned char>(~kContinuationMask));
    }
    const bool valid = code >= form.smallest && code <= kLastCharacter && !holds(kSurrogates, code);
    return valid ? Character{code, form.length_bytes} : Character{};
}

Character first_character(std::string_view text)
{
    const auto* const form = std::ranges::find_if(
        kForms, [&](const Form& candidate) { return (byte_at(text, 0) & candidate.mask) == candidate.mark; });
    return form == kForms.end() ? Character{} : decode(text, *form);
}

bool is_safe(const Character& character)
{
    return character.length_bytes != 0 &&
           std::ranges::none_of(kUnsafe, [&](const Range& range) { return holds(range, character.code); });
}

/// The length of what stands for itself at the front, wherever it is shown: most texts as a whole.
std::size_t plain_length(std::string_view text)
{
    const auto* const end = std::ranges::find_if(
        text, [](char letter) { return letter < ' ' || letter > '~' || letter == '\\'; });
    return static_cast<std::size_t>(end - text.begin());
}

/// Appends and takes away what stands for itself at the front of @text.
void move_plain(std::string_view& text, std::string& result)
{
    const std::size_t length = plain_length(text);
    result += text.substr(0, length);
    text.remove_prefix(length);
}

/// The byte order mark and two that are no characters.
constexpr std::array kRefusedByYaml = {Range{0xfeff, 0xfeff}, Range{0xfffe, 0xffff}};

/// "\\xNN", "\\uNNNN" or "\\UNNNNNNNN", the shortest that holds the code.
std::string escaped_for_yaml(std::uint32_t code)
{
    struct Escape {
        std::uint32_t last;
        char letter;
        int digits;
    };

    constexpr std::array escapes = {Escape{0xff, 'x', 2}, Escape{0xffff, 'u', 4},
                                    Escape{kLastCharacter, 'U', 8}};
    constexpr std::string_view hexadecimal_digits = "0123456789abcdef";
    constexpr int bits_per_digit = 4;
    const auto* const escape =
        std::ranges::find_if(escapes, [code](const Escape& candidate) { return code <= candidate.last; });
    std::string text = {'\\', escape->letter};
    for (int digit = escape->digits; digit-- > 0;) {
        text += hexadecimal_digits[(code >> (digit * bits_per_digit)) & 0xf];
    }
    return text;
}

std::string escaped(std::string_view bytes)
{
    if (bytes == "\n") {
        return "\\n";
    }
    if (bytes == "\t") {
        return "\\t";
    }
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        text += "\\x" + hexadecimal(bytes.substr(index, 1));
    }
    return text;
}

} // namespace

std::string printable(std::string_view text)
{
    std::string result;
    for (move_plain(text, result); !text.empty(); move_plain(text, result)) {
        const Character character = first_character(text);
        const std::string_view bytes = text.substr(0, std::max<std::size_t>(character.length_bytes, 1));
        if (bytes == "\\") {
            result += "\\\\";
        } else {
            result += is_safe(character) ? std::string(bytes) : escaped(bytes);
        }
        text.remove_prefix(bytes.size());
    }
    return result;
}

std::string printable_json(std::string_view document)
{
    std::string result;
    result.reserve(document.size());
    for (move_plain(document, result); !document.empty(); move_plain(document, result)) {
        const Character character = first_character(document);
        const std::string_view bytes = document.substr(0, std::max<std::size_t>(character.length_bytes, 1));
        // A line feed is the document's own: in its texts there is none.
        if (bytes == "\n" || is_safe(character)) {
            result += bytes;
        } else {
            std::array<char, sizeof "\\u0000"> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", character.code & 0xffff);
            result += escape.data();
        }
        document.remove_prefix(bytes.size());
    }
    return result;
}

std::string quoted_for_yaml(std::string_view text)
{
    std::string result = "\"";
    while (!text.empty()) {
        const Character character = first_character(text);
        const std::string_view bytes = text.substr(0, std::max<std::size_t>(character.length_bytes, 1));
        const bool refused = std::ranges::any_of(
            kRefusedByYaml, [&](const Range& range) { return holds(range, character.code); });
        if (bytes == "\\" || bytes == "\"") {
            result += "\\" + std::string(bytes);
        } else {
            result += is_safe(character) && !refused ? std::string(bytes) : escaped_for_yaml(character.code);
        }
        text.remove_prefix(bytes.size());
    }
    return result + "\"";
}

bool is_utf8(std::string_view text)
{
    for (text.remove_prefix(plain_length(text)); !text.empty(); text.remove_prefix(plain_length(text))) {
        const std::size_t length_bytes = first_character(text).length_bytes;
        if (length_bytes == 0) {
            return false;
        }
        text.remove_prefix(length_bytes);
    }
    return true;
}

std::size_t length_characters(std::string_view text)
{
    constexpr unsigned char kContinuationMask = 0xc0;
    constexpr unsigned char kContinuation = 0x80;
    return static_cast<std::size_t>(std::ranges::count_if(text, [](char byte) {
        return (static_cast<unsigned char>(byte) & kContinuationMask) != kContinuation;
    }));
}

std::string hexadecimal(std::string_view bytes)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    constexpr unsigned kDigitBits = 4;
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += kDigits[value >> kDigitBits];
        text += kDigits[value & (kDigits.size() - 1)];
    }
    return text;
}

} // namespace tresk::ctl
