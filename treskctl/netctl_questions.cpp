// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "netctl" and "pkg" beside their entries: the hash of a path, whether rules are kept per user, the
// network-flow permission, and whether packages are installed.
#include "treskctl/netctl_questions.h"

#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/path_commands.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/object_commands.h"
#include "treskctl/service_answer.h"
#include "treskctl/shared_options.h"
#include "treskctl/simple_change.h"
#include "treskctl/switch_option.h"

namespace tresk::ctl {

namespace {

constexpr int kNotGiven = -1;

void show_distinction(Run& run)
{
    Table& table = run.table("switches", {"switch", "state"});
    if (const auto machine = read_machine(run, netctl_kind())) {
        table.rows.push_back({"user-distinct", switch_word(machine->per_user ? 1 : 0)});
    }
}

void set_distinction(Run& run, int state)
{
    const auto machine = read_machine(run, netctl_kind());
    if (machine) {
        make_simple_change(
            run, {{"switch", "state"},
                  {"user-distinct", switch_word(state)},
                  TRESKCTL_CALL(tresk_netctl_set_user_distinguish, static_cast<std::uint32_t>(state)),
                  machine->per_user == (state != 0)});
    }
}

void show_user_hashes(Run& run, const std::vector<std::string>& paths, std::uint32_t uid)
{
    show_hashes(run, learn_distinction(run) ? paths : std::vector<std::string>(), [uid](const char* path) {
        return tresk_netctl_get_path_hash(path, static_cast<std::int32_t>(uid));
    });
}

/// The service's own answer may be what the library returns for a failed call; a call that failed was
/// recorded.
void show_permission(Run& run)
{
    Table& table = run.table("permission", {"answer"});
    const Answer<int> answer = run.hear(tresk_netflow_perm_check);
    if (answer.recorded) {
        run.fail(failure_of_record(*answer.recorded));
    } else {
        table.rows.push_back({answer.result});
    }
}

/// The library does not tell a refused name from a query that could not be run.
void show_installed(Run& run, const std::vector<std::string>& packages)
{
    Table& table = run.table("packages", {"installed", "package"});
    for (const std::string& package : packages) {
        const int answer = run.ask([&] { return check_pkg_is_install(package.c_str()); });
        if (answer < 0) {
            run.fail(
                {Cause::NoAnswer,
                 "the name has a character that a shell would act on, or the packages could not be listed",
                 answer, package});
            continue;
        }
        table.rows.push_back({answer != 0, package});
        if (answer == 0) {
            run.answer_no();
        }
    }
}

} // namespace

bool learn_distinction(Run& run)
{
    const auto machine = read_machine(run, netctl_kind());
    if (machine && machine->per_user) { // else the library would write an empty policy where there is none
        run.ask(tresk_netctl_get_user_distinguish);
    }
    return machine.has_value();
}

void add_netctl_questions(CLI::App& netctl, Run& run)
{
    const auto uid = std::make_shared<std::uint32_t>(0);
    CLI::App* const hasher = add_paths_command(
        netctl, run, "hash", "Show the hashes under which paths are kept",
        [uid](Run& asked, const std::vector<std::string>& paths) { show_user_hashes(asked, paths, *uid); });
    add_uid_option(*hasher, *uid);

    const auto state = std::make_shared<int>(kNotGiven);
    CLI::App* const command = add_command(
        netctl, run, "user-distinct", "Show or set whether network control is kept per user", [&run, state] {
            if (*state == kNotGiven) {
                show_distinction(run);
            } else {
                run.require_own_machine();
                set_distinction(run, *state);
            }
        });
    run.honour_root(*command);
    add_switch(*command, *state)->required(false);
    add_command(netctl, run, "permission",
                "Ask the service for the network-flow permission, a number of its own",
                [&run] { show_permission(run); });
}

void add_pkg_questions(CLI::App& pkg, Run& run)
{
    const auto packages = std::make_shared<std::vector<std::string>>();
    add_command(pkg, run, "installed", "Ask whether packages are installed: exit status 0 or 1",
                [&run, packages] { show_installed(run, *packages); })
        ->add_option("PACKAGE", *packages, "Names of packages, without versions")
        ->required();
}

} // namespace tresk::ctl
