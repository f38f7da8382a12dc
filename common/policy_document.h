// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The one way to open a policy file and to walk its nodes. Families say what their file looks like in a
// PolicyFormat and write their rules over the plain values of PolicyNode; libxml2 stays behind this door.
#ifndef TRESK_COMMON_POLICY_DOCUMENT_H
#define TRESK_COMMON_POLICY_DOCUMENT_H

#include "common/policy_node.h"
#include "common/report.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tresk {

/// What tells one family's policy file from another's.
struct PolicyFormat {
    /// The root element's name.
    const char* root;
    /// Source module of the family's diagnostics.
    const char* source;
    /// Log format for another root, given the function's name and the root's; null: not logged.
    const char* wrong_root;
    /// Creates an empty policy after @file was found missing or empty; null: none is created.
    void (*create_default)(const char* file);
};

/// The wrong-root format of the families whose message takes the root's name as an argument.
inline constexpr char kWrongRoot[] = "%s: document of the wrong type, root node != %s\n";

/// A visitor's answer after each node.
enum class Walk { on, stop };

/// A visitor's answer to the head of a group of nodes.
enum class Group { enter, pass, stop };

/// True when libxml2 has an error to report on this thread, from whatever work.
bool xml_error_is_left();

/// Reads @file as a PolicyDocument does, but without a reset before: an error that earlier work on this
/// thread left behind counts as well. True when there is none.
bool reads_without_error(const char* file);

/// A policy document that was read and whose root is the format's.
class PolicyDocument {
  public:
    /// Reads @file in recovery mode, leaving libxml2's last-error state as the parser left it. Where this
    /// fails the document is empty (operator bool): a missing or empty file has then been created anew and
    /// another root been logged with @function's name and @expected (null: the root's name), as the format
    /// says.
    PolicyDocument(const PolicyFormat& format, const char* file, const char* function,
                   const char* expected = nullptr);
    ~PolicyDocument();
    PolicyDocument(const PolicyDocument&) = delete;
    PolicyDocument& operator=(const PolicyDocument&) = delete;

    explicit operator bool() const noexcept;

    /// Hands the root's children of every kind to @visit, in document order, until it answers stop.
    void for_each_node(const std::function<Walk(const PolicyNode&)>& visit) const;

    /// The same one level deeper: hands the root's child elements to @head, without their children, and,
    /// where it answers enter, their children to @visit. A stop of either ends the walk.
    void for_each_grouped_node(const std::function<Group(const PolicyNode&)>& head,
                               const std::function<Walk(const PolicyNode&)>& visit) const;

    /// The value of the root's first attribute, if that is named @name.
    [[nodiscard]] std::optional<std::string> first_root_attribute(std::string_view name) const;

  private:
    class Tree;
    std::unique_ptr<Tree> tree_;
};

} // namespace tresk

#endif
