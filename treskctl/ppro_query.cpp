// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "ppro": what can be asked about the protected programs. Only "pid" asks the service; the others read files.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/path_commands.h"
#include "treskctl/policy_snapshot.h"
#include "treskctl/printable.h"
#include "treskctl/service_answer.h"

#include <memory>

namespace tresk::ctl {

namespace {

const std::vector<std::string> kEntryFields = {"type", "owner", "hash", "path"};

struct ViewOptions {
    EntryFilter filter;
    std::string source;
    std::string path;
};

void add_entry(Table& table, const Entry& entry)
{
    table.rows.push_back({entry.type, entry.sm ? "sm" : "ordinary", entry.hash, entry.path});
}

void list_entries(Run& run, const EntryFilter& filter)
{
    Table& table = run.table("entries", kEntryFields);
    for (const Entry& entry : read_entries(run, filter).value_or(std::vector<Entry>{})) {
        add_entry(table, entry);
    }
}

/// The path under which the policy knows @path: the library makes it absolute and knows of bound folders.
std::string key_of(Run& run, const std::string& path)
{
    const auto entry =
        run.ask([&] { return Malloced<ppro_node_info>(tresk_ppro_read_node_with_path_sm(path.c_str())); });
    return entry ? entry->path : "";
}

void show_entry(Run& run, const ViewOptions& options)
{
    Table& table = run.table("entries", kEntryFields);
    const auto entries = read_entries(run, options.filter);
    if (!entries) {
        return;
    }
    const std::string key = key_of(run, options.path);
    for (const Entry& entry : *entries) {
        if (key == entry.path) {
            add_entry(table, entry);
        }
    }
    if (table.rows.empty()) {
        const bool hidden = !key.empty();
        run.fail(
            {Cause::NotFound,
             hidden ? "protected, but by an entry of another owner or source (see --all)" : "not protected",
             {},
             options.path});
    }
}

void show_path_hashes(Run& run, const std::vector<std::string>& paths)
{
    show_hashes(run, paths, tresk_ppro_get_path_hash);
}

void show_action(Run& run)
{
    Table& table = run.table("action", {"action"});
    char* action = nullptr;
    const int result = run.ask([&] { return tresk_ppro_get_action(&action); });
    const Malloced<char> owner(action);
    if (result != 0) {
        run.fail({Cause::Policy, "the setting could not be read", {}, "/etc/tresk/ppro/ppro.conf"});
    } else {
        table.rows.push_back({owner ? Value(std::string(owner.get())) : Value()});
    }
}

void check_blacklist(Run& run, std::vector<std::string> paths)
{
    Table& table = run.table("paths", {"blacklisted", "path"});
    for (std::string& path : paths) {
        const int answer = run.ask([&] { return ppro_path_in_blacklist(path.data()); });
        if (answer < 0) {
            run.fail({Cause::Policy, "the list could not be read", {}, "/etc/tresk/ppro/ppro_blacklist"});
            return;
        }
        table.rows.push_back({answer != 0, path});
    }
}

/// The service has no other answer for "none" than what the library returns for a failed call.
Failure failure_of_pid(Run& run, int answer, const std::string& path)
{
    if (!is_utf8(path)) {
        return not_utf8();
    }
    if (auto failure = failure_of_query(answer)) {
        return *failure;
    }
    if (auto failure = probe_service(run)) {
        return *failure;
    }
    return {Cause::NotFound, "not running, or the service refused to tell", answer, {}};
}

void show_pid(Run& run, const std::string& path)
{
    Table& table = run.table("processes", {"pid", "path"});
    const int answer = run.ask([&] { return tresk_get_pid_by_path(path.c_str()); });
    if (answer >= 0) {
        table.rows.push_back({answer, path});
        return;
    }
    Failure failure = failure_of_pid(run, answer, path);
    failure.subject = path;
    run.fail(std::move(failure));
}

void add_view_options(CLI::App& command, const std::shared_ptr<ViewOptions>& options)
{
    CLI::Option* const all = command.add_flag("--all", options->filter.all, "Entries of both owners");
    command.add_flag("--sm", options->filter.sm, "Entries of the sm side instead of ordinary ones")
        ->excludes(all);
    command
        .add_option_function<std::string>(
            "--source", [options](const std::string& name) { options->filter.source = name; },
            "Only entries of this source")
        ->option_text("NAME");
}

void add_views(CLI::App& ppro, Run& run)
{
    const auto list = std::make_shared<ViewOptions>();
    add_view_options(*add_command(ppro, run, "list", "List the protected programs",
                                  [&run, list] { list_entries(run, list->filter); }),
                     list);
    const auto show = std::make_shared<ViewOptions>();
    CLI::App* const command = add_command(ppro, run, "show", "Show one program's protection",
                                          [&run, show] { show_entry(run, *show); });
    command->add_option("PATH", show->path, "The program")->required();
    add_view_options(*command, show);
}

} // namespace

void add_ppro_queries(CLI::App& ppro, Run& run)
{
    add_views(ppro, run);
    add_paths_command(ppro, run, "hash", "Show the hashes under which paths are kept", show_path_hashes);
    add_command(ppro, run, "action", "Show the configured action", [&run] { show_action(run); });
    add_paths_command(ppro, run, "blacklist", "Ask whether paths may not be protected", check_blacklist);

    const auto path = std::make_shared<std::string>();
    add_command(ppro, run, "pid", "Ask the service for the process id of a program",
                [&run, path] { show_pid(run, *path); })
        ->add_option("PATH", *path, "The program, sent as it is given")
        ->required();
}

} // namespace tresk::ctl
