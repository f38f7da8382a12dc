// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/sandbox/guard.h"

#include "standin/sandbox/failure.h"
#include "standin/sandbox/process.h"
#include "standin/sandbox/run.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>

namespace tresk::standin {

namespace {

int wait_passing_signals_on(pid_t sandbox, const SignalQueue& signals)
{
    int status = 0;
    while (::waitpid(sandbox, &status, WNOHANG) == 0) {
        const auto signal = signals.wait();
        if (signal && signal->si_signo != SIGCHLD && is_sent(*signal)) {
            ::kill(sandbox, signal->si_signo);
        }
    }
    return status;
}

} // namespace

int run_guarded(const Options& options)
{
    const SignalQueue signals;
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t guard = ::getpid();
    const pid_t sandbox = fork_bound(SIGTERM, [&] {
        const int status = run_sandbox(options, signals, guard);
        std::cout.flush();
        std::exit(status);
    });
    const int status = wait_passing_signals_on(sandbox, signals);
    end_all_children();
    if (WIFSIGNALED(status)) {
        std::cerr << "tresk-sandbox: the sandbox was ended by signal " << WTERMSIG(status) << "\n";
        return SANDBOX_FAILED;
    }
    return WEXITSTATUS(status);
}

} // namespace tresk::standin
