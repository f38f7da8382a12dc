// SPDX-License-Identifier: LGPL-2.1-or-later
//
// All that a source hands out of a policy, written down to be compared.
#ifndef TRESK_TESTS_SUPPORT_RECORDED_WALK_H
#define TRESK_TESTS_SUPPORT_RECORDED_WALK_H

#include "common/policy_walk.h"

#include <string>
#include <utility>
#include <vector>

namespace tresk::test {

class RecordedWalk {
  public:
    /// Every node, or every node of every group.
    explicit RecordedWalk(bool grouped, NodeSieve sieve = {})
        : reader_{[this](const PolicyNode& root) {
                      lines_.clear();
                      add("root", root);
                  },
                  nullptr,
                  [this](const PolicyNode& node) {
                      add("node", node);
                      return Walk::on;
                  },
                  std::move(sieve)}
    {
        if (grouped) {
            reader_.group = [this](const PolicyNode& head) {
                add("group", head);
                return Group::enter;
            };
        }
    }

    RecordedWalk(const RecordedWalk&) = delete;
    RecordedWalk& operator=(const RecordedWalk&) = delete;

    [[nodiscard]] const PolicyWalk& reader() const { return reader_; }

    /// One for the root, each group and each node.
    [[nodiscard]] const std::vector<std::string>& lines() const { return lines_; }

    [[nodiscard]] std::string text() const
    {
        std::string text;
        for (const std::string& line : lines_) {
            text += line + "\n";
        }
        return text;
    }

  private:
    static std::string shown(const NodeText& text)
    {
        return text ? std::to_string(text->size()) + ":" + std::string(*text) : "none";
    }

    void add(const char* what, const PolicyNode& node)
    {
        std::string text = std::string(what) + " " + std::to_string(static_cast<int>(node.kind)) + " " +
                           std::string(node.name);
        for (const PolicyAttribute& one : node.attributes) {
            text += (one.written ? " @" : " default @") + std::string(one.name) + "=" + shown(one.value);
        }
        for (const PolicyChild& one : node.children) {
            text += " /" + std::to_string(static_cast<int>(one.kind)) + " " + std::string(one.name) + "=" +
                    shown(one.text);
        }
        lines_.push_back(std::move(text));
    }

    PolicyWalk reader_;
    std::vector<std::string> lines_;
};

} // namespace tresk::test

#endif
