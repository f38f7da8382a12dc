// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One function with its first, second, third... chance to fail taken, until a call passes untouched. The
// calls run in forked children: a child goes on as long as it lives, and where GLib ended it, another one
// takes over at the next fault.
#ifndef TRESK_TESTS_FAULTS_LOOP_H
#define TRESK_TESTS_FAULTS_LOOP_H

#include "tests/faults/memory_watch.h"
#include "tests/faults/row.h"
#include "tests/faults/system_faults.h"

#include <climits>
#include <map>
#include <string>
#include <vector>

namespace tresk::test {

/// Whether the policy files are there, or missing so that readers fail and make empty ones.
enum class Policies { written, missing };

/// Which faults are made, of the many that could be.
struct Plan {
    const SystemFault* fault = nullptr; ///< null: memory
    Requests requests = Requests::everybodys;
    bool stays = false; ///< all later chances fail, too
    long first = 1;
    long stride = 1;
    long most = LONG_MAX; ///< faults
    bool cold = false;    ///< each in a new process
    Policies policies = Policies::written;
};

/// What came of the faults of some loops.
struct Tally {
    long faults = 0;
    long failed = 0;
    long complete = 0;
    std::map<std::string, long> ended; ///< by GLib: how, and from which of its functions

    Tally& operator+=(const Tally& other);
};

std::ostream& operator<<(std::ostream& out, const Tally& tally);

/// How often one call meets each kind of system_faults(); @cold: the first call of a process.
std::vector<long> count_chances(const Entry& entry, bool cold);

/// Makes the faults of @plan and reports what goes wrong, naming the function, the kind of fault and its
/// number.
Tally run_loop(const Entry& entry, const Plan& plan);

class ScriptedBus;
/// The same for every way in which the bus or the service fails as a whole, one after the other for all of
/// @entries.
Tally run_bus_steps(const std::vector<Entry>& entries, const ScriptedBus& bus);

} // namespace tresk::test

#endif
