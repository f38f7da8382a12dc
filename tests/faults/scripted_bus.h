// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A private bus with a service that answers every row's methods, both in a process of their own: the
// process that forks the calls must not have used GLib's bus itself, whose thread no fork takes along.
#ifndef TRESK_TESTS_FAULTS_SCRIPTED_BUS_H
#define TRESK_TESTS_FAULTS_SCRIPTED_BUS_H

#include <sys/types.h>

#include <string>

namespace tresk::test {

/// What the service does with every call.
enum class Service : char {
    answers = 'a',
    fails = 'f',
    answers_other_type = 'o',
    answers_nothing = 'n',
    dies = 'd',
    absent = 'x'
};

class ScriptedBus {
  public:
    /// Makes the bus the system bus of this process and its children.
    ScriptedBus();
    ~ScriptedBus();
    ScriptedBus(const ScriptedBus&) = delete;
    ScriptedBus& operator=(const ScriptedBus&) = delete;

    /// Done when it returns; also by forked children, one at a time.
    void let(Service service) const;

    [[nodiscard]] const std::string& address() const noexcept { return address_; }

  private:
    pid_t process_ = -1;
    int channel_ = -1;
    std::string address_;
};

} // namespace tresk::test

#endif
