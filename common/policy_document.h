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

namespace tresk {

/// What tells one family's policy file from another's.
struct PolicyFormat {
    /// The root element's name.
    const char* root;
    /// Source module of the family's diagnostics.
    const char* source;
    /// Where an empty policy is created when a file is missing or empty.
    const char* default_file;
};

/// A visitor's answer after each node.
enum class Walk { on, stop };

/// A policy document that was read and whose root is the format's.
class PolicyDocument {
  public:
    /// Reads @file in recovery mode, leaving libxml2's last-error state as the parser left it. Where this
    /// fails the document is empty (operator bool): a missing or empty file has then been created anew, and
    /// another root has been logged with @function's name and @expected (null: the root's name).
    PolicyDocument(const PolicyFormat& format, const char* file, const char* function,
                   const char* expected = nullptr);
    ~PolicyDocument();
    PolicyDocument(const PolicyDocument&) = delete;
    PolicyDocument& operator=(const PolicyDocument&) = delete;

    explicit operator bool() const noexcept;

    /// Hands the root's children of every kind to @visit, in document order, until it answers stop.
    void for_each_node(const std::function<Walk(const PolicyNode&)>& visit) const;

  private:
    class Tree;
    std::unique_ptr<Tree> tree_;
};

} // namespace tresk

#endif
