// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_COMMUNICATE_NETLINK_PROTOCOL_H
#define TRESK_COMMUNICATE_NETLINK_PROTOCOL_H

namespace tresk {

/// The netlink protocol of the kernel module: 26 where the process found it in use at its first exchange,
/// else 27. The first call runs a shell pipeline.
int netlink_protocol();

} // namespace tresk

#endif
