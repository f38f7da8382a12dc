// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "pblk": the blocked programs. An entry may name the source that asked for it.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/edit.h"
#include "treskctl/path_commands.h"
#include "treskctl/policy_records.h"

namespace tresk::ctl {

namespace {

constexpr Policy kPolicy = {"/etc/tresk/pblk/pblk.xml", "the file is no process blocking policy"};

// --- edits ---

struct BlockOptions {
    std::vector<std::string> subjects;
    Source source;
};

/// The library shortens the path where it stands.
int add_path(const BlockOptions& options, const std::string& path)
{
    std::string sent = path;
    return tresk_pblk_add_zdk(sent.data(), options.source.type, options.source.name.c_str());
}

int remove_path(const BlockOptions& options, const std::string& path)
{
    std::string sent = path;
    return tresk_pblk_remove_zdk(sent.data(), options.source.type, options.source.name.c_str());
}

bool has_path(const BlockOptions& options, const std::string& path)
{
    return Malloced<pblk_node_info>(tresk_pblk_read_node_with_path_zdk(
               path.c_str(), options.source.type, options.source.name.c_str())) != nullptr;
}

Failure failure_of_path(Run& run, const Heard<int>& answer, const BlockOptions& options,
                        const std::string& path)
{
    return failure_of_edit(run, answer, {path, options.source.name});
}

void add_source(CLI::App& command, BlockOptions& options)
{
    add_source_options(command, options.source);
}

constexpr EditFamily<BlockOptions> kFamily = {"path", "PATH", "Programs, sent as they are given",
                                              failure_of_path, has_path};

constexpr std::array kEdits = {
    Edit<BlockOptions>{"add", "Block programs", add_path, "blocked", "already blocked", add_source},
    Edit<BlockOptions>{"remove", "Unblock programs", remove_path, "unblocked", nullptr, add_source},
};

// --- questions ---

struct Question {
    Source source;
    std::string path;
};

const View<pblk_node_info> kView = {{"hash", "path"}, [](const pblk_node_info& entry) {
                                        return Row{entry.hash, entry.path};
                                    }};

/// The reader of one source's entries does not read their hashes.
const View<pblk_node_info> kViewOfSource = {kView.fields, [](const pblk_node_info& entry) {
                                                return Row{{}, entry.path};
                                            }};

void list_paths(Run& run, const Source& source)
{
    if (source.given) {
        list_records<int>(run, kPolicy, kViewOfSource, true, [&](int* count) {
            return tresk_pblk_read_all_data_zdk(source.type, source.name.c_str(), count);
        });
    } else {
        list_records<int>(run, kPolicy, kView, true, tresk_pblk_read_all_data);
    }
}

void show_path(Run& run, const Question& question)
{
    show_record(run, kView, read_records<int>(run, kPolicy, tresk_pblk_read_all_data).has_value(),
                [&] {
                    return Malloced<pblk_node_info>(tresk_pblk_read_node_with_path_zdk(
                        question.path.c_str(), question.source.type, question.source.name.c_str()));
                },
                {Cause::NotFound, "not blocked for this source", {}, question.path});
}

void add_questions(CLI::App& pblk, Run& run)
{
    const auto source = std::make_shared<Source>();
    add_source_options(*add_command(pblk, run, "list", "List the blocked programs, or those of a source",
                                    [&run, source] { list_paths(run, *source); }),
                       *source);

    const auto show = std::make_shared<Question>();
    CLI::App* const shower =
        add_command(pblk, run, "show", "Show one program's entry", [&run, show] { show_path(run, *show); });
    shower->add_option("PATH", show->path, "The program, as the policy names it")->required();
    add_source_options(*shower, show->source);

    add_paths_command(pblk, run, "hash", "Show the hashes under which paths are kept",
                      [](Run& asked, const std::vector<std::string>& paths) {
                          show_hashes(asked, paths, tresk_pblk_get_path_hash);
                      });
}

} // namespace

void add_pblk_commands(CLI::App& app, Run& run)
{
    CLI::App* const pblk = add_group(app, "pblk", "Process blocking");
    add_questions(*pblk, run);
    add_edits(*pblk, run, kFamily, kEdits);
}

} // namespace tresk::ctl
