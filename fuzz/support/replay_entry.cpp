// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A target over its stored inputs, with any compiler: every file of the named folder, and the empty input. A
// folder that is missing or empty is a failure, since a replay of nothing shows nothing.
#include "fuzz/support/target.h"
#include "tests/support/policy_files.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <vector>

namespace {

std::vector<std::filesystem::path> inputs_in(const char* folder)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::absolute(folder))) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

int replay(const char* folder)
{
    const std::vector<std::filesystem::path> files = inputs_in(folder);
    if (files.empty()) {
        std::fprintf(stderr, "%s: there are no inputs\n", folder);
        return 1;
    }
    tresk::fuzz::set_up();
    tresk::fuzz::run({});
    for (const std::filesystem::path& file : files) {
        // Said before: the last name is that of the input that ended it.
        std::fprintf(stderr, "%s\n", file.filename().c_str());
        const auto input = tresk::test::read_file(file);
        if (!input) {
            std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
            return 1;
        }
        tresk::fuzz::run(*input);
    }
    std::fprintf(stderr, "%zu inputs\n", files.size());
    return 0;
}

} // namespace

int main(int count, char** words)
{
    if (count != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", words[0]);
        return 2;
    }
    try {
        return replay(words[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
