// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "kmod": the kernel modules that the framework protects, by their names or by their files.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/path_commands.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/service_answer.h"
#include "treskctl/simple_change.h"

#include <array>
#include <memory>

namespace tresk::ctl {

namespace {

// --- edits ---

/// An edit of the list. Nobody tells which modules are on it, so whether it changed anything stays unknown.
struct ListEdit {
    const char* name;
    const char* help;
    const char* done;
    const char* by_name;
    int (*call_by_name)(const char* name);
    const char* by_file;
    int (*call_by_file)(const char* path);
};

constexpr std::array kEdits = {
    ListEdit{"protect", "Protect kernel modules", "protected", "add_kmod_to_kmod_protect",
             add_kmod_to_kmod_protect, "add_to_kmod_protect", add_to_kmod_protect},
    ListEdit{"unprotect", "End the protection of kernel modules", "unprotected",
             "remove_kmod_from_kmod_protect", remove_kmod_from_kmod_protect, "remove_from_kmod_protect",
             remove_from_kmod_protect},
};

struct ModuleOptions {
    std::vector<std::string> modules;
    bool files = false;
};

constexpr int kNameNotRead = -2;

Failure no_module_file()
{
    return {Cause::Input, "no kernel module's name could be read from the file", {}, {}, {}};
}

/// Of a module's file the library does not tell the scene library's code.
std::optional<Failure> failure_by_file(const Answer<int>& answer)
{
    if (answer.result == 0) {
        return std::nullopt;
    }
    return answer.result == kNameNotRead ? no_module_file()
                                         : Failure{Cause::Scene, "the scene library failed", {}, {}, {}};
}

std::optional<Failure> failure_by_name(const Answer<int>& answer)
{
    return answer.result == 0
               ? std::nullopt
               : std::optional(Failure{Cause::Scene,
                                       "the scene library failed with code " + std::to_string(answer.result),
                                       answer.result,
                                       {},
                                       {}});
}

void edit_list(Run& run, const ListEdit& edit, const ModuleOptions& options)
{
    SimpleChanges results(run, {"result", "module"});
    for (const std::string& module : options.modules) {
        if (run.stopping()) {
            return;
        }
        const LibraryCall call = options.files ? call_of(edit.by_file, edit.call_by_file, module)
                                               : call_of(edit.by_name, edit.call_by_name, module);
        results.make({edit.done, module}, call, {}, module,
                     options.files ? failure_by_file : failure_by_name);
    }
}

void add_edit(CLI::App& kmod, Run& run, const ListEdit& edit)
{
    const auto options = std::make_shared<ModuleOptions>();
    CLI::App* const command = add_command(kmod, run, edit.name, edit.help,
                                          [&run, &edit, options] { edit_list(run, edit, *options); });
    command->add_option("MODULE", options->modules, "Names of kernel modules; with --file module files")
        ->required();
    command->add_flag("--file", options->files, "MODULE is a module's file, which holds its name");
}

// --- questions ---

using Subjects = std::vector<std::string>;

void show_names(Run& run, const Subjects& files)
{
    Table& table = run.table("modules", {"module", "file"});
    for (const std::string& file : files) {
        if (const auto name = run.ask([&] { return Malloced<char>(get_kmod_name_from_ko(file.c_str())); })) {
            table.rows.push_back({std::string(name.get()), file});
        } else {
            Failure failure = no_module_file();
            failure.subject = file;
            run.fail(std::move(failure));
        }
    }
}

void show_owners(Run& run, const Subjects& modules)
{
    Table& table = run.table("modules", {"owner", "module"});
    for (const std::string& module : modules) {
        const Answer<int> answer = run.hear([&] { return check_kmod_in_sm(module.c_str()); });
        if (answer.recorded) {
            Failure failure = failure_of_record(*answer.recorded);
            failure.subject = module;
            run.fail(std::move(failure));
        } else {
            table.rows.push_back({answer.result == 0 ? "sm" : "ordinary", module});
        }
    }
}

} // namespace

void add_kmod_commands(CLI::App& app, Run& run)
{
    CLI::App* const kmod = add_group(app, "kmod", "Kernel module protection");
    for (const ListEdit& edit : kEdits) {
        add_edit(*kmod, run, edit);
    }
    add_texts_command(*kmod, run, "name", "Read the names of kernel modules from their files", "FILE",
                      "Module files", show_names);
    add_texts_command(*kmod, run, "owner", "Ask the service who owns the data of kernel modules", "MODULE",
                      "Names of kernel modules", show_owners);
}

} // namespace tresk::ctl
