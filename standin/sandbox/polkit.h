// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A real polkitd inside of the sandbox: what it reads there is the sandbox's own, so the host's actions and
// rules decide nothing.
#ifndef TRESK_STANDIN_SANDBOX_POLKIT_H
#define TRESK_STANDIN_SANDBOX_POLKIT_H

#include <map>
#include <string>

namespace tresk::standin {

/// Contents by names of files.
using Files = std::map<std::string, std::string>;

/// polkitd's program. Throws where it is missing, and where this process is not the superuser: polkitd
/// changes to a user of its own.
std::string find_polkitd();

/// The rules in a folder of the host's; none where @folder is empty.
Files read_rules(const std::string& folder);

/// Puts the action file @actions and @rules, alone, where polkitd looks. Inside of the sandbox's root.
void lay_out_polkit(const std::string& actions, const Files& rules);

} // namespace tresk::standin

#endif
