// SPDX-License-Identifier: LGPL-2.1-or-later
//
// How often a test repeats itself. Under a sanitizer everything takes several times as long, and what it
// looks for it finds in fewer rounds; the full number is kept without one.
#ifndef TRESK_TESTS_SUPPORT_EFFORT_H
#define TRESK_TESTS_SUPPORT_EFFORT_H

namespace tresk::test {

template <class Number>
constexpr Number rounds([[maybe_unused]] Number all, [[maybe_unused]] Number under_a_sanitizer)
{
#ifdef TRESK_SANITIZED
    return under_a_sanitizer;
#else
    return all;
#endif
}

} // namespace tresk::test

#endif
