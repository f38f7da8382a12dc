// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A command search path of a test's own, with package managers that answer what the test says and with the
// tools of the pipeline, which note what they were given.
#ifndef TRESK_TESTS_UNIT_NETCTL_PACKAGE_TOOLS_H
#define TRESK_TESTS_UNIT_NETCTL_PACKAGE_TOOLS_H

#include "tests/support/temp_dir.h"

#include <string>
#include <vector>

namespace tresk::test {

class PackageTools {
  public:
    /// Sets PATH to a folder with nothing but grep and awk; the old one comes back at the end.
    PackageTools();
    ~PackageTools();
    PackageTools(const PackageTools&) = delete;
    PackageTools& operator=(const PackageTools&) = delete;

    /// Adds a program that writes @output and nothing else.
    void add(const std::string& program, const std::string& output);
    /// Adds a shell script.
    void add_script(const std::string& program, const std::string& body);

    /// The programs that ran since the last call with their arguments, each in angle brackets, sorted.
    std::vector<std::string> ran();

    [[nodiscard]] std::filesystem::path folder() const { return folder_ / "bin"; }

    /// An empty folder.
    [[nodiscard]] std::filesystem::path working_folder() const { return folder_ / "work"; }

  private:
    TempDir folder_;
    std::string old_path_;
};

} // namespace tresk::test

#endif
