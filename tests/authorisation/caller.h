// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A process of another user that calls the library. It is forked before this process uses GLib, which does
// not survive a fork, and stays the same process from call to call, so that an authentication agent can be
// registered for it.
#ifndef TRESK_TESTS_AUTHORISATION_CALLER_H
#define TRESK_TESTS_AUTHORISATION_CALLER_H

#include "common/handles.h"

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace tresk::test {

class Caller {
  public:
    /// The calls, by number.
    using Calls = std::function<std::string(std::size_t number)>;

    /// Forks; the child becomes @user, without any privilege. Throws std::exception.
    Caller(const char* user, const Calls& calls);
    ~Caller();
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;
    Caller(Caller&&) = delete;
    Caller& operator=(Caller&&) = delete;

    [[nodiscard]] pid_t process() const noexcept { return process_; }

    /// Makes a call in the child and waits for its result; throws std::runtime_error when the child ended.
    std::string call(std::size_t number);

    /// The child becomes this program, in silence; its exit status, or minus the signal that ended it.
    int become(const std::vector<std::string>& words);

  private:
    pid_t process_ = -1;
    Descriptor channel_;
};

} // namespace tresk::test

#endif
