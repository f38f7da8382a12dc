// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TRESKCTL_NEAREST_H
#define TRESK_TRESKCTL_NEAREST_H

#include <string>
#include <string_view>
#include <vector>

namespace tresk::ctl {

/// The word that is most like a mistyped @word; empty where none is like it.
std::string nearest(std::string_view word, const std::vector<std::string>& words);

/// "; did you mean \"...\"?", or nothing.
std::string did_you_mean(std::string_view word, const std::vector<std::string>& words);

} // namespace tresk::ctl

#endif
