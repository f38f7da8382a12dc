// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/path_list.h"

#include "treskctl/input.h"
#include "treskctl/shared_options.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iterator>
#include <system_error>

namespace tresk::ctl {

namespace {

/// What exists of the path is resolved as the library does for one path; the rest may be gone already.
std::string absolute_form(const std::string& path)
{
    if (path.starts_with('/')) {
        return path;
    }
    const std::filesystem::path joined = std::filesystem::current_path() / path;
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(joined, error);
    return error ? joined.string() : resolved.string();
}

[[noreturn]] void refuse(const std::string& message)
{
    throw WrongUsage(message);
}

ListedPath listed(const std::string& path)
{
    if (path.empty()) {
        refuse("PATH: a path is empty");
    }
    ListedPath result{path, absolute_form(path)};
    if (result.absolute.size() > kLongestText) {
        refuse("PATH: a path of " + std::to_string(result.absolute.size()) + " bytes is longer than " +
               std::to_string(kLongestText) + " bytes");
    }
    return result;
}

} // namespace

void add_path_list(CLI::App& command, PathList& list, const std::string& help)
{
    command.add_option("PATH", list.given, help);
    command.add_option("-f,--from-file", list.file, "Take paths from FILE, one a line; - is standard input")
        ->option_text("FILE");
}

std::optional<std::vector<ListedPath>> read_paths(Run& run, const PathList& list)
{
    if (list.given.empty() && !list.file) {
        throw WrongUsage("no path is given");
    }
    std::vector<std::string> paths = list.given;
    if (list.file) {
        auto more = read_list(run, *list.file);
        if (!more) {
            return std::nullopt;
        }
        std::ranges::move(*more, std::back_inserter(paths));
    }
    std::vector<ListedPath> all;
    std::ranges::transform(paths, std::back_inserter(all), listed);
    return all;
}

} // namespace tresk::ctl
