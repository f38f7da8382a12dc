// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/notification.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace tresk::ctl {

namespace {

struct Ending {
    int result;
    Cause cause;
    const char* message;
    /// Empty for the cause's own.
    const char* advice;
};

constexpr std::array kEndings = {
    Ending{-1, Cause::Unreachable, "the kernel module did not answer", ""},
    Ending{-2, Cause::Refused, "the kernel's framework version is below 4.2",
           "Update the framework's kernel module."},
    Ending{-1000, Cause::Refused, "not sent: the library sends no message of this type in this release",
           "Look at --type: kernel modules have other messages."},
};

Failure failure_of(int result)
{
    const auto* const known = std::ranges::find(kEndings, result, &Ending::result);
    const Ending& ending = known == kEndings.end() ? kEndings.front() : *known;
    return {ending.cause, ending.message, result, {}, ending.advice};
}

} // namespace

void add_message_type(CLI::App& command, MessageType& type)
{
    command.add_option("--type", type, "Message type")->required()->option_text("N REQUIRED");
}

/// The library returns 0 also for what it may not send; that it then says so is the only sign.
void send_notification(Run& run, const Notice& notice)
{
    std::vector<std::string> fields = notice.fields;
    if (run.settings().dry_run) {
        fields.emplace_back("call");
    }
    Table& results = run.table("results", std::move(fields));
    results.rows.push_back(notice.row);
    if (run.settings().dry_run) {
        results.rows.back().emplace_back(notice.call.text);
        return;
    }
    const Answer<int> answer = run.hear(notice.call.make);
    if (answer.result != 0) {
        results.rows.clear();
        run.fail(failure_of(answer.result));
    } else if (!answer.said.output.empty()) {
        results.rows.clear();
        run.fail({Cause::Refused, "not sent: the entry belongs to the \"sm\" side", 0, {}, "Use --sm."});
    }
}

} // namespace tresk::ctl
