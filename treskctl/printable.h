// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Foreign text on its way to a terminal. Paths and names may hold any byte: raw control characters could
// move the cursor, and direction marks reorder a line, so that a reader is shown another path than the one
// that is meant.
#ifndef TRESK_TRESKCTL_PRINTABLE_H
#define TRESK_TRESKCTL_PRINTABLE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace tresk::ctl {

/// @text on one line, unambiguously: backslash \\, line feed \n, tab \t, and \xNN for each byte of every
/// other control character, direction mark, line separator and byte that is not UTF-8.
std::string printable(std::string_view text);

/// @document, a whole one in JSON and in UTF-8, with the same content: what a terminal would obey beyond the
/// control characters that JSON forbids anyway stands in its texts alone, and is written as \\uNNNN there.
std::string printable_json(std::string_view document);

/// Whether @text is UTF-8 throughout (no surrogates, no overlong forms).
bool is_utf8(std::string_view text);

/// The number of characters in @text, which is UTF-8.
std::size_t length_characters(std::string_view text);

/// @text, which is UTF-8, as YAML writes it in double quotes. What would not be printable, what some readers
/// of YAML refuse and what others take for line ends is written as escapes.
std::string quoted_for_yaml(std::string_view text);

/// Two lowercase digits for each byte.
std::string hexadecimal(std::string_view bytes);

} // namespace tresk::ctl

#endif
