// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/temp_dir.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace tresk::test {

namespace {

[[noreturn]] void fail(const std::filesystem::path& subject)
{
    throw std::system_error(errno, std::generic_category(), subject.string());
}

} // namespace

TempDir::TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "tresk-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        fail(pattern);
    }
    path_ = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace tresk::test
