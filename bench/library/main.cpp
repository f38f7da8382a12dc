// SPDX-License-Identifier: LGPL-2.1-or-later
//
//     library_bench [--quick] [SUBJECT...]      measure; all subjects where none is named
//     library_bench --list-counted              the contests that count instructions
//     library_bench --count CONTEST SIDE        one side's work, for a counter of instructions
//
// Runs in the sandbox, with a kernel peer.
#include "bench/library/contest.h"

#include <algorithm>
#include <iostream>
#include <iterator>

namespace {

using tresk::bench::Contest;
using tresk::bench::Subject;

std::vector<Subject> all_subjects()
{
    using namespace tresk::bench;
    return {service_calls(), kernel_channel(), path_hash(), labels(), device_history()};
}

std::vector<Contest> all_contests()
{
    std::vector<Contest> contests;
    for (Subject& subject : all_subjects()) {
        std::move(subject.contests.begin(), subject.contests.end(), std::back_inserter(contests));
    }
    return contests;
}

void measure(const Subject& subject, bool quick)
{
    for (const Contest& contest : subject.contests) {
        run(contest, quick);
    }
    for (const auto& figure : subject.figures) {
        run(figure, quick);
    }
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() == 1 && words.front() == "--list-counted") {
        tresk::bench::list_counted(all_contests());
        return 0;
    }
    if (words.size() == 3 && words.front() == "--count") {
        return tresk::bench::count(all_contests(), words[1], words[2]) ? 0 : 2;
    }
    const bool quick = std::erase(words, "--quick") != 0;
    for (const Subject& subject : all_subjects()) {
        if (words.empty() || std::erase(words, subject.name) != 0) {
            measure(subject, quick);
            if (words.empty() && argc > (quick ? 2 : 1)) {
                return 0;
            }
        }
    }
    for (const std::string& word : words) {
        std::cerr << "library_bench: no subject " << word << '\n';
    }
    return words.empty() ? 0 : 2;
}
