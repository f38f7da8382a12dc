// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The attributes of a policy node that say for whom it is.
#ifndef TRESK_COMMON_POLICY_QUALIFIER_H
#define TRESK_COMMON_POLICY_QUALIFIER_H

#include "common/policy_node.h"
#include "common/text.h"

#include <cstdint>
#include <string_view>

namespace tresk {

/// An optional attribute. One that is there and cannot be read is not absent: it matches nothing, so that an
/// entry is not shown to those from whom it may have been hidden.
class Qualifier {
  public:
    Qualifier(const PolicyNode& node, std::string_view name) : Qualifier(node.find_attribute(name)) {}

    [[nodiscard]] bool absent() const noexcept { return absent_; }

    [[nodiscard]] bool equals(std::string_view wanted) const noexcept { return text_ == wanted; }

    [[nodiscard]] bool is_number(std::int32_t wanted) const { return text_ && to_int32(*text_) == wanted; }

  private:
    explicit Qualifier(const PolicyAttribute* found)
        : absent_(found == nullptr), text_(absent_ ? std::nullopt : found->value)
    {
    }

    bool absent_;
    NodeText text_;
};

} // namespace tresk

#endif
