// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/path_list.h"

#include "treskctl/input.h"
#include "treskctl/shared_options.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <string_view>
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
    throw CLI::ValidationError(message);
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

/// Empty entries are no paths: the one behind the last separator, and lines left blank.
std::vector<std::string> entries_of(std::string_view content, char separator)
{
    std::vector<std::string> entries;
    while (!content.empty()) {
        const std::string_view entry = content.substr(0, content.find(separator));
        if (!entry.empty()) {
            entries.emplace_back(entry);
        }
        content.remove_prefix(std::min(entry.size() + 1, content.size()));
    }
    return entries;
}

/// A path ends at a null character, wherever the line goes on.
void refuse_null_characters(std::string_view content)
{
    if (content.find('\0') != std::string_view::npos) {
        refuse("--from-file: there are null characters in the list (see --null)");
    }
}

bool add_entries(Run& run, const PathList& list, std::vector<std::string>& paths)
{
    const auto content = read_input(run, *list.file);
    if (!content) {
        return false;
    }
    if (!list.null_separated) {
        refuse_null_characters(*content);
    }
    std::ranges::move(entries_of(*content, list.null_separated ? '\0' : '\n'), std::back_inserter(paths));
    return true;
}

} // namespace

void add_path_list(CLI::App& command, PathList& list, const std::string& help)
{
    command.add_option("PATH", list.given, help);
    CLI::Option* const file =
        command
            .add_option("-f,--from-file", list.file, "Take paths from FILE, one a line; - is standard input")
            ->option_text("FILE");
    command
        .add_flag("-0,--null", list.null_separated, "A null character ends each path of FILE, no line feed")
        ->needs(file);
}

std::optional<std::vector<ListedPath>> read_paths(Run& run, const PathList& list)
{
    if (list.given.empty() && !list.file) {
        throw CLI::RequiredError("PATH or --from-file");
    }
    std::vector<std::string> paths = list.given;
    if (list.file && !add_entries(run, list, paths)) {
        return std::nullopt;
    }
    std::vector<ListedPath> all;
    std::ranges::transform(paths, std::back_inserter(all), listed);
    return all;
}

} // namespace tresk::ctl
