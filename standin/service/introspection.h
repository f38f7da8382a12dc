// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_STANDIN_SERVICE_INTROSPECTION_H
#define TRESK_STANDIN_SERVICE_INTROSPECTION_H

#include "standin/service/method.h"

#include <string>
#include <vector>

namespace tresk::service {

/// The interface name of a family's object.
std::string interface_name(const std::string& word);

/// The introspection document of the object "/word".
std::string introspection_xml(const std::string& word, const std::vector<const Method*>& methods);

} // namespace tresk::service

#endif
