// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_REFERENCE_SCHEMA_H
#define TRESK_TRESKCTL_REFERENCE_SCHEMA_H

#include <CLI/App.hpp>

#include <string>

namespace tresk::ctl {

/// The JSON Schema of every document that treskctl writes, on standard output and on standard error.
std::string schema_of(const CLI::App& root);

} // namespace tresk::ctl

#endif
