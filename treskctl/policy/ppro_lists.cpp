// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/ppro_lists.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>

namespace tresk::ctl {

namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

/// A line as the library takes it: past the blanks before it, up to a NUL.
struct Line {
    Place place;
    std::string text;
    /// Of a pattern, which loses it before anything else is looked at.
    bool star = false;
    bool has_nul = false;
    /// One byte and no line end is no line to the library.
    bool too_short = false;

    [[nodiscard]] bool says_nothing() const { return text.empty() && !star; }

    [[nodiscard]] bool is_comment() const { return text.starts_with('#'); }
};

Line line_of(Place place, const std::string& bytes, bool ended)
{
    Line line;
    line.too_short = bytes.size() == 1 && !ended;
    line.star = bytes.ends_with('*');
    const std::size_t nul = bytes.find('\0');
    line.has_nul = nul != std::string::npos;
    line.text = bytes.substr(0, line.has_nul ? nul : bytes.size() - (line.star ? 1 : 0));
    const std::size_t blanks = std::min(line.text.find_first_not_of(kBlanks), line.text.size());
    line.text.erase(0, blanks);
    place.column = blanks + 1;
    line.place = std::move(place);
    return line;
}

/// Hands the lines that are no comments to @judge. Returns why the file cannot be read.
std::optional<Failure> for_each_line(const std::string& file, const std::function<void(const Line&)>& judge)
{
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    std::size_t number = 0;
    for (std::string bytes; std::getline(stream, bytes);) {
        const Line line = line_of({file, ++number, 0}, bytes, !stream.eof());
        if (!line.says_nothing() && !line.is_comment()) {
            judge(line);
        }
    }
    if ((stream.is_open() && !stream.bad()) || errno == ENOENT) {
        return std::nullopt;
    }
    return Failure{Cause::Policy, std::string("cannot be read: ") + std::strerror(errno), {}, file, {}};
}

bool ends_in_blank(const std::string& text)
{
    return !text.empty() && kBlanks.find(text.back()) != std::string_view::npos;
}

bool begins_with_blank(const std::string& text)
{
    return !text.empty() && kBlanks.find(text.front()) != std::string_view::npos;
}

/// False where the line is none to the library.
bool is_read(std::vector<Problem>& problems, const Line& line)
{
    if (line.too_short) {
        problems.push_back({line.place, "a last line of one character without an end is overlooked"});
    }
    if (line.has_nul) {
        problems.push_back({line.place, "what follows the NUL byte is overlooked"});
    }
    return !line.too_short;
}

void judge_pattern(std::vector<Problem>& problems, const Line& line)
{
    if (line.star && line.text.empty()) {
        problems.push_back({line.place, "the pattern stands in every path"});
    }
    if (line.text.find('*') != std::string::npos) {
        problems.push_back({line.place, "a \"*\" that is not the line's last character stands for itself"});
    }
    if (!line.star && ends_in_blank(line.text)) {
        problems.push_back({line.place, "the blanks at the line's end count"});
    }
    if (!line.star && !line.text.starts_with('/')) {
        problems.push_back({line.place, "no absolute path is this text; a part of one ends in \"*\""});
    }
}

/// What the library takes a line of the settings for.
struct Setting {
    std::string name;
    std::string value;
};

std::optional<Setting> setting_in(const Line& line)
{
    const std::string text = line.text + (line.star && !line.has_nul ? "*" : "");
    const std::size_t equals = text.find('=');
    if (text.find("action") == std::string::npos || equals == std::string::npos) {
        return std::nullopt;
    }
    return Setting{text.substr(0, equals), text.substr(equals + 1)};
}

std::string without_blanks_behind(const std::string& text)
{
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

void judge_setting(std::vector<Problem>& problems, const Line& line, const Setting& setting)
{
    if (without_blanks_behind(setting.name) != "action") {
        problems.push_back({line.place, "the line is taken for the action, since the word stands in it"});
    }
    if (setting.value.empty()) {
        problems.push_back({line.place, "the action is empty"});
    }
    if (begins_with_blank(setting.value) || ends_in_blank(setting.value)) {
        problems.push_back({line.place, "the blanks around the action count"});
    }
}

} // namespace

bool Pattern::matches(const std::string& path) const
{
    return anywhere ? path.find(text) != std::string::npos : path == text;
}

Patterns read_blacklist(const std::string& file)
{
    Patterns read;
    read.failure = for_each_line(file, [&read](const Line& line) {
        if (is_read(read.problems, line)) {
            judge_pattern(read.problems, line);
            read.patterns.push_back({line.place, line.text, line.star});
        }
    });
    return read;
}

Reading judge_ppro_settings(const std::string& file)
{
    Reading read;
    std::optional<Place> former;
    read.failure = for_each_line(file, [&](const Line& line) {
        if (!is_read(read.problems, line)) {
            return;
        }
        const auto setting = setting_in(line);
        if (!setting) {
            read.problems.push_back({line.place, "the line is overlooked: it sets no action"});
            return;
        }
        judge_setting(read.problems, line, *setting);
        if (former) {
            read.problems.push_back({*former, "a later line sets the action: this one is overlooked"});
        }
        former = line.place;
    });
    return read;
}

} // namespace tresk::ctl
