// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Whether network control is kept per user: the library's copy of the policy's setting, an exported plain
// variable. Any thread may change it, also a caller directly, so one call reads it once, here, and goes by
// what it read.
#ifndef TRESK_NETCTL_USER_DISTINCTION_H
#define TRESK_NETCTL_USER_DISTINCTION_H

#include <cstdint>

namespace tresk::netctl {

/// The setting as it stands: 0 no, else yes.
std::int32_t user_distinction() noexcept;

} // namespace tresk::netctl

#endif
