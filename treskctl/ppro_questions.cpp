// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "ppro" beside its entries: the hash of a path, the configured action, the paths that may not be protected,
// and the process of a program.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/path_commands.h"
#include "treskctl/policy/object_commands.h"
#include "treskctl/printable.h"
#include "treskctl/service_answer.h"

namespace tresk::ctl {

namespace {

void show_action(Run& run)
{
    Table& table = run.table("action", {"action"});
    char* action = nullptr;
    const int result = run.ask([&] { return tresk_ppro_get_action(&action); });
    const Malloced<char> owner(action);
    if (result != 0) {
        run.fail({Cause::Policy,
                  "the setting could not be read",
                  {},
                  "/etc/tresk/ppro/ppro.conf",
                  "The file has to be there; a line \"action=...\" in it is the setting."});
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
            run.fail({Cause::Policy,
                      "the list could not be read",
                      {},
                      "/etc/tresk/ppro/ppro_blacklist",
                      "The file has to be there, with one pattern a line."});
            return;
        }
        table.rows.push_back({answer != 0, path});
        if (answer == 0) {
            run.answer_no();
        }
    }
}

/// The service has no other answer for "none" than what the library returns for a failed call; a call that
/// failed was recorded.
void show_pid(Run& run, const std::string& path)
{
    Table& table = run.table("processes", {"pid", "path"});
    const Answer<int> answer = run.hear([&] { return tresk_get_pid_by_path(path.c_str()); });
    if (answer.result >= 0) {
        table.rows.push_back({answer.result, path});
        return;
    }
    Failure failure = answer.recorded
                          ? failure_of_record(*answer.recorded)
                          : Failure{Cause::NotFound,
                                    "not running",
                                    answer.result,
                                    {},
                                    "Programs are found by the file that they run or the name that they "
                                    "were started by."};
    failure.subject = path;
    run.fail(std::move(failure));
}

} // namespace

void add_ppro_questions(CLI::App& ppro, Run& run)
{
    add_paths_command(ppro, run, "hash", "Show the hashes under which paths are kept",
                      [](Run& asked, const std::vector<std::string>& paths) {
                          show_hashes(asked, paths, tresk_ppro_get_path_hash);
                      });
    add_command(ppro, run, "action", "Show the configured action", [&run] { show_action(run); });
    add_paths_command(ppro, run, "blacklist", "Ask whether paths may not be protected: exit status 0 or 1",
                      check_blacklist);
    const auto path = std::make_shared<std::string>();
    add_command(ppro, run, "pid", "Ask the service for the process id of a program",
                [&run, path] { show_pid(run, *path); })
        ->add_option("PATH", *path, "The program, sent as it is given")
        ->required();
}

void add_pblk_questions(CLI::App& pblk, Run& run)
{
    add_paths_command(pblk, run, "hash", "Show the hashes under which paths are kept",
                      [](Run& asked, const std::vector<std::string>& paths) {
                          show_hashes(asked, paths, tresk_pblk_get_path_hash);
                      });
}

} // namespace tresk::ctl
