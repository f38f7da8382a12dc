// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/netctl_package_tools.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace tresk::test {

namespace {

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// Where the program is that the search path means by @name.
std::string location_of(const std::string& name, const std::string& search_path)
{
    std::istringstream folders(search_path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        const std::filesystem::path file = std::filesystem::path(folder) / name;
        if (std::filesystem::exists(file)) {
            return file;
        }
    }
    throw std::runtime_error("not found: " + name);
}

} // namespace

PackageTools::PackageTools() : old_path_(environment("PATH"))
{
    std::filesystem::create_directory(working_folder());
    for (const char* tool : {"grep", "awk"}) {
        add_script(tool, "exec " + location_of(tool, old_path_) + " \"$@\"");
    }
    ::setenv("PATH", folder().c_str(), 1);
}

PackageTools::~PackageTools()
{
    ::setenv("PATH", old_path_.c_str(), 1);
}

void PackageTools::add(const std::string& program, const std::string& output)
{
    const std::filesystem::path file = folder_ / (program + ".output");
    write_file(file, output);
    // The shell's own words alone: there is no cat on this search path.
    add_script(program, R"(while IFS= read -r line; do printf '%s\n' "$line"; done < )" + file.string());
}

void PackageTools::add_script(const std::string& program, const std::string& body)
{
    const std::filesystem::path file = folder() / program;
    const std::string log = (folder_ / "ran").string();
    // One write a program: they run at the same time.
    const std::string note =
        "note=" + program + R"(; for a; do note="$note <$a>"; done; printf '%s\n' "$note" >> )" + log;
    write_file(file, "#!/bin/sh\n" + note + "\n" + body + "\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
}

std::vector<std::string> PackageTools::ran()
{
    const std::filesystem::path log = folder_ / "ran";
    std::istringstream lines(read_file(log).value_or(""));
    std::filesystem::remove(log);
    std::vector<std::string> programs;
    for (std::string line; std::getline(lines, line);) {
        programs.push_back(line);
    }
    std::sort(programs.begin(), programs.end()); // they ran at the same time
    return programs;
}

} // namespace tresk::test
