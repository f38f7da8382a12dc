// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Process protection's two files of lines, as the library reads them: its settings, and the paths that may
// not be protected.
#ifndef TRESK_TRESKCTL_POLICY_PPRO_LISTS_H
#define TRESK_TRESKCTL_POLICY_PPRO_LISTS_H

#include "treskctl/policy/kind.h"

#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

inline constexpr const char* kPproSettings = "/etc/tresk/ppro/ppro.conf";
inline constexpr const char* kPproBlacklist = "/etc/tresk/ppro/ppro_blacklist";

/// One of the blacklist's patterns.
struct Pattern {
    Place place;
    std::string text;
    /// Whether it may stand anywhere in a path, or has to be the path.
    bool anywhere = false;

    [[nodiscard]] bool matches(const std::string& path) const;
};

/// What was read of such a file. A missing one says nothing.
struct Patterns {
    std::vector<Pattern> patterns;
    std::vector<Problem> problems;
    /// Why nothing could be read.
    std::optional<Failure> failure = std::nullopt;
};

Patterns read_blacklist(const std::string& file);

/// What the settings' reader overlooks or misreads.
Reading judge_ppro_settings(const std::string& file);

} // namespace tresk::ctl

#endif
