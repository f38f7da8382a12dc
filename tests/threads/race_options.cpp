// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a program of this folder tells the thread sanitizer's runtime, which asks for it where there is one.

// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that the runtime asks for.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();

// NOLINTNEXTLINE(bugprone-reserved-identifier)
const char* __tsan_default_options()
{
    return "suppressions=" TRESK_RACE_SUPPRESSIONS " exitcode=66 second_deadlock_stack=1";
}
