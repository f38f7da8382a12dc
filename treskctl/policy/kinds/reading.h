// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the readings of the policy files share: numbers and texts as the library's readers see them, and what
// they would skip or misread.
#ifndef TRESK_TRESKCTL_POLICY_KINDS_READING_H
#define TRESK_TRESKCTL_POLICY_KINDS_READING_H

#include "common/handles.h"
#include "treskctl/policy/kind.h"
#include "treskctl/policy/xml_file.h"

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tresk::ctl {

/// What a reader of records keeps of a path, a package's name and the like.
inline constexpr std::size_t kLongestName = 4095;
inline constexpr std::size_t kLongestHash = 64;

/// What the elements of a policy mean to readers. Of a policy that is read one entry at a time, the root and
/// the groups have no children yet.
class PolicyReader {
  public:
    PolicyReader() = default;
    virtual ~PolicyReader() = default;
    PolicyReader(const PolicyReader&) = delete;
    PolicyReader& operator=(const PolicyReader&) = delete;

    virtual void read_root(Reading& reading, const XmlElement& root) = 0;

    /// False where readers do not look at the group's entries.
    virtual bool read_group(Reading& /*reading*/, const XmlElement& /*group*/) { return true; }

    virtual void read_entry(Reading& reading, const XmlElement& entry) = 0;
};

/// Reads @file. A second entry of one name is a problem: readers of one entry never come to it.
Reading read_policy(const std::string& file, const XmlShape& shape, PolicyReader& reader, const Kind& kind);

/// The same, one entry at a time; null where @file cannot be read so.
/// @new_reader: makes one for each time that the policy is read
std::unique_ptr<EntryStream> stream_policy(const std::string& file, const XmlShape& shape,
                                           std::function<std::unique_ptr<PolicyReader>()> new_reader);

/// Notes a problem where @element stands.
void complain(Reading& reading, const XmlElement& element, const std::string& text);

/// The number that the library reads at the beginning of a text.
std::int32_t leading_number(const std::string& text);

/// The same of @text; a text that says more than a number, or none, is a problem of @element.
std::int64_t number_in(Reading& reading, const XmlElement& element, std::string_view what,
                       const std::string& text);

/// The type of a source, which readers compare as the text that they would write for a number: any other is a
/// problem, since they find it under no number. One if @text says nothing.
std::int64_t source_type_in(Reading& reading, const XmlElement& element,
                            const std::optional<std::string>& text);

/// The text of the last child of that name, or nothing. More than one of them is a problem, and so are
/// elements in it.
std::optional<std::string> child_text(Reading& reading, const XmlElement& element, std::string_view name);

/// Elements, attributes and texts that no reader looks at are problems: somebody meant something by them.
void require_known(Reading& reading, const XmlElement& element,
                   std::initializer_list<std::string_view> attributes,
                   std::initializer_list<std::string_view> children);

/// Whether readers take @element for an entry: it is named by its first attribute, @identity, and has these
/// children. What it lacks is a problem.
bool is_entry(Reading& reading, const XmlElement& element, std::string_view identity,
              std::initializer_list<std::string_view> children);

/// A path that no look-up asks for is a problem.
void require_absolute(Reading& reading, const XmlElement& element, const std::string& path);

/// The same for look-ups that ask for what a path resolves to.
void require_resolved(Reading& reading, const XmlElement& element, const std::string& path);

/// A hash that is not its path's is a problem.
/// @hash_of_path: gives null where it cannot be told
void require_hash(Reading& reading, const XmlElement& element, const std::string& hash,
                  const std::function<Malloced<char>()>& hash_of_path);

/// The field's bytes that a reader of records keeps; a longer text is a problem.
std::string fitting(Reading& reading, const XmlElement& element, std::string_view what, std::string text,
                    std::size_t longest);

/// The form in which the service keeps a program's path: absolute, and below "/data" where its folder is
/// bound from there.
std::string policy_path(const std::string& path);

} // namespace tresk::ctl

#endif
