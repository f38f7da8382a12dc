// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/judged_files.h"

#include "treskctl/policy/device_database.h"
#include "treskctl/policy/ppro_lists.h"

#include <algorithm>
#include <tuple>

namespace tresk::ctl {

namespace {

Reading judge_blacklist(const std::string& file)
{
    Patterns read = read_blacklist(file);
    return {{}, std::move(read.problems), std::move(read.failure)};
}

/// Files beside the policies.
struct OtherFile {
    const char* object;
    const char* file;
    Reading (*judge)(const std::string& file);
};

constexpr OtherFile kOtherFiles[] = {
    {"ppro", kPproSettings, judge_ppro_settings},
    {"ppro", kPproBlacklist, judge_blacklist},
    {"device", kDeviceDatabase, judge_device_database},
};

bool has_file(const Kind& kind)
{
    return kind.file != nullptr && *kind.file != '\0';
}

JudgedFile judged(const OtherFile& other)
{
    return {other.object, other.file,
            [&other](const std::string& root) { return other.judge(root + other.file); }};
}

} // namespace

std::vector<JudgedFile> judged_files()
{
    std::vector<JudgedFile> files;
    for (const Kind* kind : kinds()) {
        if (has_file(*kind)) {
            files.push_back({kind->name, kind->file, kind->read});
        }
    }
    for (const OtherFile& other : kOtherFiles) {
        const auto behind = std::find_if(files.rbegin(), files.rend(), [&other](const JudgedFile& file) {
            return file.object == other.object;
        });
        files.insert(behind == files.rend() ? files.end() : behind.base(), judged(other));
    }
    return files;
}

std::vector<Problem> problems_in(const Reading& reading)
{
    std::vector<Problem> problems = reading.problems;
    std::ranges::stable_sort(problems, {}, [](const Problem& problem) {
        return std::tuple(problem.place.line, problem.place.column);
    });
    if (reading.failure) {
        problems.push_back({{reading.failure->subject.value_or(""), 0, 0}, reading.failure->message});
    }
    return problems;
}

} // namespace tresk::ctl
