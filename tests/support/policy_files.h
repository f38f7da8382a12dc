// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Whole files, read and written by tests.
#ifndef TRESK_TESTS_SUPPORT_POLICY_FILES_H
#define TRESK_TESTS_SUPPORT_POLICY_FILES_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tresk::test {

/// The file's bytes; nothing where there is no such file or it cannot be read.
std::optional<std::string> read_file(const std::filesystem::path& file);

/// Replaces the file's content, making missing folders; throws std::system_error.
void write_file(const std::filesystem::path& file, std::string_view content);

} // namespace tresk::test

#endif
