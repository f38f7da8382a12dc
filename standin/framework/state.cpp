// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/framework/state.h"

#include "common/handles.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <sstream>

namespace tresk::standin {

std::optional<std::string> state_directory()
{
    const char* directory = std::getenv("TRESK_STANDIN_STATE");
    if (directory == nullptr || *directory == '\0') {
        return std::nullopt;
    }
    return directory;
}

std::optional<std::string> read_file(const std::string& path)
{
    const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (!file) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 2048> chunk;
    ssize_t length = 0;
    while ((length = ::read(file.get(), chunk.data(), chunk.size())) > 0) {
        content.append(chunk.data(), static_cast<std::size_t>(length));
    }
    return length == 0 ? std::optional{content} : std::nullopt;
}

std::optional<std::string> read_state(const std::string& name)
{
    const auto directory = state_directory();
    return directory ? read_file(*directory + "/" + name) : std::nullopt;
}

std::map<std::string, int> read_state_numbers(const std::string& name)
{
    std::map<std::string, int> numbers;
    std::istringstream lines{read_state(name).value_or("")};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words{line};
        std::string key;
        int number = 0;
        if (words >> key >> number && key.front() != '#') {
            numbers[key] = number;
        }
    }
    return numbers;
}

} // namespace tresk::standin
