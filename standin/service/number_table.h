// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The switches' model is kept as text that a person can read and a test can seed: a file holds one number,
// or lines "name number".
#ifndef TRESK_STANDIN_SERVICE_NUMBER_TABLE_H
#define TRESK_STANDIN_SERVICE_NUMBER_TABLE_H

#include <filesystem>
#include <map>
#include <string>

namespace tresk::service {

/// Refuses a state file because of a line that says nothing known.
[[noreturn]] void refuse_line(const std::filesystem::path& file, const std::string& line);

using NumberTable = std::map<std::string, int>;

/// The file's lines, but for empty ones and comments, which begin with "#". A missing file is an empty table;
/// a line of another form is refused. The name may hold blanks: the number follows the last one.
NumberTable read_numbers(const std::filesystem::path& file);

/// The file's content for these numbers.
std::string text_of(const NumberTable& numbers);

void write_numbers(const std::filesystem::path& file, const NumberTable& numbers);

/// The number that the file holds, or @fallback when it is missing or empty; anything else is refused.
int read_number(const std::filesystem::path& file, int fallback);

void write_number(const std::filesystem::path& file, int number);

} // namespace tresk::service

#endif
