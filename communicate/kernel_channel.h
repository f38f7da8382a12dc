// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_COMMUNICATE_KERNEL_CHANNEL_H
#define TRESK_COMMUNICATE_KERNEL_CHANNEL_H

namespace tresk {

/// Source module of the folder's diagnostics.
inline constexpr char kCommunicateSource[] = "tresk_communicate";

/// Sends one message of @type (its low 16 bits) to the kernel module and waits for the answer, at most a
/// second for each. @data is @len bytes, 0 to 1000; other lengths end the process.
///
/// Returns 0 when an answer came. One that is not "succeeded" is logged and is 0 all the same: whether the
/// module agrees is its own affair. Returns -1, logged, for a null @data and for any local failure.
///
/// A signal handler that runs while the call waits fails it (EINTR), with SA_RESTART too: the kernel restarts
/// no socket call that has a time-out. An answer that comes after its exchange gave up reaches the thread's
/// next exchange if one is waiting then: nothing in a message says which one it belongs to.
int tresk_communicate_with_kernel(int type, const void* data, int len);

} // namespace tresk

#endif
