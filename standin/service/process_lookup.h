// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_STANDIN_SERVICE_PROCESS_LOOKUP_H
#define TRESK_STANDIN_SERVICE_PROCESS_LOOKUP_H

#include <string>

namespace tresk::service {

/// The lowest pid of the processes that run a program, or -1. An absolute path names the executable file,
/// also through symbolic links; any other text is compared with the name that a process was started by, whole
/// or its last component.
int pid_of_program(const std::string& program);

} // namespace tresk::service

#endif
