// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/user_policy.h"

#include "standin/service/policy_path.h"

#include <cstdlib>

namespace tresk::service {

namespace {

constexpr char kRoot[] = "tresk_root";
constexpr char kSection[] = "tresk_user";
constexpr char kEntry[] = "tresk_node";
constexpr char kDistinction[] = "user_dist";
constexpr char kUser[] = "userID";

/// Read as readers do: what is no number is 0.
long integer(const std::string& text)
{
    return std::strtol(text.c_str(), nullptr, 10);
}

bool distinguishes_users(const Folders& folders)
{
    const PolicyFile programs(folders.etc / kPrograms.file, kRoot);
    return integer(attribute_of(programs.root(), kDistinction).value_or("0")) != 0;
}

/// The member @index as the text of an element.
std::string element_text(GVariant* arguments, gsize index)
{
    const Variant member(g_variant_get_child_value(arguments, index));
    if (g_variant_is_of_type(member.get(), G_VARIANT_TYPE_INT32) != FALSE) {
        return std::to_string(g_variant_get_int32(member.get()));
    }
    return g_variant_get_string(member.get(), nullptr);
}

} // namespace

UserEntry user_entry(GVariant* arguments, std::span<const char* const> children)
{
    UserEntry entry{.uid = unsigned_at(arguments, 0), .name = text_at(arguments, 1), .children = {}};
    gsize index = 2;
    for (const char* child : children) {
        entry.children.emplace_back(child, element_text(arguments, index));
        require_field(entry.children.back().second);
        ++index;
    }
    return entry;
}

UserPolicy::UserPolicy(const Folders& folders, const UserPolicyKind& kind)
    : file_(open_policy(folders, kind.file, kRoot)), identity_(kind.identity),
      per_user_(distinguishes_users(folders))
{
    set_per_user(per_user_);
}

void UserPolicy::set_per_user(bool per_user)
{
    per_user_ = per_user;
    set_first_attribute(file_.root(), kDistinction, per_user ? "1" : "0");
}

std::uint32_t UserPolicy::uid_of(const xmlNode* section)
{
    return static_cast<std::uint32_t>(integer(attribute_of(section, kUser).value_or("")));
}

std::vector<xmlNode*> UserPolicy::sections() const
{
    std::vector<xmlNode*> sections = child_elements(file_.root(), kSection);
    std::erase_if(sections, [](const xmlNode* section) { return !begins_with_attribute(section, kUser); });
    return sections;
}

/// Null when there is none.
xmlNode* UserPolicy::first_section_of(std::uint32_t uid) const
{
    const std::vector<xmlNode*> all = sections();
    const auto found =
        std::ranges::find_if(all, [uid](const xmlNode* section) { return uid_of(section) == uid; });
    return found == all.end() ? nullptr : *found;
}

/// Adds the section when there is none.
xmlNode* UserPolicy::section_for(std::uint32_t uid) const
{
    xmlNode* section = first_section_of(uid);
    return section != nullptr ? section : add_element(file_.root(), kSection, {{kUser, std::to_string(uid)}});
}

std::vector<xmlNode*> UserPolicy::edited_sections(std::uint32_t uid) const
{
    if (!per_user_) {
        return sections();
    }
    xmlNode* section = first_section_of(uid);
    return section == nullptr ? std::vector<xmlNode*>() : std::vector{section};
}

std::vector<xmlNode*> UserPolicy::entries_of(const xmlNode* section) const
{
    std::vector<xmlNode*> entries = child_elements(section, kEntry);
    std::erase_if(entries, [&](const xmlNode* entry) { return !begins_with_attribute(entry, identity_); });
    return entries;
}

std::vector<xmlNode*> UserPolicy::entries_named_by(const UserEntry& wanted) const
{
    std::vector<xmlNode*> named;
    for (const xmlNode* section : edited_sections(wanted.uid)) {
        std::ranges::copy_if(entries_of(section), std::back_inserter(named), [&](const xmlNode* entry) {
            return attribute_of(entry, identity_) == wanted.name;
        });
    }
    return named;
}

Variant UserPolicy::add(const UserEntry& wanted) const
{
    return add_unless_present(file_, entries_named_by(wanted), [&] {
        set_text_elements(add_element(section_for(wanted.uid), kEntry, {{identity_, wanted.name}}),
                          wanted.children);
    });
}

Variant UserPolicy::update(const UserEntry& wanted) const
{
    return change_each(file_, entries_named_by(wanted),
                       [&](xmlNode* entry) { set_text_elements(entry, wanted.children); });
}

Variant UserPolicy::remove(const UserEntry& wanted) const
{
    return change_each(file_, entries_named_by(wanted), remove_element);
}

} // namespace tresk::service
