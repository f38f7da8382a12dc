// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "user": asks the service whether a credential is a user's.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/credential.h"
#include "treskctl/printable.h"
#include "treskctl/service_answer.h"

#include <memory>

namespace tresk::ctl {

namespace {

void check(Run& run, const std::string& user)
{
    Table& results = run.table("results", {"result", "user"});
    Credential credential;
    if (!credential.read(run, "Credential of " + printable(user) + ": ")) {
        return;
    }
    const int answer = run.ask([&] { return tresk_check_user_valid(user.c_str(), credential.text()); });
    if (auto failure = failure_of_change(answer)) {
        failure->subject = user;
        if (failure->cause == Cause::Answer) {
            failure->message = "not valid: " + failure->message;
        }
        run.fail(std::move(*failure));
    } else {
        results.rows.push_back({"valid", user});
    }
}

} // namespace

void add_user_commands(CLI::App& app, Run& run)
{
    CLI::App* const user = add_group(app, "user", "Users");
    const auto name = std::make_shared<std::string>();
    add_command(*user, run, "check",
                "Have a user's credential checked; it is asked for, or the first line of standard input",
                [&run, name] { check(run, *name); })
        ->add_option("NAME", *name, "The user's name")
        ->required();
}

} // namespace tresk::ctl
