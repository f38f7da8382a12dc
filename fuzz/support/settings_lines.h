// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The text files of process protection, read a second time in the plainest way.
#ifndef TRESK_FUZZ_SUPPORT_SETTINGS_LINES_H
#define TRESK_FUZZ_SUPPORT_SETTINGS_LINES_H

#include <string>
#include <string_view>
#include <vector>

namespace tresk::fuzz {

/// The lines that say something, without their ends: those of at least two bytes, their end included.
std::vector<std::string> settings_lines(std::string_view content);

/// The line's text: up to a NUL, past leading blanks.
std::string said_in(const std::string& line);

bool is_comment(const std::string& text);

/// Has treskctl judge the file, which only tells what is wrong in it.
void judge(const std::string& file);

} // namespace tresk::fuzz

#endif
