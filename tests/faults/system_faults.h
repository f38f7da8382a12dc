// SPDX-License-Identifier: LGPL-2.1-or-later
//
// System calls that fail. A forked child has the kernel ask its parent about every call of a list (seccomp's
// user notification), and the parent lets it through or fails it. So no call escapes, whoever makes it: the
// library, GLib, libxml2, SQLite, libkmod, or the C library within itself; no symbol is interposed, so that
// it works under sanitizers too; and nothing but the call that is to fail behaves otherwise.
#ifndef TRESK_TESTS_FAULTS_SYSTEM_FAULTS_H
#define TRESK_TESTS_FAULTS_SYSTEM_FAULTS_H

#include <sys/types.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

struct seccomp_notif;
struct seccomp_notif_resp;

namespace tresk::test {

/// A kind of failure: one of these calls fails with this error.
struct SystemFault {
    const char* name;
    std::vector<int> calls;
    int error;                ///< 0: before the call, the connection to the bus is cut
    bool may_stay = true;     ///< also tried with all later calls failing
    bool in_programs = false; ///< calls of the programs count that the process starts, too
};

std::span<const SystemFault> system_faults();

inline constexpr std::size_t kMostKinds = 32;

/// What the child tells its parent to fail, in memory that both share.
struct FaultOrder {
    std::atomic<int> listener = -1;                  ///< a descriptor of the child's
    std::atomic<const SystemFault*> fault = nullptr; ///< null: nothing fails now
    std::atomic<long> nth = 0;
    std::atomic<bool> stays = false;
    std::atomic<long> met = 0;
    std::atomic<long> failed = 0;

    std::atomic<bool> counting = false; ///< the calls of each kind
    std::array<std::atomic<long>, kMostKinds> seen{};

    void begin(const SystemFault& what, long from, bool all_from_there);
    /// Whether a call failed.
    bool end();
};

/// In the child: from here on the parent is asked.
void ask_parent(FaultOrder& order);

/// In the parent: answers a child until it ends.
class Supervisor {
  public:
    Supervisor(pid_t child, FaultOrder& order);
    ~Supervisor();
    Supervisor(const Supervisor&) = delete;
    Supervisor& operator=(const Supervisor&) = delete;

    /// The status that wait() gives; nothing, and the child killed, when @progress gave the same for longer
    /// than the deadline.
    std::optional<int> wait(const std::function<long()>& progress);

  private:
    void serve_one();
    void take_listener();
    void answer(const seccomp_notif& call, seccomp_notif_resp& response);
    void count(const seccomp_notif& call);
    [[nodiscard]] bool is_chance(const SystemFault& fault, const seccomp_notif& call) const;
    bool fails(const SystemFault& fault, const seccomp_notif& call);
    [[nodiscard]] bool is_childs(pid_t thread) const;
    [[nodiscard]] bool is_wake_up(const seccomp_notif& call) const;
    void cut_connection();
    std::optional<int> reap();

    pid_t child_;
    int handle_;
    int listener_ = -1;
    int bus_ = -1; ///< the child's latest connected socket
    FaultOrder& order_;
};

} // namespace tresk::test

#endif
