// SPDX-License-Identifier: LGPL-2.1-or-later
#include "pblk/pblk_policy.h"

#include "common/default_policy.h"
#include "common/policy_qualifier.h"
#include "common/record_array.h"
#include "common/text.h"

#include <algorithm>
#include <cstddef>

namespace tresk::pblk {

static_assert(sizeof(pblk_node_info) == 4161);
static_assert(offsetof(pblk_node_info, path) == 0);
static_assert(offsetof(pblk_node_info, hash) == 4096);

namespace {

constexpr std::string_view kNode = "pblk_node";
constexpr std::string_view kHash = "hash";

NodeText entry_path(const PolicyNode& node, const Acceptance& rules, const Wanted& wanted)
{
    const NodeText path =
        rules.path == PathRule::first_attribute ? node.first_attribute(kPath) : node.attribute(kPath);
    // A shortened path would name another file.
    if (!path || !fits(*path, sizeof(pblk_node_info::path)) || (wanted.path && *path != *wanted.path)) {
        return std::nullopt;
    }
    return path;
}

/// A wanted null equals no attribute.
bool passes(const Qualifier& qualifier, SourceRule rule, const char* wanted)
{
    if (qualifier.absent()) {
        return rule == SourceRule::if_present;
    }
    return wanted != nullptr && qualifier.equals(wanted);
}

bool is_of_source(const PolicyNode& node, SourceRule rule, const Wanted& wanted)
{
    return rule == SourceRule::ignored ||
           (passes({node, "data_source_type"}, rule, wanted.source_type.data()) &&
            passes({node, "data_source_name"}, rule, wanted.source_name));
}

bool has_hash(const PolicyNode& node, std::string_view hash)
{
    return std::any_of(node.children.begin(), node.children.end(), [hash](const PolicyChild& child) {
        return child.kind == NodeKind::element && child.name == kHash && child.text == hash;
    });
}

NodeText entry_hash(const PolicyNode& node, HashRule rule, std::string_view wanted)
{
    if (rule == HashRule::last) {
        return node.last_child(kHash);
    }
    if (rule == HashRule::wanted) {
        return has_hash(node, wanted) ? NodeText(wanted) : std::nullopt;
    }
    return "";
}

} // namespace

void create_default(const char* /*file*/)
{
    create_default_policy(kPolicyFile, {kFormat.root});
}

std::optional<Entry> accepted_entry(const PolicyNode& node, const Acceptance& rules, const Wanted& wanted)
{
    if (!node.is_element(kNode) || !is_of_source(node, rules.source, wanted)) {
        return std::nullopt;
    }
    const NodeText path = entry_path(node, rules, wanted);
    const NodeText hash = entry_hash(node, rules.hash, wanted.hash);
    return path && hash ? std::optional(Entry{*path, *hash}) : std::nullopt;
}

bool carries_hash(const PolicyNode& node, std::string_view hash)
{
    return node.is_element(kNode) && node.last_child(kHash) == hash;
}

void fill_record(pblk_node_info& record, const Entry& entry)
{
    set_text(record.path, entry.path);
    set_text(record.hash, entry.hash);
}

} // namespace tresk::pblk
