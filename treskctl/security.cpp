// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "security": the security status as the defender shows it. Its calls return 0 both for the answer 0 and for
// a failed call, so before 0 is taken for an answer the service is asked whether it answers at all.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/security_status.h"
#include "treskctl/service_answer.h"

#include <array>
#include <memory>

namespace tresk::ctl {

namespace {

void show_security(Run& run)
{
    Table& table = run.table("security", {"current", "configured", "module_state"});
    if (auto failure = probe_service(run)) {
        run.fail(std::move(*failure));
        return;
    }
    const SecurityStatus security = ask_security_status(run);
    table.rows.push_back({security.current, security.configured, security.module});
    if (std::holds_alternative<std::monostate>(security.configured)) {
        run.fail({Cause::NoAnswer,
                  "the configured status could not be read; the framework's log has the reason",
                  0,
                  {}});
    }
}

/// That the service answers does not tell whether it did as it was told: such a change is never confirmed.
template <class Call>
void change_security(Run& run, Call call)
{
    Table& results = run.table("results", {"change", "confirmed"});
    auto failure = failure_of_change(run.ask(call));
    if (!failure) {
        failure = probe_service(run);
    }
    if (failure) {
        run.fail(std::move(*failure));
    } else {
        results.rows.push_back({"security", false});
    }
}

void set_now(Run& run, const std::array<int, 2>& values)
{
    change_security(run, [&] { return setSecurityForVexDefender(values[0], values[1]); });
}

void set_at_reboot(Run& run, const std::array<int, 3>& values)
{
    change_security(run, [&] { return setSecurityForVexDefenderReboot(values[0], values[1], values[2]); });
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

} // namespace

SecurityStatus ask_security_status(Run& run)
{
    const int current = run.ask([] { return getCurSecurityStatusForVexDefender(); });
    int configured = 0;
    int module = 0;
    if (run.ask([&] { return getSecurityStatusForVexDefender(&configured, &module); }) != 1) {
        return {current, {}, {}};
    }
    return {current, configured, module};
}

void add_security_commands(CLI::App& app, Run& run)
{
    CLI::App* const security = add_group(app, "security", "The security status, as the defender shows it");
    add_command(*security, run, "show", "Show the current and the configured status",
                [&run] { show_security(run); });

    const auto two = std::make_shared<std::array<int, 2>>();
    add_command(*security, run, "set", "Change it: two numbers, as the service counts",
                [&run, two] { set_now(run, *two); })
        ->add_option("NUMBER", *two, "What the service is sent, in order")
        ->required();

    const auto three = std::make_shared<std::array<int, 3>>();
    add_command(*security, run, "set-reboot", "Change it for the next boot: three numbers",
                [&run, three] { set_at_reboot(run, *three); })
        ->add_option("NUMBER", *three, "What the service is sent, in order")
        ->required();

    const auto value = std::make_shared<int>(0);
    add_command(*security, run, "check-reboot", "Ask whether a switch needs a reboot",
                [&run, value] { check_reboot(run, *value); })
        ->add_option("NUMBER", *value, "What the service is asked about")
        ->required();
}

} // namespace tresk::ctl
