// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "ppro": the protected programs. Edits go on after a path that failed.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/edit.h"

#include <memory>

namespace tresk::ctl {

namespace {

/// add's result when the scene library has the path already; the service is not asked then.
constexpr int kInScene = 1;

struct EditOptions {
    std::vector<std::string> paths;
    int type = 0;
    bool sm = false;
    std::string source;
};

int add_path(const EditOptions& options, const char* path)
{
    return tresk_ppro_add_zdk(path, options.type, options.sm ? 1 : 0, options.source.c_str());
}

int update_path(const EditOptions& options, const char* path)
{
    return tresk_ppro_update_zdk(path, options.type, options.sm ? 1 : 0, options.source.c_str());
}

int remove_path(const EditOptions& options, const char* path)
{
    return tresk_ppro_remove_zdk(path, options.sm ? 1 : 0, options.source.c_str());
}

/// One kind of edit, and what is true of a path after it.
struct Edit {
    int (*call)(const EditOptions& options, const char* path);
    const char* done;
    bool may_be_in_scene;
};

constexpr Edit kAdd = {add_path, "protected", true};
constexpr Edit kUpdate = {update_path, "updated", false};
constexpr Edit kRemove = {remove_path, "unprotected", false};

/// That the scene has a path does not mean that the service's policy has it: an earlier add may have been
/// refused between the two. The question is our own, so what the library says about it is no news to anybody.
std::string word_for_known_path(const std::string& path)
{
    const auto entry =
        listen_to([&] { return Malloced<ppro_node_info>(tresk_ppro_read_node_with_path_sm(path.c_str())); });
    return entry.result ? "already protected" : "already in scene";
}

void edit_one(Run& run, Table& results, const Edit& edit, const EditOptions& options, const std::string& path)
{
    const Heard<int> answer = run.hear([&] { return edit.call(options, path.c_str()); });
    if (answer.result == 0) {
        results.rows.push_back({edit.done, path});
    } else if (edit.may_be_in_scene && answer.result == kInScene) {
        results.rows.push_back({word_for_known_path(path), path});
    } else {
        Failure failure = failure_of_edit(run, answer, path, options.source);
        failure.subject = path;
        run.fail(std::move(failure));
    }
}

void edit_all(Run& run, const Edit& edit, const EditOptions& options)
{
    Table& results = run.table("results", {"result", "path"});
    for (const std::string& path : options.paths) {
        edit_one(run, results, edit, options, path);
    }
}

/// Adds one edit's command; @edit lives as long as the program.
void add_edit(CLI::App& ppro, Run& run, const std::string& name, const std::string& help, const Edit& edit)
{
    const auto options = std::make_shared<EditOptions>();
    CLI::App* const command =
        add_command(ppro, run, name, help, [&run, &edit, options] { edit_all(run, edit, *options); });
    command->add_option("PATH", options->paths, "Programs")->required();
    command->add_flag("--sm", options->sm, "Entries of the sm side");
    command->add_option("--source", options->source, "The source that asks for them")->option_text("NAME");
    if (&edit != &kRemove) {
        command->add_option("--type", options->type, "Protection type, a number of the service")
            ->required()
            ->option_text("N REQUIRED");
    }
}

} // namespace

void add_ppro_commands(CLI::App& app, Run& run)
{
    CLI::App* const ppro = add_group(app, "ppro", "Process protection");
    add_edit(*ppro, run, "add", "Protect programs", kAdd);
    add_edit(*ppro, run, "update", "Change the type of programs' protection", kUpdate);
    add_edit(*ppro, run, "remove", "End programs' protection", kRemove);
    add_ppro_queries(*ppro, run);
}

} // namespace tresk::ctl
