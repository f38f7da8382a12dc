// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/confirm.h"

#include "treskctl/streams.h"

#include <unistd.h>

#include <iostream>

namespace tresk::ctl {

bool confirm(Run& run, const std::string& what)
{
    if (run.settings().assume_yes || run.settings().dry_run) {
        return true;
    }
    if (::isatty(STDIN_FILENO) != 1 || !error_is_terminal()) {
        run.fail(
            {Cause::Usage, what + ": this needs --yes where there is no terminal to ask on", {}, {}, {}});
        return false;
    }
    // A signal ends the waiting from the moment on at which the question can be seen.
    const std::string answer = run.ask_user([&what] {
        write_error("treskctl: " + what + "? [y/N] ");
        std::string line;
        std::getline(std::cin, line);
        return line;
    });
    if (answer != "y" && answer != "yes") {
        run.fail({Cause::Cancelled, "nothing was done", {}, {}, {}});
        return false;
    }
    return true;
}

} // namespace tresk::ctl
