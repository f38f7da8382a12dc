// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The manual's examples. The tests run them one after the other on a machine without policies, so that each
// may build on those before it.
#ifndef TRESK_TRESKCTL_REFERENCE_EXAMPLES_H
#define TRESK_TRESKCTL_REFERENCE_EXAMPLES_H

#include <span>
#include <string_view>

namespace tresk::ctl {

struct Example {
    /// A line for a shell.
    std::string_view command;
    int exit_status;
    std::string_view about;
};

std::span<const Example> examples();

} // namespace tresk::ctl

#endif
