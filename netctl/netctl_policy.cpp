// SPDX-License-Identifier: LGPL-2.1-or-later
#include "netctl/netctl_policy.h"

#include "common/default_policy.h"
#include "common/text.h"
#include "netctl/user_distinction.h"
#include "tresk_extend.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

namespace tresk::netctl {

namespace {

constexpr std::string_view kUser = "tresk_user";
constexpr std::string_view kUserId = "userID";
constexpr std::string_view kNode = "tresk_node";
constexpr std::string_view kPath = "path";

/// The setting is a yes or no, so there is no room for the tail of a ten-digit one.
constexpr std::size_t kSettingBytes = 10;

std::optional<std::int32_t> user_id(const PolicyNode& node)
{
    const NodeText text = node.is_element(kUser) ? node.first_attribute(kUserId) : std::nullopt;
    return text ? std::optional(to_int32(*text)) : std::nullopt;
}

bool is_missing_program(const PolicyChild& child)
{
    return child.kind == NodeKind::element && child.name == kPath &&
           (!child.text || check_program_is_exist(std::string(*child.text).c_str()) == 0);
}

} // namespace

void create_default(const char* file)
{
    char setting[kSettingBytes];
    (void)std::snprintf(setting, sizeof setting, "%d", user_distinction());
    create_default_policy(file, {kFormat.root, kUserDistinction, setting});
}

std::optional<Rule> rule_of(const PolicyNode& node, const RuleKind& kind)
{
    const NodeText identity = node.is_element(kNode) ? node.first_attribute(kind.identity) : std::nullopt;
    if (!identity) {
        return std::nullopt;
    }
    return Rule{*identity,
                node.last_child("type"),
                node.last_child("hash"),
                node.last_child("name"),
                node.last_child(kPath),
                node.last_child("ico"),
                node.last_child("desktop"),
                node.last_child("server_type")};
}

bool is_complete(const Rule& rule, const RuleKind& kind)
{
    return rule.type && (rule.hash || !kind.has_hash);
}

bool names_missing_program(const PolicyNode& node)
{
    return std::any_of(node.children.begin(), node.children.end(), is_missing_program);
}

UserFilter filter_for(std::int32_t uid)
{
    return user_distinction() == 0 ? std::nullopt : UserFilter(uid);
}

bool read_nodes_of(const char* file, const char* function, const UserFilter& filter,
                   const std::function<void()>& begin, const std::function<Walk(const PolicyNode&)>& visit,
                   NodeSieve sieve)
{
    bool filter_met = false;
    const auto start = [&](const PolicyNode& /*root*/) {
        filter_met = false;
        begin();
    };
    const auto enter = [&](const PolicyNode& user) {
        if (filter_met) {
            return Group::stop;
        }
        const std::optional<std::int32_t> uid = user_id(user);
        if (!uid || (filter && *uid != *filter)) {
            return Group::pass;
        }
        filter_met = filter.has_value();
        return Group::enter;
    };
    return read_policy(kFormat, file, function, {start, enter, visit, std::move(sieve)});
}

} // namespace tresk::netctl
