// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Network control of programs: "netctl/netctl.xml", and the switch that distinguishes users.
//
// An entry's name is the program's path as it came: readers look for that text. Its children are "hash" and
// the values of the call, in the call's order; an update leaves those that its call does not carry. The hash
// is the SM3 digest of the path, or of "path+uid" while users are distinguished, and 64 zeros while the
// framework's function 8 is on: the key under which the library announces the program. It is written anew by
// every addition and update, and for all entries when the distinction is set.
#include "standin/service/argument_check.h"
#include "standin/service/digest.h"
#include "standin/service/families.h"
#include "standin/service/number_table.h"
#include "standin/service/policy_path.h"
#include "standin/service/user_policy.h"

#include <array>
#include <optional>

namespace tresk::service {

namespace {

constexpr std::array kPlain{"type", "name", "ico", "server_type"};
constexpr std::array kExtended{"type", "name", "ico", "desktop", "server_type"};
constexpr std::array<const char*, 0> kNone{};

constexpr char kHash[] = "hash";
constexpr char kKeylessFunction[] = "8";

// --- the key ---

/// The text that is hashed. The library composes it in a buffer with room for the path, cut to 4085 bytes,
/// and ten characters more, so that the longest uids lose their last digits; the uid is a signed number.
std::string key_text(const std::string& path, std::uint32_t uid, bool per_user)
{
    constexpr std::size_t counted_path_bytes = 4085;
    constexpr std::size_t room_for_uid = 10;
    std::string text = per_user ? path + "+" + std::to_string(static_cast<std::int32_t>(uid)) : path;
    text.resize(std::min(text.size(), std::min(path.size(), counted_path_bytes) + room_for_uid));
    return text;
}

bool keys_are_off(const Folders& folders)
{
    const NumberTable statuses = read_numbers(folders.state / "func_status");
    const auto status = statuses.find(kKeylessFunction);
    return status != statuses.end() && status->second == 1;
}

std::string key(const Folders& folders, const std::string& path, std::uint32_t uid, bool per_user)
{
    return keys_are_off(folders) ? std::string(kDigestDigits, '0') : sm3_of(key_text(path, uid, per_user));
}

// --- entries ---

UserEntry program(GVariant* arguments, std::span<const char* const> children)
{
    UserEntry entry = user_entry(arguments, children);
    require_path(entry.name);
    return entry;
}

void put_key_first(const Folders& folders, UserEntry& entry, bool per_user)
{
    entry.children.insert(entry.children.begin(), {kHash, key(folders, entry.name, entry.uid, per_user)});
}

using Edit = Variant (UserPolicy::*)(const UserEntry&) const;

template <Edit edit, const auto& children>
Variant write(const Folders& folders, GVariant* arguments)
{
    UserEntry entry = program(arguments, children);
    const UserPolicy policy(folders, kPrograms);
    put_key_first(folders, entry, policy.per_user());
    return (policy.*edit)(entry);
}

Variant remove(const Folders& folders, GVariant* arguments)
{
    const UserEntry entry = program(arguments, kNone);
    return UserPolicy(folders, kPrograms).remove(entry);
}

// --- the distinction of users ---

/// Entries without a hash, which no reader sees, stay without one.
void renew_keys(const Folders& folders, const UserPolicy& policy)
{
    policy.for_each_entry([&](std::uint32_t uid, xmlNode* entry) {
        if (!child_elements(entry, kHash).empty()) {
            const std::string path = attribute_of(entry, kPrograms.identity).value_or("");
            set_text_element(entry, kHash, key(folders, path, uid, policy.per_user()));
        }
    });
}

/// The packages' policy where there is one.
std::optional<UserPolicy> existing_packages(const Folders& folders)
{
    if (!std::filesystem::exists(folders.etc / kPackages.file)) {
        return std::nullopt;
    }
    return UserPolicy(folders, kPackages);
}

/// The copy is saved first: a call that fails has not switched.
Variant set_user_distinguish(const Folders& folders, GVariant* arguments)
{
    const bool per_user = require_within(unsigned_at(arguments, 0), 1, "the distinction") == 1;
    UserPolicy programs(folders, kPrograms);
    if (std::optional<UserPolicy> packages = existing_packages(folders)) {
        packages->set_per_user(per_user);
        packages->save();
    }
    programs.set_per_user(per_user);
    renew_keys(folders, programs);
    programs.save();
    return number(kDone);
}

} // namespace

std::span<const Method> netctl_methods()
{
    static constexpr std::array methods{
        Method{"tresk_netctl_add", "usissi", "i", write<&UserPolicy::add, kPlain>},
        Method{"tresk_netctl_ext_add", "usisssi", "i", write<&UserPolicy::add, kExtended>},
        Method{"tresk_netctl_remove", "us", "i", remove},
        Method{"tresk_netctl_update", "usissi", "i", write<&UserPolicy::update, kPlain>},
        Method{"tresk_netctl_ext_update", "usisssi", "i", write<&UserPolicy::update, kExtended>},
        Method{"tresk_netctl_set_user_distinguish", "u", "i", set_user_distinguish},
    };
    return methods;
}

} // namespace tresk::service
