// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The programs that the library runs by way of a shell, and a search path with them.
#ifndef TRESK_TESTS_HOSTILE_EXPECTED_PROGRAMS_H
#define TRESK_TESTS_HOSTILE_EXPECTED_PROGRAMS_H

#include "tests/hostile/watched.h"
#include "tests/support/policy_files.h"

#include <filesystem>
#include <set>
#include <string>

namespace tresk::test {

inline constexpr const char* kTools = "/data/tools";

/// A search path with what the library's pipelines name, and a package list that is the same on every
/// machine.
inline void make_tools()
{
    std::filesystem::create_directories(kTools);
    for (const char* tool : {"awk", "cat", "grep"}) {
        for (const char* folder : {"/bin", "/usr/bin"}) {
            if (std::filesystem::exists(std::filesystem::path(folder) / tool)) {
                std::filesystem::remove(std::filesystem::path(kTools) / tool);
                std::filesystem::create_symlink(std::filesystem::path(folder) / tool,
                                                std::filesystem::path(kTools) / tool);
            }
        }
    }
    write_file(std::filesystem::path(kTools) / "dpkg-query", "#!/bin/sh\necho plain-name installed\n");
    std::filesystem::permissions(std::filesystem::path(kTools) / "dpkg-query", std::filesystem::perms{0755});
}

inline const std::string kListPackages = R"(dpkg-query -W -f '${Package} ${db:Status-Status}\n')";
inline const std::string kNamesOfPackages =
    R"(awk '$2 !~ /^(not-installed|half-installed|config-files)$/ {print $1}')";
inline const std::string kCountSockets = "/usr/bin/cat /proc/net/netlink | awk '{print $2}' | grep -wc 26";

inline const std::set<Words> kExpectedPrograms{
    {"/usr/bin/cat", "/proc/net/netlink"},
    {"awk", "{print $2}"},
    {"grep", "-wc", "26"},
    {"dpkg-query", "-W", "-f", R"(${Package} ${db:Status-Status}\n)"},
    {"awk", R"($2 !~ /^(not-installed|half-installed|config-files)$/ {print $1})"},
    {"grep", "plain-name"},
};

inline bool is_expected_program(const Words& words)
{
    static const std::set<std::string> commands{kCountSockets, kListPackages + " | " + kNamesOfPackages};
    return kExpectedPrograms.contains(words) ||
           (!words.empty() && words.front() == "sh" && commands.contains(words.back()));
}

} // namespace tresk::test

#endif
