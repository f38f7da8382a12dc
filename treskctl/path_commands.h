// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Questions about texts given on the command line, one row for each.
#ifndef TRESK_TRESKCTL_PATH_COMMANDS_H
#define TRESK_TRESKCTL_PATH_COMMANDS_H

#include "common/handles.h"
#include "treskctl/run.h"

#include <memory>
#include <string>
#include <vector>

namespace tresk::ctl {

/// Adds a command that takes texts, which @action gets.
template <class Action>
CLI::App* add_texts_command(CLI::App& object, Run& run, const std::string& name, const std::string& help,
                            const std::string& argument, const std::string& argument_help, Action action)
{
    const auto texts = std::make_shared<std::vector<std::string>>();
    CLI::App* const command =
        add_command(object, run, name, help, [&run, action, texts] { action(run, *texts); });
    command->add_option(argument, *texts, argument_help)->required();
    return command;
}

/// The same for paths.
template <class Action>
CLI::App* add_paths_command(CLI::App& object, Run& run, const std::string& name, const std::string& help,
                            Action action)
{
    return add_texts_command(object, run, name, help, "PATH", "Paths, taken as they are given", action);
}

/// Adds the table "hashes". @hash_of: one of the library's functions, whose text is to be released.
template <class HashOf>
void show_hashes(Run& run, const std::vector<std::string>& paths, HashOf hash_of)
{
    Table& table = run.table("hashes", {"hash", "path"});
    for (const std::string& path : paths) {
        if (const auto hash = run.ask([&] { return Malloced<char>(hash_of(path.c_str())); })) {
            table.rows.push_back({std::string(hash.get()), path});
        } else {
            run.fail({Cause::Internal, "out of memory", {}, path});
        }
    }
}

} // namespace tresk::ctl

#endif
