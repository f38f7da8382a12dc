// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Which kernel modules are the "sm" side's: the lines of the state file "kmod_sm", one name each.
#include "standin/service/atomic_file.h"
#include "standin/service/families.h"

#include <array>
#include <sstream>

namespace tresk::service {

namespace {

constexpr int kSmOwned = 0;
constexpr int kNotOwned = 1;

bool is_line_of(const std::string& content, const std::string& name)
{
    std::istringstream lines(content);
    for (std::string line; std::getline(lines, line);) {
        if (line == name && !line.empty() && line.front() != '#') {
            return true;
        }
    }
    return false;
}

Variant check_owner(const Folders& folders, GVariant* arguments)
{
    const std::string owned = read_whole(folders.state / "kmod_sm").value_or("");
    return number(is_line_of(owned, text_at(arguments, 0)) ? kSmOwned : kNotOwned);
}

} // namespace

std::span<const Method> kmod_methods()
{
    static constexpr std::array methods{
        Method{"tresk_xattr_protect_check_kmod_in_sm", "s", "i", check_owner, Access::kOpen},
    };
    return methods;
}

} // namespace tresk::service
