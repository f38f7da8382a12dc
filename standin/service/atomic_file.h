// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Whole-file reading and writing. A reader of a file written here sees the old content or the new one,
// never a part and never nothing, also after a crash.
#ifndef TRESK_STANDIN_SERVICE_ATOMIC_FILE_H
#define TRESK_STANDIN_SERVICE_ATOMIC_FILE_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tresk::service {

/// The file's bytes, or nothing when there is no such file. Throws std::system_error on any other failure.
std::optional<std::string> read_whole(const std::filesystem::path& file);

/// Replaces the file's content, mode 0644; makes missing folders. Throws std::system_error, the file
/// untouched.
void write_whole(const std::filesystem::path& file, std::string_view content);

/// Files and their new contents.
using FileContents = std::vector<std::pair<std::filesystem::path, std::string>>;

/// write_whole() of each. A disk that is full or fails while they are written leaves all of them untouched; a
/// crash while they are put in place leaves some old and some new.
void write_all_whole(const FileContents& files);

} // namespace tresk::service

#endif
