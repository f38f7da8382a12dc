// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/json_lines.h"

#include "treskctl/input.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <limits>
#include <sstream>

namespace tresk::ctl {

namespace {

constexpr int kHexadecimal = 16;

std::string in_quotes(std::string_view text)
{
    return "\"" + std::string(text) + "\"";
}

bool is_blank(std::string_view text)
{
    return text.find_first_not_of(" \t\r") == std::string_view::npos;
}

/// A number above the largest signed one has a type of its own.
bool is_integer(const nlohmann::json& value)
{
    return value.is_number_integer() &&
           !(value.is_number_unsigned() &&
             value.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()});
}

} // namespace

JsonLine::JsonLine(std::size_t number, std::string_view text)
    : number_(number), object_(nlohmann::json::parse(text, nullptr, false))
{
    if (!object_.is_object()) {
        refuse("is no JSON object");
    }
}

void JsonLine::refuse(const std::string& message) const
{
    throw WrongUsage("line " + std::to_string(number_) + ": " + message);
}

void JsonLine::allow(std::initializer_list<std::string_view> names) const
{
    for (const auto& field : object_.items()) {
        if (std::ranges::find(names, field.key()) == names.end()) {
            refuse("there is no field " + in_quotes(field.key()));
        }
    }
}

bool JsonLine::has(const std::string& name) const
{
    const auto found = object_.find(name);
    return found != object_.end() && !found->is_null();
}

const nlohmann::json& JsonLine::field(const std::string& name) const
{
    if (!has(name)) {
        refuse("the field " + in_quotes(name) + " is missing");
    }
    return object_.at(name);
}

std::int64_t JsonLine::integer(const std::string& name, std::int64_t least, std::int64_t most) const
{
    const nlohmann::json& value = field(name);
    if (!is_integer(value) || value.get<std::int64_t>() < least || value.get<std::int64_t>() > most) {
        refuse(in_quotes(name) + " is no number from " + std::to_string(least) + " to " +
               std::to_string(most));
    }
    return value.get<std::int64_t>();
}

std::uint32_t JsonLine::id(const std::string& name) const
{
    const nlohmann::json& value = field(name);
    if (!value.is_string()) {
        return static_cast<std::uint32_t>(integer(name, 0, std::numeric_limits<std::uint32_t>::max()));
    }
    const auto number = id_of(value.get<std::string>());
    if (!number) {
        refuse(in_quotes(name) + " is no id (1 to 8 hexadecimal digits)");
    }
    return *number;
}

void JsonLine::text(const std::string& name, std::span<char> room) const
{
    const nlohmann::json& value = field(name);
    if (!value.is_string()) {
        refuse(in_quotes(name) + " is no text");
    }
    const auto text = value.get<std::string>();
    if (text.size() >= room.size() || text.find('\0') != std::string::npos) {
        refuse(in_quotes(name) + " is longer than " + std::to_string(room.size() - 1) +
               " bytes or holds a null character");
    }
    std::ranges::copy(text, room.begin());
}

std::optional<std::uint32_t> id_of(const std::string& text)
{
    const std::string_view digits = std::string_view(text).substr(text.starts_with("0x") ? 2 : 0);
    const char* const end = digits.data() + digits.size();
    std::uint32_t number = 0;
    const auto [rest, error] = std::from_chars(digits.data(), end, number, kHexadecimal);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

CLI::Option* add_lines_option(CLI::App& command, std::string& file)
{
    return command.add_option("-f,--from-file", file, "JSON objects, one a line; - is standard input")
        ->option_text("FILE REQUIRED")
        ->required();
}

std::optional<std::vector<JsonLine>> read_json_lines(Run& run, const std::string& file)
{
    const auto content = read_input(run, file);
    if (!content) {
        return std::nullopt;
    }
    std::vector<JsonLine> lines;
    std::istringstream stream(*content);
    std::size_t number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (!is_blank(line)) {
            lines.emplace_back(number, line);
        }
    }
    return lines;
}

} // namespace tresk::ctl
