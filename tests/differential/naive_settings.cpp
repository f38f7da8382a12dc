// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/naive.h"

#include <fstream>
#include <iterator>
#include <optional>

namespace tresk::test {

namespace {

/// A file's lines with their ends; nothing where it cannot be read.
std::optional<std::vector<std::string>> lines_of(const char* file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        return std::nullopt;
    }
    const std::string content(std::istreambuf_iterator<char>(stream), {});
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < content.size();) {
        const std::size_t end = content.find('\n', start);
        const std::size_t length = end == std::string::npos ? content.size() - start : end - start + 1;
        lines.push_back(content.substr(start, length));
        start += length;
    }
    return lines;
}

std::string without_line_end(std::string line)
{
    if (!line.empty() && line.back() == '\n') {
        line.pop_back();
    }
    return line;
}

/// What a C program sees of it.
std::string up_to_nul(const std::string& text)
{
    return text.c_str();
}

std::string trimmed(const Naive& naive, const std::string& line)
{
    if (!naive.keeps(Rule::LeadingBlanksAreCut)) {
        return line;
    }
    const std::size_t start = line.find_first_not_of(" \t\r\n\v\f");
    return start == std::string::npos ? "" : line.substr(start);
}

bool is_comment(const Naive& naive, const std::string& line)
{
    return naive.keeps(Rule::CommentLinesAreSkipped) && !line.empty() && line.front() == '#';
}

bool is_too_short(const Naive& naive, const std::string& line)
{
    return line.size() < (naive.keeps(Rule::ShortLinesAreSkipped) ? 2 : 1);
}

Text setting_in(const Naive& naive, const std::string& line)
{
    if (is_comment(naive, line)) {
        return std::nullopt;
    }
    if (line.find("action") == std::string::npos && naive.keeps(Rule::SettingNeedsName)) {
        return std::nullopt;
    }
    const std::size_t sign = naive.keeps(Rule::SettingFollowsFirstSign) ? line.find('=') : line.rfind('=');
    if (sign == std::string::npos) {
        return std::nullopt;
    }
    const std::string value = line.substr(sign + 1);
    const std::size_t start = value.find_first_not_of(' ');
    return naive.keeps(Rule::SettingIsNotTrimmed) || start == std::string::npos ? value : value.substr(start);
}

/// @line: without its end. Its last byte is the one that was read last, also behind a NUL.
bool matches(const Naive& naive, std::string line, const std::string& path)
{
    const bool star = !line.empty() && line.back() == '*' && naive.keeps(Rule::StarIsSubstring);
    if (star) {
        line.pop_back();
    }
    const std::string pattern = up_to_nul(line);
    if (star && path.find(pattern) != std::string::npos) {
        return true;
    }
    return naive.keeps(Rule::PlainLineIsWhole) ? path == pattern
                                               : path.compare(0, pattern.size(), pattern) == 0;
}

} // namespace

int naive_ppro_action(Naive& naive, Text* action)
{
    if (action == nullptr) {
        return -1;
    }
    const auto lines = lines_of("/etc/tresk/ppro/ppro.conf");
    if (!lines) {
        return naive.keeps(Rule::MissingListFails) ? -1 : 0;
    }
    if (!naive.keeps(Rule::NoSettingIsNoWrite)) {
        *action = "";
    }
    bool found = false;
    for (const std::string& line : *lines) {
        if (is_too_short(naive, line)) {
            continue;
        }
        const Text value = setting_in(naive, trimmed(naive, up_to_nul(without_line_end(line))));
        if (value && (!found || naive.keeps(Rule::LaterSettingReplaces))) {
            *action = value;
            found = true;
        }
    }
    return 0;
}

int naive_ppro_blacklisted(Naive& naive, const Text& path)
{
    if (!path) {
        return -1;
    }
    const auto lines = lines_of("/etc/tresk/ppro/ppro_blacklist");
    if (!lines) {
        return naive.keeps(Rule::MissingListFails) ? -1 : 0;
    }
    for (const std::string& line : *lines) {
        if (is_too_short(naive, line)) {
            continue;
        }
        const std::string text = trimmed(naive, without_line_end(line));
        if (!is_comment(naive, text) && matches(naive, text, *path)) {
            return 1;
        }
    }
    return 0;
}

} // namespace tresk::test
