// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "module": the states of the framework's modules. Which modules there are, what their states mean and what
// the numbers of a change stand for is the service's; they are sent as they are given.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/module_state.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/object_commands.h"
#include "treskctl/service_answer.h"
#include "treskctl/simple_change.h"

#include <array>
#include <memory>

namespace tresk::ctl {

namespace {

Row module_row(Run& run, int number)
{
    const std::string subject = "module " + std::to_string(number);
    const int configured = run.ask([&] { return getModuleStatus_dbus(number); });
    if (auto failure = failure_of_query(configured)) {
        failure->subject = subject;
        run.fail(std::move(*failure));
        return {};
    }
    const int real = run.ask([&] { return getCurModuleStatus_dbus(number); });
    return {number, configured, value_or_failure(run, real, subject)};
}

/// The answer of a question about a change: the service's number, not a verdict of ours.
template <class Call>
void ask_about_change(Run& run, const std::array<int, 2>& numbers, Call call)
{
    Table& table = run.table("answers", {"first", "second", "answer"});
    const int answer = run.ask([&] { return call(numbers[0], numbers[1]); });
    if (auto failure = failure_of_query(answer)) {
        run.fail(std::move(*failure));
    } else {
        table.rows.push_back({numbers[0], numbers[1], answer});
    }
}

/// Whether each of the modules is so already, now and after the next boot; nothing where one cannot be asked.
std::optional<bool> modules_are(Run& run, const std::array<int, 5>& states)
{
    for (std::size_t module = 0; module < states.size(); ++module) {
        for (const auto state_of : {getModuleStatus_dbus, getCurModuleStatus_dbus}) {
            const int state = run.ask([&] { return state_of(static_cast<int>(module)); });
            if (failure_of_query(state)) {
                return std::nullopt;
            }
            if (state != states[module]) {
                return false;
            }
        }
    }
    return true;
}

template <std::size_t count, class Action>
void add_numbers_command(CLI::App& module, Run& run, const std::string& name, const std::string& help,
                         Action action)
{
    const auto numbers = std::make_shared<std::array<int, count>>();
    add_command(module, run, name, help, [numbers, action] { action(*numbers); })
        ->add_option("NUMBER", *numbers, "What the service is sent, in order")
        ->required();
}

void add_changes(CLI::App& module, Run& run)
{
    add_numbers_command<5>(module, run, "set", "Change module states: five numbers", [&run](const auto& n) {
        make_simple_change(run, {{"change"},
                                 {"modules"},
                                 TRESKCTL_CALL(setModuleStatus_dbus, n[0], n[1], n[2], n[3], n[4]),
                                 modules_are(run, n)});
    });
    add_numbers_command<6>(
        module, run, "set-reboot", "Change them for the next boot: six numbers", [&run](const auto& n) {
            make_simple_change(
                run, {{"change"},
                      {"modules at reboot"},
                      TRESKCTL_CALL(setModuleStatusReboot_dbus, n[0], n[1], n[2], n[3], n[4], n[5])});
        });
    const auto policy = std::make_shared<std::string>();
    add_command(module, run, "selinux", "Choose the SELinux policy",
                [&run, policy] {
                    make_simple_change(run, {{"change", "policy"},
                                             {"selinux", *policy},
                                             TRESKCTL_CALL(setSelinuxPolicy, *policy)});
                })
        ->add_option("POLICY", *policy, "The policy's name")
        ->required();
}

void add_questions(CLI::App& module, Run& run)
{
    add_numbers_command<2>(
        module, run, "check-reboot", "Ask whether a change needs a reboot: two numbers",
        [&run](const auto& n) { ask_about_change(run, n, checkSetModuleStatusReboot_dbus); });
    add_numbers_command<2>(
        module, run, "authorise", "Have the user authorised for a change: two numbers",
        [&run](const auto& n) {
            make_simple_change(run, {{"change", "first", "second"},
                                     {"authorised", n[0], n[1]},
                                     TRESKCTL_CALL(processctrlPolkitForSetModuleStatus_dbus, n[0], n[1])});
        });
}

} // namespace

void add_module_table(Run& run, const std::vector<int>& numbers)
{
    Table& table = run.table("modules", {"module", "configured", "real"});
    for (const int number : numbers) {
        Row row = module_row(run, number);
        if (!row.empty()) {
            table.rows.push_back(std::move(row));
        }
    }
}

void add_module_commands(CLI::App& app, Run& run)
{
    CLI::App* const module = add_group(app, "module", "The states of the framework's modules");
    add_command(*module, run, "list", "Show modules 0 to 4",
                [&run] { add_module_table(run, kListedModules); });

    const auto numbers = std::make_shared<std::vector<int>>();
    add_command(*module, run, "show", "Show the configured and the real state",
                [&run, numbers] { add_module_table(run, *numbers); })
        ->add_option("MODULE", *numbers, "The module's number")
        ->required();
    add_changes(*module, run);
    add_questions(*module, run);
    add_security_commands(*module, run);
}

} // namespace tresk::ctl
