// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "status": what the service tells of itself, and the switch of the framework as a whole. The states of the
// single protection functions can be set but not asked for, so none are shown.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/module_state.h"
#include "treskctl/security_status.h"
#include "treskctl/service_answer.h"
#include "treskctl/switch_option.h"

#include <memory>

namespace tresk::ctl {

namespace {

void add_silent_service(Run& run, Table& status, Failure failure)
{
    const bool answers = failure.code != TRESK_ERROR_SERVICE;
    status.rows.push_back({answers, {}, {}});
    run.fail(std::move(failure));
}

void show_status(Run& run)
{
    Table& status = run.table("status", {"service_answers", "security", "configured_security"});
    if (auto failure = probe_service(run)) {
        add_silent_service(run, status, std::move(*failure));
        return;
    }
    const SecurityStatus security = ask_security_status(run);
    status.rows.push_back({true, security.current, security.configured});
    add_module_table(run, kListedModules);
}

void set_status(Run& run, int state)
{
    change(run, {"switch", "state"}, {"framework", switch_word(state)},
           [&] { return tresk_setstatus(state); });
}

} // namespace

void add_status_commands(CLI::App& app, Run& run)
{
    CLI::App* const status = add_command(app, run, "status", "Show whether the framework works, or switch it",
                                         [&run] { show_status(run); });
    const auto state = std::make_shared<int>(0);
    CLI::App* const set = add_command(*status, run, "set", "Switch the whole framework",
                                      [&run, state] { set_status(run, *state); });
    add_switch(*set, *state);
}

} // namespace tresk::ctl
