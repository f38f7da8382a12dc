// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "netctl": the programs under network control.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/edit.h"
#include "treskctl/netctl_rules.h"
#include "treskctl/path_commands.h"
#include "treskctl/service_answer.h"

namespace tresk::ctl {

namespace {

// --- edits ---

struct ProgramOptions : RuleOptions {
    std::string name;
};

int add_program(const ProgramOptions& o, const std::string& path)
{
    return o.desktop
               ? tresk_netctl_ext_add(o.uid, path.c_str(), o.type, o.name.c_str(), o.ico.c_str(),
                                      o.desktop->c_str(), o.server_type)
               : tresk_netctl_add(o.uid, path.c_str(), o.type, o.name.c_str(), o.ico.c_str(), o.server_type);
}

int update_program(const ProgramOptions& o, const std::string& path)
{
    return o.desktop ? tresk_netctl_ext_update(o.uid, path.c_str(), o.type, o.name.c_str(), o.ico.c_str(),
                                               o.desktop->c_str(), o.server_type)
                     : tresk_netctl_update(o.uid, path.c_str(), o.type, o.name.c_str(), o.ico.c_str(),
                                           o.server_type);
}

int remove_program(const ProgramOptions& options, const std::string& path)
{
    return tresk_netctl_remove(options.uid, path.c_str());
}

Failure failure_of_program(Run& run, const Heard<int>& answer, const ProgramOptions& options,
                           const std::string& path)
{
    return failure_of_edit(run, answer, {path, options.name, options.ico, options.desktop.value_or("")});
}

void add_program_options(CLI::App& command, ProgramOptions& options)
{
    add_rule_options(command, options);
    command.add_option("--name", options.name, "Display name; empty when not given")
        ->option_text("TEXT")
        ->check(at_most(kLongestDisplayName));
}

void add_user(CLI::App& command, ProgramOptions& options)
{
    add_uid_option(command, options.uid);
}

constexpr EditFamily<ProgramOptions> kFamily = {"path", "PATH", "Programs, sent as they are given",
                                                failure_of_program, nullptr};

constexpr std::array kEdits = {
    Edit<ProgramOptions>{"add", "Put programs under network control", add_program, "controlled", nullptr,
                         add_program_options},
    Edit<ProgramOptions>{"update", "Replace the rules of programs", update_program, "updated", nullptr,
                         add_program_options},
    Edit<ProgramOptions>{"remove", "End programs' network control", remove_program, "released", nullptr,
                         add_user},
};

// --- questions ---

struct Question {
    std::uint32_t uid = 0;
    bool all = false;
    std::string path;
};

const View<netctl_ext_node_info> kView = {
    {"type", "server_type", "name", "ico", "desktop", "hash", "path"}, [](const netctl_ext_node_info& rule) {
        return Row{rule.type, rule.server_type, rule.name, rule.ico, rule.desktop, rule.hash, rule.path};
    }};

/// The reader of every user's entries knows less of them.
const View<netctl_node_data> kViewOfAll = {kView.fields, [](const netctl_node_data& rule) {
                                               return Row{rule.type, {}, {}, {}, {}, rule.hash, rule.path};
                                           }};

void list_programs(Run& run, const Question& question)
{
    if (question.all) {
        list_records<std::uint32_t>(run, kProgramPolicy, kViewOfAll, true, tresk_netctl_read_all_data);
    } else {
        list_records<std::int32_t>(run, kProgramPolicy, kView, learn_distinction(run),
                                   [&](std::int32_t* count) {
                                       return tresk_netctl_ext_read_all_data_with_uid(question.uid, count);
                                   });
    }
}

void show_program(Run& run, const Question& question)
{
    show_record(run, kView, learn_distinction(run),
                [&] {
                    return Malloced<netctl_ext_node_info>(
                        tresk_netctl_ext_read_node_with_uid(question.uid, question.path.c_str()));
                },
                {Cause::NotFound, "not under network control", {}, question.path});
}

void show_user_hashes(Run& run, const std::vector<std::string>& paths, std::uint32_t uid)
{
    show_hashes(run, learn_distinction(run) ? paths : std::vector<std::string>(), [uid](const char* path) {
        return tresk_netctl_get_path_hash(path, static_cast<std::int32_t>(uid));
    });
}

/// The library has no other answer for a failed call than one that the service may give.
void show_permission(Run& run)
{
    Table& table = run.table("permission", {"answer"});
    const int answer = run.ask(tresk_netflow_perm_check);
    if (answer == kFailedSomehow) {
        run.fail(failure_without_reason(run));
    } else {
        table.rows.push_back({answer});
    }
}

void add_questions(CLI::App& netctl, Run& run)
{
    const auto list = std::make_shared<Question>();
    CLI::App* const lister = add_command(netctl, run, "list", "List the programs of a user",
                                         [&run, list] { list_programs(run, *list); });
    lister->add_flag("--all", list->all, "Programs of every user, without what is shown to users")
        ->excludes(add_uid_option(*lister, list->uid));

    const auto show = std::make_shared<Question>();
    CLI::App* const shower = add_command(netctl, run, "show", "Show one program's rule",
                                         [&run, show] { show_program(run, *show); });
    shower->add_option("PATH", show->path, "The program, as the policy names it")->required();
    add_uid_option(*shower, show->uid);

    const auto uid = std::make_shared<std::uint32_t>(0);
    CLI::App* const hasher = add_paths_command(
        netctl, run, "hash", "Show the hashes under which paths are kept",
        [uid](Run& asked, const std::vector<std::string>& paths) { show_user_hashes(asked, paths, *uid); });
    add_uid_option(*hasher, *uid);

    add_command(netctl, run, "permission", "Ask the service for the network-flow permission",
                [&run] { show_permission(run); });
}

} // namespace

void add_netctl_commands(CLI::App& app, Run& run)
{
    CLI::App* const netctl = add_group(app, "netctl", "Network control of programs");
    add_questions(*netctl, run);
    add_edits(*netctl, run, kFamily, kEdits);
    add_distinction_command(*netctl, run);
}

} // namespace tresk::ctl
