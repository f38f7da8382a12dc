// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "ppro": the protected programs. Edits go on after a path that failed.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/edit.h"
#include "treskctl/printable.h"

#include <filesystem>
#include <system_error>

namespace tresk::ctl {

namespace {

struct EntryOptions {
    std::vector<std::string> subjects;
    int type = 0;
    bool sm = false;
    std::string source;
};

int add_path(const EntryOptions& options, const std::string& path)
{
    return tresk_ppro_add_zdk(path.c_str(), options.type, options.sm ? 1 : 0, options.source.c_str());
}

int update_path(const EntryOptions& options, const std::string& path)
{
    return tresk_ppro_update_zdk(path.c_str(), options.type, options.sm ? 1 : 0, options.source.c_str());
}

int remove_path(const EntryOptions& options, const std::string& path)
{
    return tresk_ppro_remove_zdk(path.c_str(), options.sm ? 1 : 0, options.source.c_str());
}

bool has_path(const EntryOptions& /*options*/, const std::string& path)
{
    return Malloced<ppro_node_info>(tresk_ppro_read_node_with_path_sm(path.c_str())) != nullptr;
}

bool is_missing(const std::string& path)
{
    std::error_code why;
    return std::filesystem::status(path, why).type() == std::filesystem::file_type::not_found;
}

/// These edits begin with making the path absolute, which needs the file.
Failure failure_of_path(Run& run, const Heard<int>& answer, const EntryOptions& options,
                        const std::string& path)
{
    const bool untold = answer.result == kFailedSomehow && answer.said.output.empty();
    if (untold && is_utf8(path) && is_utf8(options.source) && is_missing(path)) {
        return {Cause::NoAnswer, "failed; there is no such file", kFailedSomehow, {}};
    }
    return failure_of_edit(run, answer, {path, options.source});
}

void add_owner(CLI::App& command, EntryOptions& options)
{
    command.add_flag("--sm", options.sm, "Entries of the sm side");
    command.add_option("--source", options.source, "The source that asks for them")->option_text("NAME");
}

void add_owner_and_type(CLI::App& command, EntryOptions& options)
{
    add_owner(command, options);
    command.add_option("--type", options.type, "Protection type, a number of the service")
        ->required()
        ->option_text("N REQUIRED");
}

constexpr EditFamily<EntryOptions> kFamily = {"path", "PATH", "Programs", failure_of_path, has_path};

constexpr std::array kEdits = {
    Edit<EntryOptions>{"add", "Protect programs", add_path, "protected", "already protected",
                       add_owner_and_type},
    Edit<EntryOptions>{"update", "Change the type of programs' protection", update_path, "updated", nullptr,
                       add_owner_and_type},
    Edit<EntryOptions>{"remove", "End programs' protection", remove_path, "unprotected", nullptr, add_owner},
};

} // namespace

void add_ppro_commands(CLI::App& app, Run& run)
{
    CLI::App* const ppro = add_group(app, "ppro", "Process protection");
    add_edits(*ppro, run, kFamily, kEdits);
    add_ppro_queries(*ppro, run);
}

} // namespace tresk::ctl
