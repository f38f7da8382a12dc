// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The record of the devices that were seen, an SQLite database that the service writes and the library lists.
#ifndef TRESK_TRESKCTL_POLICY_DEVICE_DATABASE_H
#define TRESK_TRESKCTL_POLICY_DEVICE_DATABASE_H

#include "treskctl/policy/kind.h"

#include <string>

namespace tresk::ctl {

inline constexpr const char* kDeviceDatabase = "/etc/tresk/db/whlist.db";

/// What the listing of devices would not find, or misread. Nothing is written. A missing database, and the
/// empty one that a listing leaves in its place, have no devices.
Reading judge_device_database(const std::string& file);

} // namespace tresk::ctl

#endif
