// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What becomes of texts on their way out of the library, said a second time in the plainest way.
#ifndef TRESK_FUZZ_SUPPORT_TEXT_RULES_H
#define TRESK_FUZZ_SUPPORT_TEXT_RULES_H

#include <cstddef>
#include <string>

namespace tresk::fuzz {

/// True when @text is UTF-8.
bool is_utf8(const std::string& text);

/// Of a text of UTF-8, the longest beginning of whole characters of at most @most bytes.
std::string whole_characters(const std::string& text, std::size_t most);

/// The path without its leading "/data", where it is below one of the folders that may be bound from there.
std::string past_data(const std::string& path);

} // namespace tresk::fuzz

#endif
