// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzz/support/settings_lines.h"

#include "fuzz/support/target.h"
#include "treskctl/policy/judged_files.h"

#include <algorithm>

namespace tresk::fuzz {

std::vector<std::string> settings_lines(std::string_view content)
{
    std::vector<std::string> lines;
    while (!content.empty()) {
        const std::size_t end = content.find('\n');
        const std::size_t length = end == std::string_view::npos ? content.size() : end + 1;
        if (length >= 2) {
            lines.emplace_back(content.substr(0, end));
        }
        content.remove_prefix(length);
    }
    return lines;
}

std::string said_in(const std::string& line)
{
    const std::string text = line.substr(0, line.find('\0'));
    const std::size_t begin = text.find_first_not_of(" \t\n\v\f\r");
    return begin == std::string::npos ? "" : text.substr(begin);
}

bool is_comment(const std::string& text)
{
    return text.starts_with('#');
}

void judge(const std::string& file)
{
    const std::vector<ctl::JudgedFile> files = ctl::judged_files();
    const auto found = std::find_if(files.begin(), files.end(),
                                    [&](const ctl::JudgedFile& one) { return one.file == file; });
    TRESK_REQUIRE(found != files.end());
    for (const ctl::Problem& problem : problems_in(found->judge(""))) {
        TRESK_REQUIRE(!problem.text.empty());
    }
}

} // namespace tresk::fuzz
