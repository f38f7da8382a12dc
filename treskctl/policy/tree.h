// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A JSON or YAML text as a tree in which everything knows its line, so that whoever reads a document can say
// where something is wrong in it.
#ifndef TRESK_TRESKCTL_POLICY_TREE_H
#define TRESK_TRESKCTL_POLICY_TREE_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace tresk::ctl {

enum class Shape {
    Null,
    Flag,   ///< JSON's true and false
    Number, ///< as it is written
    Text,
    Plain, ///< YAML's text without quotes: a text to who wants one, a number to who wants a number
    List,
    Map,
};

struct Node {
    Shape shape = Shape::Null;
    /// What it is called in the map around it. A map may hold one name twice.
    std::string name;
    /// Of flags, numbers and texts.
    std::string text;
    /// Its name's, where it has one.
    std::size_t line = 0;
    /// Of lists and maps, in the order in which they are written.
    std::vector<Node> children;
};

/// The text is no JSON or YAML, or uses what has no place in documents.
class WrongTree : public std::runtime_error {
  public:
    WrongTree(std::size_t line, const std::string& message) : std::runtime_error(message), line_(line) {}

    /// From 1.
    [[nodiscard]] std::size_t line() const { return line_; }

  private:
    std::size_t line_;
};

/// Both throw WrongTree.
Node tree_of_json(const std::string& text);
Node tree_of_yaml(const std::string& text);

} // namespace tresk::ctl

#endif
