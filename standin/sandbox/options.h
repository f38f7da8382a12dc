// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The command line of tresk-sandbox.
#ifndef TRESK_STANDIN_SANDBOX_OPTIONS_H
#define TRESK_STANDIN_SANDBOX_OPTIONS_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tresk::standin {

struct Options {
    /// Absolute paths; empty where not given.
    std::string state;
    std::string seed;
    std::string log;
    std::string service_program;
    bool no_bus = false;
    bool no_service = false;
    bool no_kernel = false;
    bool bind_home = false;
    bool polkit = false;
    /// An absolute path; empty where not given.
    std::string polkit_rules;
    /// "26", "27" or "none".
    std::string kernel_protocol;
    /// Empty for an interactive shell.
    std::vector<std::string> command;
};

/// The options, or the status to exit with after --help, --version or a mistake, which were reported.
std::variant<Options, int> parse_options(int argc, char** argv);

} // namespace tresk::standin

#endif
