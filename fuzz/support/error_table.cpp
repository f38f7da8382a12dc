// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzz/support/error_table.h"

#include <map>
#include <set>

namespace tresk::fuzz {

bool has_subject(std::string_view name)
{
    static const std::set<std::string_view> names = {"MERON.TRESK.LABEL.GET.ERR", "MERON.TRESK.LABEL.SET.ERR",
                                                     "MERON.TRESK.EXTRACT.LIST.ERR",
                                                     "MERON.TRESK.FILE.ATTR.ERR"};
    return names.count(name) != 0;
}

int code_of_error(std::string_view name)
{
    static const std::map<std::string_view, int> codes = {
        {"MERON.TRESK.OK", 0},
        {"MERON.TRESK.AUTH.FAILED", -1001},
        {"MERON.TRESK.CANCEL.AUTH", -1002},
        {"MERON.TRESK.DISABLED", -1003},
        {"MERON.TRESK.DATABASE.ERR", -1004},
        {"MERON.TRESK.LABEL.GET.ERR", -1005},
        {"MERON.TRESK.LABEL.SET.ERR", -1006},
        {"MERON.TRESK.INVALID.ARG", -1007},
        {"MERON.TRESK.EXTRACT.LIST.ERR", -1008},
        {"MERON.TRESK.FILE.ATTR.ERR", -1009},
        {"MERON.TRESK.CONF.ERR", -1010},
        {"MERON.TRESK.NETCTL.ERR", -1012},
        {"MERON.TRESK.DEVCTL.ERR", -1013},
        {"MERON.TRESK.DEVCTL.ADD.EXIST", -1014},
        {"MERON.TRESK.DEVCTL.UPDATE.REPEATE", -1015},
    };
    constexpr int other = -1011;
    const auto found = codes.find(name);
    return found == codes.end() ? other : found->second;
}

bool says_something(std::string_view message)
{
    constexpr std::string_view none = "Error return with empty body";
    return !message.starts_with(none) || message.find_first_not_of(": ", none.size()) != message.npos;
}

} // namespace tresk::fuzz
