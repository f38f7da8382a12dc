// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "kmod": the kernel modules that the framework protects, by their names or by their files.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/edit.h"
#include "treskctl/path_commands.h"
#include "treskctl/printable.h"
#include "treskctl/service_answer.h"

namespace tresk::ctl {

namespace {

// --- edits ---

struct ModuleOptions {
    std::vector<std::string> subjects;
    bool files = false;
};

constexpr int kNameNotRead = -2;

int protect(const ModuleOptions& options, const std::string& module)
{
    return options.files ? add_to_kmod_protect(module.c_str()) : add_kmod_to_kmod_protect(module.c_str());
}

int unprotect(const ModuleOptions& options, const std::string& module)
{
    return options.files ? remove_from_kmod_protect(module.c_str())
                         : remove_kmod_from_kmod_protect(module.c_str());
}

Failure no_module_file()
{
    return {Cause::Input, "no kernel module's name could be read from the file", {}, {}};
}

/// Of a module's file the library does not tell the scene library's code.
Failure failure_of_module(Run& /*run*/, const Heard<int>& answer, const ModuleOptions& options,
                          const std::string& /*module*/)
{
    if (!options.files) {
        return {Cause::Scene,
                "the framework's scene library failed with code " + std::to_string(answer.result),
                answer.result,
                {}};
    }
    return answer.result == kNameNotRead
               ? no_module_file()
               : Failure{Cause::Scene, "the framework's scene library failed", {}, {}};
}

void add_file_flag(CLI::App& command, ModuleOptions& options)
{
    command.add_flag("--file", options.files, "MODULE is a module's file, which holds its name");
}

constexpr EditFamily<ModuleOptions> kFamily = {
    "module", "MODULE", "Names of kernel modules; with --file module files", failure_of_module, nullptr};

constexpr std::array kEdits = {
    Edit<ModuleOptions>{"protect", "Protect kernel modules", protect, "protected", nullptr, add_file_flag},
    Edit<ModuleOptions>{"unprotect", "End the protection of kernel modules", unprotect, "unprotected",
                        nullptr, add_file_flag},
};

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

/// The library's answer for a failed call may be the service's own.
Failure failure_of_owner(Run& run, const std::string& module)
{
    Failure failure = is_utf8(module) ? failure_without_reason(run) : not_utf8();
    failure.subject = module;
    return failure;
}

void show_owners(Run& run, const Subjects& modules)
{
    Table& table = run.table("modules", {"owner", "module"});
    for (const std::string& module : modules) {
        const int answer = run.ask([&] { return check_kmod_in_sm(module.c_str()); });
        if (answer == kFailedSomehow) {
            run.fail(failure_of_owner(run, module));
        } else {
            table.rows.push_back({answer == 0 ? "sm" : "ordinary", module});
        }
    }
}

} // namespace

void add_kmod_commands(CLI::App& app, Run& run)
{
    CLI::App* const kmod = add_group(app, "kmod", "Kernel module protection");
    add_edits(*kmod, run, kFamily, kEdits);
    add_texts_command(*kmod, run, "name", "Read the names of kernel modules from their files", "FILE",
                      "Module files", show_names);
    add_texts_command(*kmod, run, "owner", "Ask the service who owns the data of kernel modules", "MODULE",
                      "Names of kernel modules", show_owners);
}

} // namespace tresk::ctl
