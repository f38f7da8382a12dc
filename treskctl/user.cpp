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
    Table& checks = run.table("checks", {"valid", "user"});
    Credential credential;
    if (!credential.read(run, "Credential of " + printable(user) + ": ")) {
        return;
    }
    const Answer<int> answer =
        run.hear([&] { return tresk_check_user_valid(user.c_str(), credential.text()); });
    if (answer.recorded) {
        Failure failure = failure_of_record(*answer.recorded);
        failure.subject = user;
        run.fail(std::move(failure));
        return;
    }
    checks.rows.push_back({answer.result == 0, user});
    if (answer.result != 0) {
        run.answer_no();
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
