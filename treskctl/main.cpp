// SPDX-License-Identifier: LGPL-2.1-or-later
//
// treskctl: the framework's policies on the command line, through the library's public functions alone.
#include "treskctl/commands.h"
#include "treskctl/printable.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <stdexcept>
#include <string_view>

namespace tresk::ctl {

namespace {

constexpr const char* kFooter = "Exit status: 0 done, 1 refused or failed, 2 wrong usage.";

void add_commands(CLI::App& app, Run& run)
{
    add_status_commands(app, run);
    add_func_commands(app, run);
    add_module_commands(app, run);
    add_security_commands(app, run);
    add_conf_commands(app, run);
    add_ppro_commands(app, run);
    add_netctl_commands(app, run);
    add_pkg_commands(app, run);
    add_pblk_commands(app, run);
    add_bwlist_commands(app, run);
    add_label_commands(app, run);
    add_hash_commands(app, run);
    add_kmod_commands(app, run);
    add_device_commands(app, run);
    add_wireless_commands(app, run);
    add_user_commands(app, run);
    add_notify_commands(app, run);
}

void configure(CLI::App& app, Run& run)
{
    // Options of treskctl itself may stand anywhere in the line.
    app.fallthrough();
    app.require_subcommand(1);
    app.footer(kFooter);
    app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
    app.set_version_flag("--version", std::string("treskctl ") + TRESKCTL_VERSION);
    app.add_flag_function(
        "--json", [&run](std::int64_t) { run.write_json(true); }, "Write JSON documents");
    add_commands(app, run);
}

/// The reading of a wrong line ends before its options take effect.
bool asks_for_json(std::span<char*> words)
{
    for (const std::string_view word : words) {
        if (word == "--json" || word == "--") {
            return word == "--json";
        }
    }
    return false;
}

int complain(const Failure& failure, bool json)
{
    nlohmann::ordered_json document = {{"version", kJsonVersion}, {"command", nullptr}};
    document["errors"] = nlohmann::ordered_json::array();
    document["errors"].push_back(object_of(failure));
    document["library"] = nlohmann::ordered_json::array();
    const std::string text = json ? written(document) : "treskctl: " + line_of("", failure) + "\n";
    std::fputs(text.c_str(), stderr);
    return exit_status_of(failure.cause);
}

/// A word where a command should be leaves the parser without a command and the word unused.
std::string message_of(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> unused = app.remaining(true);
    if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr || unused.empty()) {
        return error.what();
    }
    const std::string& word = unused.front();
    return (word.starts_with('-') ? "there is no option \"" : "there is no command \"") + word + "\"";
}

/// Help and version are no errors, though the parser throws them.
int report_usage(const CLI::App& app, const CLI::ParseError& error, bool json)
{
    if (error.get_exit_code() == 0) {
        return app.exit(error);
    }
    const int status = complain({Cause::Usage, message_of(app, error), {}, {}}, json);
    if (!json) {
        std::fputs("Run \"treskctl --help\" or \"treskctl COMMAND --help\".\n", stderr);
    }
    return status;
}

/// A flag that is given a value it cannot mean ("--json=x") is the parser's only complaint of another type.
void parse(CLI::App& app, int argc, char** argv)
{
    try {
        app.parse(argc, argv);
    } catch (const std::invalid_argument&) {
        throw CLI::ArgumentMismatch("a flag takes no value");
    }
}

int run_command_line(int argc, char** argv)
{
    CLI::App app("Administer the tresk security framework", "treskctl");
    Run run;
    const bool json = asks_for_json({argv, static_cast<std::size_t>(argc)});
    try {
        configure(app, run);
        parse(app, argc, argv);
        run.perform();
        return run.finish();
    } catch (const CLI::ParseError& error) {
        return report_usage(app, error, json);
    } catch (const std::exception& error) {
        return complain({Cause::Internal, error.what(), {}, {}}, json);
    }
}

} // namespace

} // namespace tresk::ctl

int main(int argc, char** argv)
{
    try {
        return tresk::ctl::run_command_line(argc, argv);
    } catch (...) {
        // Not even the failure could be told: no memory is left.
        return EXIT_FAILURE;
    }
}
