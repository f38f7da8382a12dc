// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/policy_files.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

namespace tresk::test {

std::optional<std::string> read_file(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

void write_file(const std::filesystem::path& file, std::string_view content)
{
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) {
        throw std::system_error(errno, std::generic_category(), file.string());
    }
}

} // namespace tresk::test
