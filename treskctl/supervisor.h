// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The library waits for the service without end. So the work is done on a thread of its own, while the first
// one watches the clock and the signals. Only one of both ever touches what was found so far: who does holds
// the baton, and the worker gives it away for as long as it waits inside the library or for the user.
#ifndef TRESK_TRESKCTL_SUPERVISOR_H
#define TRESK_TRESKCTL_SUPERVISOR_H

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>

namespace tresk::ctl {

class Supervisor {
  public:
    enum class End { Finished, TimedOut, Interrupted };

    /// Does @work and returns when it is done, when @timeout has passed, or when the user gave up waiting: at
    /// the second SIGINT or SIGTERM, or at the first while the worker waits for the user. In the last two
    /// cases the worker stands still inside of a call, and the process has to end without it.
    /// @tell: whether somebody at a terminal is told what the first signal does
    End watch(const std::function<void()>& work, std::optional<std::chrono::milliseconds> timeout, bool tell);

    /// True after the first signal: the step at hand is finished, and none is begun.
    [[nodiscard]] bool stopping() const { return stopping_; }

    /// Worker: runs @call without the baton.
    template <class Call>
    auto without_baton(Call call)
    {
        const Lent lent(*this);
        return call();
    }

    /// The same, for a call that waits for the user: the first signal ends the waiting.
    template <class Call>
    auto waiting_for_user(Call call)
    {
        asking_ = true;
        const Lent lent(*this);
        auto answer = call();
        asking_ = false;
        return answer;
    }

  private:
    class Lent {
      public:
        explicit Lent(Supervisor& owner) : owner_(owner)
        {
            if (owner_.watching_) {
                owner_.baton_.unlock();
            }
        }

        ~Lent()
        {
            if (owner_.watching_) {
                owner_.baton_.lock();
            }
        }

        Lent(const Lent&) = delete;
        Lent& operator=(const Lent&) = delete;

      private:
        Supervisor& owner_;
    };

    bool note_signal(bool tell);

    std::mutex baton_;
    bool watching_ = false;
    std::atomic<bool> stopping_ = false;
    std::atomic<bool> asking_ = false;
};

} // namespace tresk::ctl

#endif
