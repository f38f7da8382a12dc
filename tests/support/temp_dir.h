// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A folder of a test's own. Files below it are read and written by policy_files.h.
#ifndef TRESK_TESTS_SUPPORT_TEMP_DIR_H
#define TRESK_TESTS_SUPPORT_TEMP_DIR_H

#include "tests/support/policy_files.h"

#include <filesystem>
#include <string_view>

namespace tresk::test {

/// A new empty folder below the system's temporary folder, removed with all its content at the end.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    TempDir(TempDir&&) = delete;
    TempDir& operator=(TempDir&&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

    [[nodiscard]] std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

} // namespace tresk::test

#endif
