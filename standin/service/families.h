// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every family's tables of methods. A new family declares its tables here and lists them in families.cpp.
#ifndef TRESK_STANDIN_SERVICE_FAMILIES_H
#define TRESK_STANDIN_SERVICE_FAMILIES_H

#include "standin/service/method.h"

namespace tresk::service {

/// All tables of the service.
std::span<const MethodTable> method_tables();

// switches.cpp
std::span<const Method> status_methods();
std::span<const Method> configuration_methods();
std::span<const Method> module_methods();
std::span<const Method> netflow_methods();

// ppro.cpp
std::span<const Method> ppro_methods();

// netctl.cpp, netctl_pkg.cpp
std::span<const Method> netctl_methods();
std::span<const Method> netctl_pkg_methods();

// pblk.cpp
std::span<const Method> pblk_methods();

// bwlist.cpp
std::span<const Method> bwlist_methods();

// file_hashes.cpp
std::span<const Method> file_hash_methods();

// user_check.cpp
std::span<const Method> user_check_methods();

// kmod.cpp
std::span<const Method> kmod_methods();

// device_records.cpp
std::span<const Method> device_record_methods();

} // namespace tresk::service

#endif
