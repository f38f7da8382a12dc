// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/number_table.h"

#include "standin/service/atomic_file.h"
#include "standin/service/method.h"

#include <charconv>
#include <sstream>

namespace tresk::service {

void refuse_line(const std::filesystem::path& file, const std::string& line)
{
    throw Refusal(error_name::kConfiguration, file.string() + ": unreadable line \"" + line + "\"");
}

namespace {

int parse_number(const std::filesystem::path& file, std::string_view text)
{
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, value);
    if (failure != std::errc() || rest != end) {
        refuse_line(file, std::string(text));
    }
    return value;
}

} // namespace

NumberTable read_numbers(const std::filesystem::path& file)
{
    NumberTable numbers;
    std::istringstream lines(read_whole(file).value_or(""));
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t blank = line.rfind(' ');
        if (blank == std::string::npos || blank == 0) {
            refuse_line(file, line);
        }
        numbers[line.substr(0, blank)] = parse_number(file, std::string_view(line).substr(blank + 1));
    }
    return numbers;
}

std::string text_of(const NumberTable& numbers)
{
    std::string content;
    for (const auto& [name, value] : numbers) {
        content += name + " " + std::to_string(value) + "\n";
    }
    return content;
}

void write_numbers(const std::filesystem::path& file, const NumberTable& numbers)
{
    write_whole(file, text_of(numbers));
}

int read_number(const std::filesystem::path& file, int fallback)
{
    const std::optional<std::string> content = read_whole(file);
    if (!content || content->empty()) {
        return fallback;
    }
    return parse_number(file, std::string_view(*content).substr(0, content->find('\n')));
}

void write_number(const std::filesystem::path& file, int number)
{
    write_whole(file, std::to_string(number) + "\n");
}

} // namespace tresk::service
