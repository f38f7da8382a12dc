// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/netctl_rules.h"

#include "tresk_extend.h"
#include "treskctl/edit.h"
#include "treskctl/switch_option.h"

namespace tresk::ctl {

namespace {

constexpr int kNotRead = -1;

const std::vector<std::string> kSwitchFields = {"switch", "state"};

Row switch_row(int state)
{
    return {"user-distinct", switch_word(state)};
}

int read_distinction(Run& run)
{
    if (is_to_be_made(kProgramPolicy)) {
        listen_to(tresk_netctl_get_user_distinguish);
    }
    return run.ask(tresk_netctl_get_user_distinguish);
}

bool programs_can_be_read(Run& run)
{
    return read_records<std::uint32_t>(run, kProgramPolicy, tresk_netctl_read_all_data).has_value();
}

void show_distinction(Run& run)
{
    Table& table = run.table("switches", kSwitchFields);
    const int state = read_distinction(run);
    if (state != kNotRead) {
        table.rows.push_back(switch_row(state));
    } else if (programs_can_be_read(run)) {
        run.fail({Cause::Policy, "the policy does not have the setting", {}, kProgramPolicy.file});
    }
}

void set_distinction(Run& run, int state)
{
    Table& results = run.table("results", kSwitchFields);
    const Heard<int> answer =
        run.hear([&] { return tresk_netctl_set_user_distinguish(static_cast<std::uint32_t>(state)); });
    if (answer.result == 0) {
        results.rows.push_back(switch_row(state));
    } else {
        run.fail(failure_of_edit(run, answer, {}));
    }
}

} // namespace

void add_optional_text(CLI::App& command, const std::string& name, std::optional<std::string>& text,
                       const std::string& help, const std::string& argument)
{
    // The parser would take an empty text for none if it filled the option itself.
    command
        .add_option_function<std::string>(
            name, [&text](const std::string& word) { text = word; }, help)
        ->option_text(argument)
        ->check(at_most(kLongestText));
}

void add_rule_options(CLI::App& command, RuleOptions& options)
{
    add_uid_option(command, options.uid);
    command.add_option("--type", options.type, "Control type, a number of the service")
        ->required()
        ->option_text("N REQUIRED");
    command.add_option("--ico", options.ico, "Icon; empty when not given")
        ->option_text("TEXT")
        ->check(at_most(kLongestText));
    add_optional_text(command, "--desktop", options.desktop, "Desktop entry", "TEXT");
    command.add_option("--server-type", options.server_type, "Kind of service, a number; 0 when not given")
        ->option_text("N");
}

bool learn_distinction(Run& run)
{
    return read_distinction(run) != kNotRead || programs_can_be_read(run);
}

void add_distinction_command(CLI::App& netctl, Run& run)
{
    const auto state = std::make_shared<int>(kNotRead);
    CLI::App* const command = add_command(
        netctl, run, "user-distinct", "Show or set whether network control is kept per user", [&run, state] {
            if (*state == kNotRead) {
                show_distinction(run);
            } else {
                set_distinction(run, *state);
            }
        });
    add_switch(*command, *state)->required(false);
}

} // namespace tresk::ctl
