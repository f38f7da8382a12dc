// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_SWITCH_OPTION_H
#define TRESK_TRESKCTL_SWITCH_OPTION_H

#include <CLI/CLI.hpp>

#include <map>
#include <string>

namespace tresk::ctl {

/// Adds the argument "on" or "off", which is required, stored as the framework counts: 1 or 0.
inline CLI::Option* add_switch(CLI::App& command, int& state)
{
    return command.add_option("STATE", state, "The new state")
        ->required()
        ->option_text("on|off")
        ->transform([](const std::string& word) -> std::string {
            static const std::map<std::string, std::string> states = {{"on", "1"}, {"off", "0"}};
            const auto found = states.find(word);
            if (found == states.end()) {
                throw CLI::ValidationError("\"" + word + "\" is neither on nor off");
            }
            return found->second;
        });
}

/// The word of a state that add_switch() stored.
inline std::string switch_word(int state)
{
    return state != 0 ? "on" : "off";
}

} // namespace tresk::ctl

#endif
