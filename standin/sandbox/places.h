// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Where the parts of the development framework are: seen from this program, in the build tree and installed.
#ifndef TRESK_STANDIN_SANDBOX_PLACES_H
#define TRESK_STANDIN_SANDBOX_PLACES_H

#include <string>

namespace tresk::standin {

struct Places {
    /// The folder above the one with the programs: the build tree's root, or the installation's prefix.
    std::string prefix;
    /// The folder of the stand-in libraries.
    std::string libraries;
    std::string preload;
    /// What polkit is told about.
    std::string actions;
    /// Empty where there is none.
    std::string kernel_program;
    std::string service_program;
};

/// @service_program: the one that the user asked for, or empty.
Places find_places(const std::string& service_program);

} // namespace tresk::standin

#endif
