// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/kernel/answers.h"

#include <charconv>
#include <optional>
#include <sstream>
#include <string_view>

namespace tresk::standin {

namespace {

constexpr std::size_t LONG_SIZE = MESSAGE_SIZE + 100;
constexpr std::size_t GREATEST_SIZE = 65536;
constexpr std::string_view TYPE_PREFIX = "type ";

std::optional<std::size_t> number(std::string_view text)
{
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc{} && end == text.data() + text.size();
    return whole ? std::optional{value} : std::nullopt;
}

bool set_size(Answer& answer, std::optional<std::size_t> size)
{
    if (!size || *size > GREATEST_SIZE) {
        return false;
    }
    answer.size = size;
    return true;
}

bool wish_text(Answer& answer, std::string_view argument)
{
    answer.text = argument;
    return true;
}

bool wish_delay(Answer& answer, std::string_view argument)
{
    const auto delay = number(argument);
    answer.delay = std::chrono::milliseconds{delay.value_or(0)};
    return delay.has_value();
}

bool wish_silence(Answer& answer, std::string_view argument)
{
    answer.silent = true;
    return argument.empty();
}

bool wish_empty(Answer& answer, std::string_view argument)
{
    answer.size = 0;
    return argument.empty();
}

bool wish_short(Answer& answer, std::string_view argument)
{
    return set_size(answer, number(argument));
}

bool wish_long(Answer& answer, std::string_view argument)
{
    return set_size(answer, argument.empty() ? LONG_SIZE : number(argument));
}

struct Wish {
    std::string_view name;
    bool (*apply)(Answer&, std::string_view argument);
};

constexpr std::array WISHES{
    Wish{"text", wish_text},   Wish{"delay", wish_delay}, Wish{"silent", wish_silence},
    Wish{"empty", wish_empty}, Wish{"short", wish_short}, Wish{"long", wish_long},
};

bool apply(Answer& answer, std::string_view line)
{
    const std::size_t blank = std::min(line.find(' '), line.size());
    const std::string_view name = line.substr(0, blank);
    for (const Wish& wish : WISHES) {
        if (wish.name == name) {
            return wish.apply(answer, line.substr(std::min(blank + 1, line.size())));
        }
    }
    return false;
}

/// Takes a "type T:" from the front of @line; nothing where its number is none.
std::optional<bool> concerns(std::string_view& line, std::uint16_t type)
{
    if (!line.starts_with(TYPE_PREFIX)) {
        return true;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    const auto wanted = number(line.substr(TYPE_PREFIX.size(), colon - TYPE_PREFIX.size()));
    line.remove_prefix(std::min(line.find_first_not_of(' ', colon + 1), line.size()));
    return wanted ? std::optional{*wanted == type} : std::nullopt;
}

} // namespace

Answer wished_answer(const std::string& wishes, std::uint16_t type, std::vector<std::string>& unknown)
{
    Answer answer;
    std::istringstream lines{wishes};
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        std::string_view wish{line};
        const auto concerned = concerns(wish, type);
        if (!concerned || (*concerned && !apply(answer, wish))) {
            unknown.push_back(line);
        }
    }
    return answer;
}

} // namespace tresk::standin
