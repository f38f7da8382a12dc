// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/sandbox/options.h"

#include "standin/sandbox/failure.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>

namespace tresk::standin {

namespace {

constexpr const char* DESCRIPTION =
    "Runs COMMAND against a development stand-in of the tresk framework: its own /etc/tresk and /data, a\n"
    "private system bus with a stand-in service, and a stand-in for the kernel module. For development and\n"
    "tests only; it protects nothing.";

constexpr const char* FOOTER =
    "Exit status: COMMAND's own; 128+N when signal N ended it; 125 when the sandbox itself failed; 126 when\n"
    "COMMAND cannot be run, 127 when it is not found. Without COMMAND an interactive shell is started.";

void describe(CLI::App& app, Options& options)
{
    app.footer(FOOTER);
    app.prefix_command();
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string{"tresk-sandbox: "} + error.what() + " (see --help)\n";
    });
    app.add_option("--state", options.state, "Keep etc/, data/ and standin/ in this directory between runs")
        ->type_name("DIR");
    app.add_option("--seed", options.seed, "Copy the content of this directory to /etc/tresk at the start")
        ->type_name("DIR")
        ->check(CLI::Validator{CLI::ExistingDirectory}.description(""));
    app.add_option("--log", options.log, "Write the framework's log to this file")->type_name("FILE");
    app.add_option("--service", options.service_program, "Run this program as the service")
        ->type_name("PROGRAM");
    app.add_flag("--no-bus", options.no_bus, "Start no system bus (and no service)");
    app.add_flag("--no-service", options.no_service, "Start the bus without the service");
    app.add_flag("--no-kernel", options.no_kernel,
                 "Start no kernel peer; implies --kernel-protocol none if not given");
    app.add_option("--kernel-protocol", options.kernel_protocol,
                   "The netlink protocol that the kernel knows (27 if not given)")
        ->type_name("26|27|none")
        ->check(CLI::Validator{CLI::IsMember({"26", "27", "none"})}.description(""));
    app.add_flag("--polkit", options.polkit, "Start polkitd, and let the service ask it (superuser only)");
    app.add_option("--polkit-rules", options.polkit_rules, "The same, with the rules in this directory")
        ->type_name("DIR")
        ->check(CLI::Validator{CLI::ExistingDirectory}.description(""));
    app.add_flag("--bind-home", options.bind_home, "Show /data/home and /data/root as /home and /root");
}

void make_absolute(std::string& path)
{
    if (!path.empty()) {
        path = std::filesystem::absolute(path).lexically_normal();
    }
}

void complete(Options& options, std::vector<std::string> command)
{
    for (std::string* path :
         {&options.state, &options.seed, &options.log, &options.service_program, &options.polkit_rules}) {
        make_absolute(*path);
    }
    options.polkit = options.polkit || !options.polkit_rules.empty();
    if (options.kernel_protocol.empty()) {
        options.kernel_protocol = options.no_kernel ? "none" : "27";
    }
    options.command = std::move(command);
}

/// What the parser left over: the command, or an option that it does not know.
std::vector<std::string> command_in(std::vector<std::string> rest)
{
    if (!rest.empty() && rest.front() == "--") {
        rest.erase(rest.begin());
    } else if (!rest.empty() && rest.front().starts_with("-")) {
        throw CLI::ExtrasError({rest.front()});
    }
    return rest;
}

} // namespace

std::variant<Options, int> parse_options(int argc, char** argv)
{
    Options options;
    CLI::App app{DESCRIPTION, "tresk-sandbox"};
    describe(app, options);
    try {
        app.parse(argc, argv);
        complete(options, command_in(app.remaining()));
        return options;
    } catch (const CLI::ParseError& error) {
        return app.exit(error, std::cout, std::cerr) == 0 ? 0 : SANDBOX_FAILED;
    }
}

} // namespace tresk::standin
