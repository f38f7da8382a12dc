// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ppro/ppro_policy.h"

#include "common/default_policy.h"
#include "common/policy_qualifier.h"
#include "common/record_array.h"
#include "common/text.h"

#include <cstddef>
#include <string>

namespace tresk::ppro {

static_assert(sizeof(ppro_node_info) == 4168);
static_assert(offsetof(ppro_node_info, path) == 0);
static_assert(offsetof(ppro_node_info, hash) == 4096);
static_assert(offsetof(ppro_node_info, type) == 4164);

namespace {

Qualifier owner_of(const PolicyNode& node)
{
    return {node, kOwner};
}

bool has_source(const PolicyNode& node, const char* data_source)
{
    const Qualifier source(node, "data_source_name");
    if (source.absent()) {
        return data_source == nullptr || *data_source == '\0';
    }
    return data_source != nullptr && source.equals(data_source);
}

} // namespace

void create_default(const char* /*file*/)
{
    create_default_policy(kPolicyFile, {kFormat.root});
}

Filter numeric_filter(int mode)
{
    return [mode](const PolicyNode& node) {
        const Qualifier owner = owner_of(node);
        return mode != 0 || owner.absent() || owner.is_number(0);
    };
}

Filter exact_filter(int mode, const char* data_source)
{
    return [mode, text = std::to_string(mode), data_source](const PolicyNode& node) {
        const Qualifier owner = owner_of(node);
        return (owner.absent() ? mode == 0 : owner.equals(text)) && has_source(node, data_source);
    };
}

bool is_named_by_path(const PolicyNode& node)
{
    return !node.attributes.empty() && node.attributes.front().written &&
           node.attributes.front().name == kPath;
}

NodeText entry_path(const PolicyNode& node)
{
    if (!node.is_element(kNode)) {
        return std::nullopt;
    }
    const NodeText path = node.first_attribute(kPath);
    // A shortened path would name another file.
    return path && fits(*path, sizeof(ppro_node_info::path)) ? path : std::nullopt;
}

std::optional<Entry> complete_entry(const PolicyNode& node)
{
    const NodeText path = entry_path(node);
    const NodeText hash = node.last_child(kHash);
    const NodeText type = node.last_child(kType);
    if (!path || !hash || !type) {
        return std::nullopt;
    }
    return Entry{*path, *hash, *type};
}

void fill_record(ppro_node_info& record, const Entry& entry)
{
    set_text(record.path, entry.path);
    set_text(record.hash, entry.hash);
    record.type = to_int32(entry.type);
}

Malloced<ppro_node_info> new_record(const Entry& entry)
{
    Malloced<ppro_node_info> record = make_record<ppro_node_info>();
    fill_record(*record, entry);
    return record;
}

} // namespace tresk::ppro
