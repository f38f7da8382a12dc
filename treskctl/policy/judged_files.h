// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every file from which the library reads something of the machine's policies, and who judges it strictly.
#ifndef TRESK_TRESKCTL_POLICY_JUDGED_FILES_H
#define TRESK_TRESKCTL_POLICY_JUDGED_FILES_H

#include "treskctl/policy/kind.h"

#include <functional>
#include <string>
#include <vector>

namespace tresk::ctl {

struct JudgedFile {
    /// The object that it belongs to.
    std::string object;
    /// Without the root directory in front.
    std::string file;
    /// @root: in front of the file's name
    std::function<Reading(const std::string& root)> judge;
};

/// In the order of the kinds; a kind's policy before its other files.
std::vector<JudgedFile> judged_files();

/// All that is wrong in the file, in its order. What kept it from being read counts as well.
std::vector<Problem> problems_in(const Reading& reading);

} // namespace tresk::ctl

#endif
