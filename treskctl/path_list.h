// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Many paths at once: from the command line, from a file, from standard input. They go to the library in
// parts, so that a list of any length needs little memory and its progress can be shown.
#ifndef TRESK_TRESKCTL_PATH_LIST_H
#define TRESK_TRESKCTL_PATH_LIST_H

#include "treskctl/progress.h"
#include "treskctl/run.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tresk::ctl {

/// What a command line says of its paths.
struct PathList {
    std::vector<std::string> given;
    std::optional<std::string> file;
};

struct ListedPath {
    std::string given;
    /// The same for calls that know of no current directory. A path that is absolute stays as it is.
    std::string absolute;
};

/// How many paths one call of the library gets.
inline constexpr std::size_t kPathsAtOnce = 256;

/// Adds "PATH..." and "--from-file"; @list lives as long as @command.
void add_path_list(CLI::App& command, PathList& list, const std::string& help);

/// The paths of the command line, then those of the file; nothing, and a failure, when it cannot be read.
/// Throws WrongUsage where there is neither, and for a path that no record of the library holds.
std::optional<std::vector<ListedPath>> read_paths(Run& run, const PathList& list);

/// Calls @action with one part after another, and stops when it returns false.
template <class Action>
void for_each_part(std::span<const ListedPath> paths, Action action)
{
    Progress progress(paths.size());
    for (std::size_t done = 0; done < paths.size(); done += kPathsAtOnce) {
        progress.show(done);
        if (!action(paths.subspan(done, std::min(kPathsAtOnce, paths.size() - done)))) {
            return;
        }
    }
}

} // namespace tresk::ctl

#endif
