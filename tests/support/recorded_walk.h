// SPDX-License-Identifier: LGPL-2.1-or-later
//
// All that a source hands out of a policy, written down to be compared.
#ifndef TRESK_TESTS_SUPPORT_RECORDED_WALK_H
#define TRESK_TESTS_SUPPORT_RECORDED_WALK_H

#include "common/policy_walk.h"

#include <string>

namespace tresk::test {

class RecordedWalk {
  public:
    /// Every node, or every node of every group.
    explicit RecordedWalk(bool grouped)
        : reader_{[this](const PolicyNode& root) {
                      text_.clear();
                      add("root", root);
                  },
                  nullptr,
                  [this](const PolicyNode& node) {
                      add("node", node);
                      return Walk::on;
                  }}
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

    [[nodiscard]] const std::string& text() const { return text_; }

  private:
    static std::string shown(const NodeText& text)
    {
        return text ? std::to_string(text->size()) + ":" + std::string(*text) : "none";
    }

    void add(const char* what, const PolicyNode& node)
    {
        text_ += std::string(what) + " " + std::to_string(static_cast<int>(node.kind)) + " " +
                 std::string(node.name);
        for (const PolicyAttribute& one : node.attributes) {
            text_ += (one.written ? " @" : " default @") + std::string(one.name) + "=" + shown(one.value);
        }
        for (const PolicyChild& one : node.children) {
            text_ += " /" + std::to_string(static_cast<int>(one.kind)) + " " + std::string(one.name) + "=" +
                     shown(one.text);
        }
        text_ += "\n";
    }

    PolicyWalk reader_;
    std::string text_;
};

} // namespace tresk::test

#endif
