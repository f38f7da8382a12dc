// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The look-ups by path hash that precede a kernel notification. Their selections look odd, and the
// notifications rely on them:
//  - the entry of a hash is searched among those that do not carry it, to learn whether another entry is
//  left;
//  - the count of a hash ends after the file's first node, unless the caller's counter is above 2 by then.
#include "common/edge.h"
#include "common/text.h"
#include "ppro/ppro_policy.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace tresk::ppro {

namespace {

/// A count goes on past a node only while it is above this.
constexpr std::int64_t kCountCutOff = 2;

/// What a node's children tell when they are read in order until one of them rules the node out.
struct OrderedChildren {
    NodeText hash;
    NodeText type;
    bool ruled_out = false;

    OrderedChildren(const PolicyNode& node, std::string_view unwanted_hash)
    {
        // A node without children has no hash to begin with.
        ruled_out = node.children.empty();
        for (auto child = node.children.begin(); child != node.children.end() && !ruled_out; ++child) {
            take(*child);
            ruled_out = !hash || *hash == unwanted_hash;
        }
    }

  private:
    void take(const PolicyChild& child)
    {
        if (child.kind != NodeKind::element) {
            return;
        }
        if (child.name == kHash) {
            hash = child.text;
        } else if (child.name == kType) {
            type = child.text;
        }
    }
};

Malloced<ppro_node_info> read_node_beside_hash(const char* hash, const Filter& shows)
{
    Malloced<ppro_node_info> result;
    const auto look_at = [&](const PolicyNode& node) {
        const NodeText path = entry_path(node);
        if (!path || !shows(node)) {
            return Walk::on;
        }
        const OrderedChildren children(node, hash);
        if (children.ruled_out) {
            return Walk::on;
        }
        if (children.type) {
            result = new_record({*path, *children.hash, *children.type});
        }
        return Walk::stop;
    };
    const bool read = read_policy(kFormat, kPolicyFile, "tresk_ppro_read_node_with_hash_zdk",
                                  {[&](const PolicyNode& /*root*/) { result.reset(); }, nullptr, look_at});
    return read ? std::move(result) : nullptr;
}

/// The element's name does not matter here.
bool is_owned_by_sm(const PolicyNode& node, std::string_view hash)
{
    return is_named_by_path(node) && node.last_child(kType) && node.last_child(kHash) == hash &&
           !numeric_filter(0)(node);
}

bool check_in_sm(const char* hash)
{
    bool found = false;
    const bool read = read_policy(kFormat, kPolicyFile, "tresk_ppro_check_in_sm",
                                  {[&](const PolicyNode& /*root*/) { found = false; },
                                   nullptr,
                                   [&](const PolicyNode& node) {
                                       found = is_owned_by_sm(node, hash);
                                       return found ? Walk::stop : Walk::on;
                                   },
                                   {kOwner, [](std::string_view owner) { return to_int32(owner) != 0; }}});
    return read && found;
}

/// Neither the node's path nor any child but the first is looked at.
bool begins_with_hash(const PolicyNode& node, std::string_view hash)
{
    if (!node.is_element(kNode) || node.children.empty()) {
        return false;
    }
    const PolicyChild& first = node.children.front();
    return first.kind == NodeKind::element && first.name == kHash && first.text == hash;
}

int count_nodes_with_hash(const char* hash, int& count)
{
    std::int64_t found = count;
    const PolicyWalk counting{[&](const PolicyNode& /*root*/) { found = count; }, nullptr,
                              [&](const PolicyNode& node) {
                                  found += begins_with_hash(node, hash) ? 1 : 0;
                                  return found > kCountCutOff ? Walk::on : Walk::stop;
                              }};
    // The message names the node where those of the other readers name the root.
    if (!read_policy(kFormat, kPolicyFile, "tresk_ppro_get_same_node_by_hash", counting, kNode.data())) {
        return -1;
    }
    count = static_cast<int>(std::min<std::int64_t>(found, std::numeric_limits<int>::max()));
    return 0;
}

} // namespace

} // namespace tresk::ppro

using namespace tresk;

TRESK_EXPORT ppro_node_info* tresk_ppro_read_node_with_hash_zdk(const char* hash, int mode,
                                                                const char* data_source)
{
    return at_edge<ppro_node_info*>(nullptr, [&]() -> ppro_node_info* {
        return hash == nullptr
                   ? nullptr
                   : ppro::read_node_beside_hash(hash, ppro::exact_filter(mode, data_source)).release();
    });
}

TRESK_EXPORT int tresk_ppro_check_in_sm(const char* hash)
{
    return at_edge(-1, [&] { return hash != nullptr && ppro::check_in_sm(hash) ? 0 : -1; });
}

TRESK_EXPORT int tresk_ppro_get_same_node_by_hash(const char* hash, int* count)
{
    return at_edge(-1, [&] {
        return hash == nullptr || count == nullptr ? -1 : ppro::count_nodes_with_hash(hash, *count);
    });
}
