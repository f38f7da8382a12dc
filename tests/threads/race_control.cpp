// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A program with races, which the thread sanitizer has to find under this folder's suppressions: a counter of
// its own that threads which call the library count up without a lock ("own"), and the library's variable,
// which it sets without an atomic store while the library reads it ("library"). Without an argument it has
// none.
#include "tests/threads/at_once.h"
#include "tests/threads/calls.h"
#include "tresk_extend.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

constexpr int kThreads = 4;
constexpr int kTimes = 200;

int counter = 0;

void call_library()
{
    std::free(tresk_netctl_get_path_hash("/usr/bin/env", 0));
    (void)getBootMode_dbus();
    (void)getModuleStatus_dbus(3);
}

void race_in_own_code(int /*thread*/)
{
    ++counter;
}

/// One thread writes, the others read it inside the library.
void race_with_library(int thread)
{
    if (thread == 0) {
        user_distinguish = 0;
    }
}

void no_race(int /*thread*/) {}

auto* race_named(std::string_view name)
{
    if (name == "own") {
        return race_in_own_code;
    }
    return name == "library" ? race_with_library : no_race;
}

} // namespace

int main(int argc, char** argv)
{
    auto* const race = race_named(argc > 1 ? argv[1] : "");
    tresk::test::run_at_once(kThreads, std::chrono::seconds(120),
                             [race](int thread, tresk::test::Doing& doing) {
                                 doing = "calling and racing";
                                 for (int i = 0; i < kTimes; ++i) {
                                     race(thread);
                                     std::free(tresk_netctl_get_path_hash("/usr/bin/env", 0));
                                 }
                                 call_library();
                             });
    (void)std::printf("counted %d\n", counter);
    return 0;
}
