// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Network control's policies: entries in one section per user.
//
//   <tresk_root user_dist="0|1">
//     <tresk_user userID="uid">
//       <tresk_node IDENTITY="..."> one child element for each value </tresk_node>
//     </tresk_user>
//   </tresk_root>
//
// The attributes stand first: readers overlook other elements. While users are distinguished, an edit works
// on the first section of its user, the only one that readers then look at. While they are not, an entry is
// named by its identity alone: an edit works on every section, and only an addition puts the new entry into
// its user's. Entries of the same name that were added per user all stay; they are then changed together.
//
// The distinction in "netctl/netctl.xml" is the one that holds, as for readers; the packages' file carries a
// copy, which every edit renews.
#ifndef TRESK_STANDIN_SERVICE_USER_POLICY_H
#define TRESK_STANDIN_SERVICE_USER_POLICY_H

#include "standin/service/policy_edit.h"

#include <cstdint>
#include <span>

namespace tresk::service {

/// What tells the policies apart: the file, and the attribute that names an entry.
struct UserPolicyKind {
    const char* file;
    const char* identity;
};

inline constexpr UserPolicyKind kPrograms{.file = "netctl/netctl.xml", .identity = "path"};
inline constexpr UserPolicyKind kPackages{.file = "netctl/netctl_pkg.xml", .identity = "pkg"};

/// What a call asks for: whose entry, its name, and the child elements to write.
struct UserEntry {
    std::uint32_t uid;
    std::string name;
    NamedTexts children;
};

/// The entry of an argument tuple: uid, name, and a text or an int32 for each of @children. Refuses texts of
/// children that no reader could give back; the name is the caller's to check.
UserEntry user_entry(GVariant* arguments, std::span<const char* const> children);

class UserPolicy {
  public:
    /// Opens the policy for an edit. Refused as open_policy() refuses, also for "netctl/netctl.xml".
    UserPolicy(const Folders& folders, const UserPolicyKind& kind);

    /// Whether users are distinguished.
    [[nodiscard]] bool per_user() const noexcept { return per_user_; }

    void set_per_user(bool per_user);

    /// Calls @visit(uid, entry) for the entries of all sections.
    template <class Visit>
    void for_each_entry(Visit visit) const
    {
        for (xmlNode* section : sections()) {
            for (xmlNode* entry : entries_of(section)) {
                visit(uid_of(section), entry);
            }
        }
    }

    void save() const { file_.save(); }

    // One edit each: changes the policy, saves it and answers the call.
    [[nodiscard]] Variant add(const UserEntry& wanted) const;
    [[nodiscard]] Variant update(const UserEntry& wanted) const;
    [[nodiscard]] Variant remove(const UserEntry& wanted) const;

  private:
    static std::uint32_t uid_of(const xmlNode* section);
    [[nodiscard]] std::vector<xmlNode*> sections() const;
    [[nodiscard]] xmlNode* first_section_of(std::uint32_t uid) const;
    [[nodiscard]] xmlNode* section_for(std::uint32_t uid) const;
    [[nodiscard]] std::vector<xmlNode*> edited_sections(std::uint32_t uid) const;
    [[nodiscard]] std::vector<xmlNode*> entries_of(const xmlNode* section) const;
    [[nodiscard]] std::vector<xmlNode*> entries_named_by(const UserEntry& wanted) const;

    PolicyFile file_;
    const char* identity_;
    bool per_user_;
};

} // namespace tresk::service

#endif
