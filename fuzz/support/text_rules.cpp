// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzz/support/text_rules.h"

#include <glib.h>

namespace tresk::fuzz {

bool is_utf8(const std::string& text)
{
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

std::string whole_characters(const std::string& text, std::size_t most)
{
    std::size_t length = 0;
    while (length < text.size()) {
        const std::size_t end =
            length + static_cast<std::size_t>(g_utf8_skip[static_cast<unsigned char>(text[length])]);
        if (end > most) {
            break;
        }
        length = end;
    }
    return text.substr(0, length);
}

std::string past_data(const std::string& path)
{
    const bool below = path.starts_with("/data/home") || path.starts_with("/data/root");
    return below ? path.substr(5) : path;
}

} // namespace tresk::fuzz
