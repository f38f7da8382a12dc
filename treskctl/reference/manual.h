// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_REFERENCE_MANUAL_H
#define TRESK_TRESKCTL_REFERENCE_MANUAL_H

#include <CLI/App.hpp>

#include <string>

namespace tresk::ctl {

/// treskctl(1): what the parser's table knows, and chapters that say the rest.
std::string manual_page(const CLI::App& root);

} // namespace tresk::ctl

#endif
