// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every exported function as a call that may be made at any time, from any thread, beside any other call of
// the table: what it gives is one of the row's possible answers, whatever happens meanwhile. So that this can
// be said, the calls work on a few programs, packages, devices and networks; the first of each is kept: it is
// put into every policy before, no call takes it away, and a reader that does not find it has lost it.
#ifndef TRESK_TESTS_THREADS_CALLS_H
#define TRESK_TESTS_THREADS_CALLS_H

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace tresk::test {

using Random = std::minstd_rand;

enum class Family {
    switches,
    bus,
    labels,
    hashes,
    kmod,
    kernel,
    ppro,
    pblk,
    netctl,
    packages,
    devctl,
    bwlist
};

inline constexpr Family kFamilies[] = {
    Family::switches, Family::bus,  Family::labels, Family::hashes,   Family::kmod,   Family::kernel,
    Family::ppro,     Family::pblk, Family::netctl, Family::packages, Family::devctl, Family::bwlist,
};

/// What a call spends its time on, the dearest of it.
enum class Cost { plain, reader, scene, bus, kernel, shell };

struct Call {
    const char* symbol;
    Family family;
    Cost cost;
    std::string (*make)(Random& random);
    std::vector<std::string> possible;

    [[nodiscard]] bool may_answer(const std::string& answer) const
    {
        return std::find(possible.begin(), possible.end(), answer) != possible.end();
    }
};

/// One row for each exported symbol.
const std::vector<Call>& all_calls();
std::vector<const Call*> calls_of(Family family);
std::vector<const Call*> calls_of(Cost cost);
const char* name_of(Family family);

/// Makes the files that the calls work on, and puts what is kept into every policy. False where a call of the
/// library does not do what it should.
bool prepare_policies();

/// Has the service add a device that was seen a minute ago; its answer.
int insert_seen_device();

/// The tables behind all_calls().
std::vector<Call> switch_calls();
std::vector<Call> label_calls();
std::vector<Call> kernel_calls();
std::vector<Call> ppro_calls();
std::vector<Call> pblk_calls();
std::vector<Call> netctl_calls();
std::vector<Call> package_calls();
std::vector<Call> device_calls();
std::vector<Call> bwlist_calls();

} // namespace tresk::test

#endif
