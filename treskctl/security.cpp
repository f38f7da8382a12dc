// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "module security": the security status as the defender shows it. Its calls return 0 both for the answer 0
// and for a failed call; the error record tells them apart.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/object_commands.h"
#include "treskctl/service_answer.h"
#include "treskctl/simple_change.h"

#include <array>
#include <memory>

namespace tresk::ctl {

namespace {

void show_security(Run& run)
{
    Table& table = run.table("security", {"current", "configured", "module_state"});
    int configured = 0;
    int module = 0;
    const Answer<int> current = run.hear([] { return getCurSecurityStatusForVexDefender(); });
    const Answer<int> settings =
        run.hear([&] { return getSecurityStatusForVexDefender(&configured, &module); });
    for (const Answer<int>* answer : {&current, &settings}) {
        if (answer->recorded) {
            run.fail(failure_of_record(*answer->recorded));
            return;
        }
    }
    table.rows.push_back({current.result, configured, module});
}

void check_reboot(Run& run, int value)
{
    Table& table = run.table("answers", {"value", "answer"});
    const int answer = run.ask([&] { return checkSecuritySwitchReboot_dbus(value); });
    if (auto failure = failure_of_query(answer)) {
        run.fail(std::move(*failure));
    } else {
        table.rows.push_back({value, answer});
    }
}

template <std::size_t count, class Action>
void add_numbers(CLI::App& security, Run& run, const char* name, const char* help, Action action)
{
    const auto numbers = std::make_shared<std::array<int, count>>();
    add_command(security, run, name, help, [numbers, action] { action(*numbers); })
        ->add_option("NUMBER", *numbers, "What the service is sent, in order")
        ->required();
}

} // namespace

void add_security_commands(CLI::App& module, Run& run)
{
    CLI::App* const security = add_group(module, "security", "The security status, as the defender shows it");
    add_command(*security, run, "show", "Show the current and the configured status",
                [&run] { show_security(run); });
    add_numbers<2>(
        *security, run, "set", "Change it: two numbers, as the service counts", [&run](const auto& n) {
            make_simple_change(
                run, {{"change"}, {"security"}, TRESKCTL_CALL(setSecurityForVexDefender, n[0], n[1])});
        });
    add_numbers<3>(
        *security, run, "set-reboot", "Change it for the next boot: three numbers", [&run](const auto& n) {
            make_simple_change(run, {{"change"},
                                     {"security at reboot"},
                                     TRESKCTL_CALL(setSecurityForVexDefenderReboot, n[0], n[1], n[2])});
        });
    const auto value = std::make_shared<int>(0);
    add_command(*security, run, "check-reboot", "Ask whether a switch needs a reboot",
                [&run, value] { check_reboot(run, *value); })
        ->add_option("NUMBER", *value, "What the service is asked about")
        ->required();
}

} // namespace tresk::ctl
