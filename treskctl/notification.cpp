// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/notification.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>

namespace tresk::ctl {

namespace {

struct Ending {
    int result;
    Cause cause;
    const char* message;
};

constexpr std::array kEndings = {
    Ending{-1, Cause::Kernel, "the kernel module did not answer; the framework's log has the reason"},
    Ending{-2, Cause::Kernel, "the kernel's framework version is below 4.2"},
    Ending{-1000, Cause::Refused, "not sent: the library sends no message of this type in this release"},
};

Failure failure_of(int result)
{
    const auto* const known = std::ranges::find(kEndings, result, &Ending::result);
    const Ending& ending = known == kEndings.end() ? kEndings.front() : *known;
    return {ending.cause, ending.message, result, {}};
}

} // namespace

void add_message_type(CLI::App& command, MessageType& type)
{
    command.add_option("--type", type, "Message type")->required()->option_text("N REQUIRED");
}

/// The library returns 0 also for what it may not send; that it then says so is the only sign.
void send_notification(Run& run, Table& results, Row row, const std::function<int()>& send)
{
    const Heard<int> answer = run.hear(send);
    if (answer.result != 0) {
        run.fail(failure_of(answer.result));
    } else if (!answer.said.output.empty()) {
        run.fail({Cause::Refused, "not sent: the entry belongs to the sm side (see --sm)", 0, {}});
    } else {
        results.rows.push_back(std::move(row));
    }
}

} // namespace tresk::ctl
