// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A stopped child's system call, as its registers hold it.
#ifndef TRESK_TESTS_CRASH_CALL_REGISTERS_H
#define TRESK_TESTS_CRASH_CALL_REGISTERS_H

#include <sys/types.h>

namespace tresk::test {

/// Whether the two functions below work on this machine.
bool registers_are_known();

/// At a call's entry: the kernel will do nothing.
void make_call_void(pid_t child);

/// At the exit of a void call: the child sees it fail with @error.
void fail_void_call(pid_t child, int error);

} // namespace tresk::test

#endif
