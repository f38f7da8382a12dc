// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every exported function, and everything below it that can fail: each request for memory, each system call,
// each step of the bus. A function fails with its stated value and untouched outputs or does all of its work,
// leaves neither memory nor descriptors behind, and works at the next call.
//
// By default the longest loops are sampled, at other faults for each function. With TRESK_FAULTS=all in the
// environment every single fault is made, with TRESK_FAULTS=FUNCTION those of that function alone.
#include "tests/faults/loop.h"
#include "tests/faults/policies.h"
#include "tests/faults/scripted_bus.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace tresk::test {

int& expected_code()
{
    static int code = -1011;
    return code;
}

namespace {

/// GLib's own pools keep what a thread released for that thread: what is released could not be counted. Set
/// before anything of GLib's runs.
[[gnu::constructor]] void have_glib_release_memory()
{
    ::setenv("G_SLICE", "always-malloc", 1);
}

std::string_view wish()
{
    const char* text = std::getenv("TRESK_FAULTS");
    return text == nullptr ? "" : text;
}

bool makes_every_fault()
{
    return !wish().empty();
}

bool is_wanted(const Entry& entry)
{
    return wish().empty() || wish() == "all" || wish() == entry.function;
}

/// What a loop leaves out where not every fault is made.
struct Sampling {
    long stride = 1; ///< from one fault to the next
    long most = LONG_MAX;
};

constexpr Sampling kStaying = {4};
constexpr Sampling kGlib = {211, 2};
constexpr Sampling kBus = {7, 6};
constexpr Sampling kCold = {17, 3};
/// Of the kinds of fault, one in so many is made to each function on the bus.
constexpr std::size_t kKindStride = 5;

/// @place is another one for each function, so that together they meet the more; @chances: how many there
/// are, where that is known.
Plan sampled(Plan plan, const Sampling& sampling, std::size_t place, long chances = LONG_MAX)
{
    if (!makes_every_fault()) {
        plan.stride = sampling.stride;
        plan.first = 1 + static_cast<long>(place) % std::min(sampling.stride, chances);
        plan.most = sampling.most;
    }
    return plan;
}

bool is_on_bus(const Entry& entry)
{
    return !entry.row->methods.empty();
}

bool uses_glib(const Entry& entry)
{
    return is_on_bus(entry) || std::string_view(entry.function) == "handling_dbus_error";
}

/// Functions on the bus share the way to it; each makes some kinds of fault, and all of them every kind.
bool makes(const Entry& entry, std::size_t kind, std::size_t place)
{
    return !is_on_bus(entry) || makes_every_fault() || (kind + place) % kKindStride == 0;
}

Tally run_memory(const Entry& entry, std::size_t place)
{
    Tally tally;
    if (!memory_is_watched()) {
        return tally;
    }
    if (!uses_glib(entry)) {
        tally += run_loop(entry, {});
        tally += run_loop(entry, sampled({.stays = true}, kStaying, place));
        return tally;
    }
    tally += run_loop(entry, {.requests = Requests::others});
    tally += run_loop(entry, {.requests = Requests::others, .stays = true});
    tally += run_loop(entry, sampled({.requests = Requests::glibs}, kGlib, place * 29));
    return tally;
}

Tally run_system_calls(const Entry& entry, std::size_t place)
{
    Tally tally;
    const Sampling sampling = is_on_bus(entry) ? kBus : Sampling();
    const std::vector<long> chances = count_chances(entry, false);
    for (std::size_t kind = 0; kind < chances.size(); ++kind) {
        const SystemFault& fault = system_faults()[kind];
        if (chances[kind] == 0 || !makes(entry, kind, place)) {
            continue;
        }
        tally += run_loop(entry, sampled({.fault = &fault}, sampling, place, chances[kind]));
        if (fault.may_stay) {
            tally += run_loop(entry,
                              sampled({.fault = &fault, .stays = true}, sampling, place + 1, chances[kind]));
        }
    }
    return tally;
}

/// A reader that finds no policy makes an empty one, whole or not at all, and fails.
Tally run_without_policies(const Entry& entry)
{
    Tally tally;
    for (const SystemFault& fault : system_faults()) {
        tally += run_loop(entry, {.fault = &fault, .policies = Policies::missing});
    }
    write_policies();
    return tally;
}

/// What a function does only at its first call in a process.
Tally run_cold(const Entry& entry, std::size_t place)
{
    Tally tally;
    if (memory_is_watched()) {
        tally += run_loop(entry, sampled({.cold = true}, kCold, place));
    }
    const std::vector<long> chances = count_chances(entry, true);
    for (std::size_t kind = 0; kind < chances.size(); ++kind) {
        if (chances[kind] > 0) {
            const Plan plan = {.fault = &system_faults()[kind], .cold = true};
            tally += run_loop(entry, sampled(plan, kCold, place, chances[kind]));
        }
    }
    return tally;
}

Tally run_all(const Entry& entry, std::size_t place)
{
    Tally tally = run_memory(entry, place);
    tally += run_system_calls(entry, place);
    if (entry.row->cold_too) {
        tally += run_cold(entry, place);
    }
    if (entry.row->makes_policy) {
        tally += run_without_policies(entry);
    }
    return tally;
}

class FaultLoops : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override { write_policies(); }

    void tell(const char* what, const Tally& tally)
    {
        std::cout << what << ": " << tally << std::endl;
        all_ += tally;
    }

    ScriptedBus bus_;
    Tally all_;
};

TEST_P(FaultLoops, FailAsStatedOrDoAllTheirWork)
{
    std::vector<Entry> on_bus;
    for (std::size_t place = 0; place < entries().size(); ++place) {
        const Entry& entry = entries()[place];
        if (std::string_view(entry.family) != GetParam() || !is_wanted(entry)) {
            continue;
        }
        tell(entry.function, run_all(entry, place));
        if (is_on_bus(entry)) {
            on_bus.push_back(entry);
        }
    }
    if (!on_bus.empty()) {
        tell("bus and service", run_bus_steps(on_bus, bus_));
    }
    tell(GetParam(), all_);
    EXPECT_TRUE(all_.failed > 0 || makes_every_fault());
}

INSTANTIATE_TEST_SUITE_P(Family, FaultLoops,
                         ::testing::Values("status", "labels", "kmod", "communicate", "netctl", "ppro",
                                           "pblk", "devctl", "bwlist"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace

} // namespace tresk::test
