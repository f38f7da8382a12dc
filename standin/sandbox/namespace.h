// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The private mount namespace: nothing that is mounted in it is seen outside.
#ifndef TRESK_STANDIN_SANDBOX_NAMESPACE_H
#define TRESK_STANDIN_SANDBOX_NAMESPACE_H

namespace tresk::standin {

/// Moves this process to a mount namespace of its own: directly where it may, else by way of a user namespace
/// in which it keeps its user and group. Mounts of the host keep coming in, none goes out. Works inside of a
/// plain chroot as well. Throws std::system_error.
void enter_mount_namespace();

} // namespace tresk::standin

#endif
