// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is a path, a NUL and the list of paths that may not be protected. The answer is what a second,
// plain reading of the list finds.
#include "fuzz/support/policy_place.h"
#include "fuzz/support/settings_lines.h"
#include "tresk_extend.h"
#include "treskctl/policy/ppro_lists.h"

namespace tresk::fuzz {

namespace {

constexpr char kFile[] = "/etc/tresk/ppro/ppro_blacklist";

bool matches(std::string line, const std::string& path)
{
    const bool anywhere = line.ends_with('*');
    if (anywhere) {
        line.pop_back();
    }
    const std::string pattern = said_in(line);
    return !is_comment(pattern) && (anywhere ? path.find(pattern) != std::string::npos : path == pattern);
}

bool expected_answer(const std::string& path, std::string_view list)
{
    const std::vector<std::string> lines = settings_lines(list);
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return matches(line, path); });
}

/// treskctl's reading leaves lines of blanks out, which only an empty path could match.
void compare_with_own_reading(const std::string& path, bool answer)
{
    const ctl::Patterns read = ctl::read_blacklist(kFile);
    TRESK_REQUIRE(!read.failure);
    const auto matches_path = [&](const ctl::Pattern& pattern) { return pattern.matches(path); };
    TRESK_REQUIRE(path.empty() ||
                  answer == std::any_of(read.patterns.begin(), read.patterns.end(), matches_path));
}

} // namespace

void set_up()
{
    enter_sandbox();
}

void run(std::string_view input)
{
    Pieces pieces(input);
    std::string path = pieces.text();
    const std::string before = path;
    const std::string_view list = pieces.rest();
    place(kFile, list);
    TRESK_REQUIRE(ppro_path_in_blacklist(path.data()) == (expected_answer(path, list) ? 1 : 0));
    TRESK_REQUIRE(path == before);
    TRESK_REQUIRE(ppro_path_in_blacklist(nullptr) == -1);
    compare_with_own_reading(path, expected_answer(path, list));
    judge(kFile);
    TRESK_REQUIRE(content_of(kFile) == list);
}

} // namespace tresk::fuzz
