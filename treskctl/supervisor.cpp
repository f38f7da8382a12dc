// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/supervisor.h"

#include "common/handles.h"
#include "treskctl/streams.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <memory>
#include <system_error>
#include <thread>

namespace tresk::ctl {

namespace {

using Clock = std::chrono::steady_clock;

Descriptor checked(int number, const char* what)
{
    if (number < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return Descriptor(number);
}

/// The signals that ask for an end, which every thread made from here on leaves to the one that watches.
sigset_t block_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int milliseconds_until(std::optional<Clock::time_point> deadline)
{
    if (!deadline) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
    constexpr long long longest = 1'000'000'000; // looked at again then
    return left < 0 ? 0 : static_cast<int>(std::min<long long>(left, longest));
}

/// What outlives a worker that is left behind.
struct Shared {
    Descriptor done = checked(::eventfd(0, EFD_CLOEXEC), "event");
    std::exception_ptr thrown;
};

/// Nobody will do so with an answer.
void end_line_of_question()
{
    if (error_is_terminal()) {
        write_error("\n");
    }
}

void finish(const Shared& shared)
{
    constexpr std::uint64_t one = 1;
    (void)!::write(shared.done.get(), &one, sizeof one);
}

} // namespace

/// True when the waiting is to end now.
bool Supervisor::note_signal(bool tell)
{
    const bool again = stopping_.exchange(true);
    if (tell && !again && !asking_ && error_is_terminal()) {
        constexpr std::string_view words =
            "treskctl: stopping after the call at hand; once more ends the waiting for it\n";
        write_error(words);
    }
    return again || asking_;
}

Supervisor::End Supervisor::watch(const std::function<void()>& work,
                                  std::optional<std::chrono::milliseconds> timeout, bool tell)
{
    const sigset_t signals = block_signals();
    const Descriptor arriving = checked(::signalfd(-1, &signals, SFD_CLOEXEC), "signals");
    const auto shared = std::make_shared<Shared>();
    const auto deadline = timeout ? std::optional(Clock::now() + *timeout) : std::nullopt;
    watching_ = true;
    std::thread worker([this, &work, shared] {
        const std::lock_guard hold(baton_);
        try {
            work();
        } catch (...) {
            shared->thrown = std::current_exception();
        }
        finish(*shared);
    });
    for (;;) {
        std::array<pollfd, 2> events = {pollfd{shared->done.get(), POLLIN, 0},
                                        pollfd{arriving.get(), POLLIN, 0}};
        const int ready = ::poll(events.data(), events.size(), milliseconds_until(deadline));
        if (events[0].revents != 0) {
            worker.join();
            watching_ = false;
            if (shared->thrown) {
                std::rethrow_exception(shared->thrown);
            }
            return End::Finished;
        }
        signalfd_siginfo signal{};
        const bool signalled = ready > 0 && ::read(arriving.get(), &signal, sizeof signal) > 0;
        if (signalled && !note_signal(tell)) {
            continue;
        }
        if (signalled || (deadline && Clock::now() >= *deadline)) {
            if (asking_) {
                end_line_of_question();
            }
            baton_.lock(); // waits for the worker to stand still
            worker.detach();
            return signalled ? End::Interrupted : End::TimedOut;
        }
    }
}

} // namespace tresk::ctl
