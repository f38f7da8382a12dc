// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Texts that mean harm to a shell, a terminal, printf, a path or an XML document, if anybody lets them.
#ifndef TRESK_TESTS_HOSTILE_HOSTILE_TEXTS_H
#define TRESK_TESTS_HOSTILE_HOSTILE_TEXTS_H

#include <string>
#include <vector>

namespace tresk::test {

/// The name of what the texts for shells would make, and of where those for paths would lead.
inline constexpr const char* kTrap = "hostile-trap";
/// What a forged line of a log or a table would begin with.
inline constexpr const char* kForged = "FORGED";

struct HostileText {
    const char* name;
    std::string text;
};

inline std::string every_byte()
{
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

inline const std::vector<HostileText>& hostile_texts()
{
    constexpr std::size_t kKibibyte = 1024;
    static const std::vector<HostileText> texts{
        {"shell",
         "a'\"; touch hostile-trap; $(touch hostile-trap) `touch hostile-trap` | touch hostile-trap & #"},
        {"shell without quotes", "x$IFS(touch${IFS}hostile-trap)>hostile-trap\\"},
        {"option", "--output=hostile-trap"},
        {"line feeds", "a\nFORGED error code=0\r\nFORGED log\n"},
        {"terminal", "\x1b]0;title\x07\x1b[2J\x1b[31mred\x9b"
                     "31m\x08\x08\x7f\xc2\x9b\xe2\x80\xae"},
        {"format", "%n%n%s%s%1000000$s%*d%hhn"},
        {"8 KiB", std::string(8 * kKibibyte, 'A')},
        {"64 KiB", "/" + std::string(64 * kKibibyte, 'B')},
        {"64 KiB of folders",
         [] {
             std::string path;
             while (path.size() < 64 * kKibibyte) {
                 path += "/..";
             }
             return path + "/hostile-trap";
         }()},
        {"no UTF-8", "/\xff\xfe\xc0\xaf\xed\xa0\x80\xf5"
                     "x"},
        {"traversal", "../../../../../../../../../hostile-trap"},
        {"traversal inside", "/etc/tresk/../hostile-trap"},
        {"markup",
         "\"/><ppro_node path='/x'>]]><!DOCTYPE a [<!ENTITY b SYSTEM 'file:///etc/passwd'>]>&b;&#0;"},
        {"every byte", every_byte()},
        {"nothing", ""},
    };
    return texts;
}

} // namespace tresk::test

#endif
