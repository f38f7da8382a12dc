// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/call_text.h"

#include <cstdio>

namespace tresk::ctl {

std::string c_literal(std::string_view text)
{
    std::string result = "\"";
    for (const char byte : text) {
        const auto number = static_cast<unsigned char>(byte);
        if (byte == '"' || byte == '\\') {
            result += '\\';
            result += byte;
        } else if (number < 0x20 || number == 0x7f) {
            char octal[8];
            (void)std::snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned>(number));
            result += octal;
        } else {
            result += byte;
        }
    }
    return result + '"';
}

} // namespace tresk::ctl
