// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The parser's own table of commands, as completion, the manual page and the schema see it: what is hidden
// from the help is left out.
#ifndef TRESK_TRESKCTL_REFERENCE_COMMAND_TREE_H
#define TRESK_TRESKCTL_REFERENCE_COMMAND_TREE_H

#include <CLI/App.hpp>

#include <functional>
#include <string>
#include <vector>

namespace tresk::ctl {

/// The group of commands and options that no help shows.
inline constexpr const char* kHidden = "";

/// The commands directly below, in the order of the help.
std::vector<const CLI::App*> commands_below(const CLI::App& command);

/// The command below of that name, hidden or not; or null.
const CLI::App* find_command(const CLI::App& command, const std::string& name);

/// Hands over every command that does something, in the order of the help.
void for_each_command(const CLI::App& root, const std::function<void(const CLI::App& command)>& visit);

/// "ppro add"; empty for treskctl itself.
std::string chain_of(const CLI::App& command);

/// What is given by name, the parser's own "help" left out.
std::vector<const CLI::Option*> options_of(const CLI::App& command);

/// What is given by its place.
std::vector<const CLI::Option*> arguments_of(const CLI::App& command);

/// "--type", or "-n" for an option that has no long name.
std::string name_of(const CLI::Option& option);

/// What stands for the value: "TYPE", "on|off"; empty for a plain flag.
std::string placeholder_of(const CLI::Option& option);

/// True of an option whose value is the next word; the value of a flag stands behind "=".
bool takes_word(const CLI::Option& option);

/// True of an argument that may be given many times.
bool takes_many(const CLI::Option& option);

/// The parts of a placeholder that says what may stand for it: "HASH|PATH", "on|off".
std::vector<std::string> parts_of(const std::string& placeholder);

/// Those parts that are to be given as they stand: "on" and "off", but none of "HASH|PATH".
std::vector<std::string> words_in(const std::string& placeholder);

} // namespace tresk::ctl

#endif
