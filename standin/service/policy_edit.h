// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What every edit of a policy does, whatever the family: open the file unless the framework is disabled, add
// an entry that is not there or change those that are, and save. An edit that changes nothing saves nothing.
#ifndef TRESK_STANDIN_SERVICE_POLICY_EDIT_H
#define TRESK_STANDIN_SERVICE_POLICY_EDIT_H

#include "standin/service/method.h"
#include "standin/service/policy_file.h"

#include <algorithm>

namespace tresk::service {

/// Refuses the call while the framework is disabled.
void require_enabled(const Folders& folders);

/// The policy in "FAMILY/NAME.xml" below the policies' folder, for an edit.
PolicyFile open_policy(const Folders& folders, const char* file, const char* root_name);

/// The text of a data source's type. Readers compare no more than seven characters: a type of more is
/// refused, since no lookup could find it.
std::string source_type_text(int type);

/// Adds an entry by @create unless entries of that name are @present.
template <class Create>
Variant add_unless_present(const PolicyFile& policy, const std::vector<xmlNode*>& present, Create create)
{
    if (!present.empty()) {
        return number(kPresentAlready);
    }
    create();
    policy.save();
    return number(kDone);
}

/// Does @change to each of the entries.
template <class Change>
Variant change_each(const PolicyFile& policy, const std::vector<xmlNode*>& entries, Change change)
{
    if (entries.empty()) {
        return number(kNotPresent);
    }
    std::ranges::for_each(entries, change);
    policy.save();
    return number(kDone);
}

} // namespace tresk::service

#endif
