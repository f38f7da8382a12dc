// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "status": the framework's switches, as a whole and for each protection function, and whether its service
// answers.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/framework_state.h"
#include "treskctl/nearest.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/object_commands.h"
#include "treskctl/service_answer.h"
#include "treskctl/simple_change.h"
#include "treskctl/switch_option.h"

#include <memory>

namespace tresk::ctl {

namespace {

Row row_of(const Switch& one)
{
    return {std::string(one.name), switch_word(is_on(one) ? 1 : 0), std::string(one.about)};
}

void list_switches(Run& run)
{
    Table& table = run.table("switches", {"switch", "state", "about"});
    for (const Switch& one : switches()) {
        table.rows.push_back(row_of(one));
    }
}

void show_status(Run& run)
{
    list_switches(run);
    Table& service = run.table("service", {"answers"});
    auto failure = probe_service(run);
    service.rows.push_back({!failure || failure->code != TRESK_ERROR_SERVICE});
    if (failure) {
        run.fail(std::move(*failure));
    }
}

const Switch& switch_of(const std::string& word)
{
    const Switch* found = find_switch(word);
    if (found == nullptr) {
        std::vector<std::string> names;
        for (const Switch& one : switches()) {
            names.emplace_back(one.name);
        }
        throw WrongUsage("there is no switch \"" + word + "\"" + did_you_mean(word, names));
    }
    return *found;
}

void show_switches(Run& run, const std::vector<std::string>& words)
{
    Table& table = run.table("switches", {"switch", "state", "about"});
    for (const std::string& word : words) {
        table.rows.push_back(row_of(switch_of(word)));
    }
}

void check_switches(Run& run, const std::vector<std::string>& words)
{
    Table& table = run.table("checks", {"on", "switch"});
    for (const std::string& word : words) {
        const Switch& one = switch_of(word);
        const bool on = is_on(one);
        table.rows.push_back({on, std::string(one.name)});
        if (!on) {
            run.answer_no();
        }
    }
}

void set_switch(Run& run, const std::string& word, int state)
{
    const Switch& one = switch_of(word);
    make_simple_change(run,
                       {{"switch", "state"},
                        {std::string(one.name), switch_word(state)},
                        one.index == kWholeFramework ? TRESKCTL_CALL(tresk_setstatus, state)
                                                     : TRESKCTL_CALL(tresk_set_func_status, one.index, state),
                        is_on(one) == (state != 0)});
}

template <class Action>
void add_words_command(CLI::App& status, Run& run, const char* name, const char* help, Action action)
{
    const auto words = std::make_shared<std::vector<std::string>>();
    add_command(status, run, name, help, [&run, words, action] { action(run, *words); })
        ->add_option("SWITCH", *words, "The word framework, or a function's name or number")
        ->required();
}

} // namespace

void add_status_commands(CLI::App& app, Run& run)
{
    CLI::App* const status = add_command(app, run, "status", "Show whether the framework works, or switch it",
                                         [&run] { show_status(run); });
    add_command(*status, run, "list", "List the switches and their states", [&run] { list_switches(run); });
    add_words_command(*status, run, "show", "Show switches by name", show_switches);
    add_words_command(*status, run, "check", "Ask whether switches are on: exit status 0 or 1",
                      check_switches);

    const auto word = std::make_shared<std::string>();
    const auto state = std::make_shared<int>(0);
    CLI::App* const set = add_command(*status, run, "set", "Switch the framework, or one of its functions",
                                      [&run, word, state] { set_switch(run, *word, *state); });
    set->add_option("SWITCH", *word, "The word framework, or a function's name or number")->required();
    add_switch(*set, *state);
}

} // namespace tresk::ctl
