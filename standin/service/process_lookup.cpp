// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/process_lookup.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

namespace tresk::service {

namespace {

namespace fs = std::filesystem;

/// All pids, lowest first. Processes may end while they are looked at: what cannot be read is no match.
std::vector<int> all_pids()
{
    std::vector<int> pids;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        int pid = 0;
        const auto [rest, failure] = std::from_chars(name.data(), name.data() + name.size(), pid);
        if (failure == std::errc() && rest == name.data() + name.size()) {
            pids.push_back(pid);
        }
    }
    std::ranges::sort(pids);
    return pids;
}

fs::path process_file(int pid, const char* name)
{
    return fs::path("/proc") / std::to_string(pid) / name;
}

bool runs_file(int pid, const std::string& path, const std::string& resolved)
{
    std::error_code failure;
    const std::string running = fs::read_symlink(process_file(pid, "exe"), failure).string();
    return !failure && (running == path || running == resolved);
}

bool was_started_as(int pid, const std::string& name)
{
    std::ifstream arguments(process_file(pid, "cmdline"), std::ios::binary);
    std::string first;
    std::getline(arguments, first, '\0');
    return first == name || fs::path(first).filename() == name;
}

} // namespace

int pid_of_program(const std::string& program)
{
    if (program.empty()) {
        return -1;
    }
    const std::vector<int> pids = all_pids();
    std::error_code failure;
    const std::string resolved = fs::canonical(program, failure).string();
    const bool absolute = program.starts_with('/');
    const auto found = std::ranges::find_if(pids, [&](int pid) {
        return absolute ? runs_file(pid, program, resolved) : was_started_as(pid, program);
    });
    return found == pids.end() ? -1 : *found;
}

} // namespace tresk::service
