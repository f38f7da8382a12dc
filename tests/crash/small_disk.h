// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A folder of a test's own on a small file system in memory, where mounting is permitted; else an ordinary
// one.
#ifndef TRESK_TESTS_CRASH_SMALL_DISK_H
#define TRESK_TESTS_CRASH_SMALL_DISK_H

#include "tests/support/temp_dir.h"

namespace tresk::test {

class SmallDisk {
  public:
    /// @size: as a tmpfs takes it, such as "64k"
    explicit SmallDisk(const char* size);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    SmallDisk(SmallDisk&&) = delete;
    SmallDisk& operator=(SmallDisk&&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return folder_.path(); }

    [[nodiscard]] std::filesystem::path operator/(std::string_view name) const { return folder_ / name; }

    /// Whether it has an end that a test can reach.
    [[nodiscard]] bool is_small() const { return mounted_; }

    /// Removes all that is in it.
    void clear() const;

  private:
    TempDir folder_;
    bool mounted_;
};

} // namespace tresk::test

#endif
