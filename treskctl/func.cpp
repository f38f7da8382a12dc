// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "func": the switches of the single protection functions.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/service_answer.h"
#include "treskctl/switch_option.h"

#include <algorithm>
#include <array>
#include <memory>

namespace tresk::ctl {

namespace {

struct Function {
    std::string_view name;
    int index;
};

/// Number 7 is no function.
constexpr std::array kFunctions = {
    Function{"exectl", 0}, Function{"netctl", 1}, Function{"fpro", 2},   Function{"kmodpro", 3},
    Function{"3adm", 4},   Function{"ppro", 5},   Function{"devctl", 6}, Function{"tpm", 8},
    Function{"sm", 9},     Function{"pblk", 10},
};

/// By name or by number.
const Function* find_function(const std::string& word)
{
    const auto* const found = std::ranges::find_if(kFunctions, [&](const Function& function) {
        return word == function.name || word == std::to_string(function.index);
    });
    return found == kFunctions.end() ? nullptr : found;
}

std::string unknown_function(const std::string& word)
{
    return find_function(word) != nullptr ? "" : "\"" + word + "\" is no protection function (see func list)";
}

void list_functions(Run& run)
{
    Table& table = run.table("functions", {"index", "function"});
    for (const Function& function : kFunctions) {
        table.rows.push_back({function.index, std::string(function.name)});
    }
}

void set_function(Run& run, const std::string& word, int state)
{
    const Function& function = *find_function(word);
    change(run, {"function", "index", "state"},
           {std::string(function.name), function.index, switch_word(state)},
           [&] { return tresk_set_func_status(function.index, state); });
}

struct Choice {
    std::string function;
    int state = 0;
};

} // namespace

void add_func_commands(CLI::App& app, Run& run)
{
    CLI::App* const func = add_group(app, "func", "The single protection functions");
    add_command(*func, run, "list", "List their names and numbers", [&run] { list_functions(run); });

    const auto choice = std::make_shared<Choice>();
    CLI::App* const set = add_command(*func, run, "set", "Switch one function",
                                      [&run, choice] { set_function(run, choice->function, choice->state); });
    set->add_option("FUNCTION", choice->function, "Name or number")
        ->required()
        ->option_text("NAME|INDEX")
        ->check(CLI::Validator([](const std::string& word) { return unknown_function(word); }, ""));
    add_switch(*set, choice->state);
}

} // namespace tresk::ctl
