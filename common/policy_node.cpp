// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/policy_node.h"

#include <algorithm>

namespace tresk {

bool PolicyNode::is_element(std::string_view wanted) const noexcept
{
    return kind == NodeKind::element && name == wanted;
}

const PolicyAttribute* PolicyNode::find_attribute(std::string_view wanted) const noexcept
{
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [wanted](const PolicyAttribute& one) { return one.name == wanted; });
    return found == attributes.end() ? nullptr : &*found;
}

NodeText PolicyNode::attribute(std::string_view wanted) const noexcept
{
    const PolicyAttribute* found = find_attribute(wanted);
    return found == nullptr ? std::nullopt : found->value;
}

NodeText PolicyNode::first_attribute(std::string_view wanted) const noexcept
{
    if (attributes.empty() || !attributes.front().written || attributes.front().name != wanted) {
        return std::nullopt;
    }
    return attributes.front().value;
}

NodeText PolicyNode::last_child(std::string_view wanted) const noexcept
{
    const auto found = std::find_if(children.rbegin(), children.rend(), [wanted](const PolicyChild& one) {
        return one.kind == NodeKind::element && one.name == wanted;
    });
    return found == children.rend() ? std::nullopt : found->text;
}

} // namespace tresk
