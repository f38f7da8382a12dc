// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/policy_edit.h"

#include "standin/service/argument_check.h"
#include "standin/service/number_table.h"

namespace tresk::service {

namespace {

constexpr std::size_t kComparedCharacters = 7;

} // namespace

void require_enabled(const Folders& folders)
{
    if (read_number(folders.state / "status", 1) == 0) {
        throw Refusal(error_name::kDisabled, "tresk is disabled.");
    }
}

PolicyFile open_policy(const Folders& folders, const char* file, const char* root_name)
{
    require_enabled(folders);
    return {folders.etc / file, root_name};
}

std::string source_type_text(int type)
{
    std::string text = std::to_string(type);
    require(text.size() <= kComparedCharacters, "the data source's type has more than 7 characters: " + text);
    return text;
}

} // namespace tresk::service
