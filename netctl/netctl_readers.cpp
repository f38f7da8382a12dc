// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The readers of both policies. Each call reads the whole policy file afresh.
#include "common/edge.h"
#include "common/record_array.h"
#include "netctl/netctl_records.h"

namespace tresk::netctl {

namespace {

/// Whose nodes a reader gives.
using ChooseUsers = UserFilter (*)(std::int32_t uid);

UserFilter every_user(std::int32_t /*uid*/)
{
    return std::nullopt;
}

/// An array reader, as its messages name it, and the user it was asked for.
struct ArrayReader {
    const char* function;
    ChooseUsers choose;
    std::int32_t uid;
};

/// The rule that becomes a record of an array.
template <class Record>
std::optional<Rule> listed_rule(const PolicyNode& node)
{
    std::optional<Rule> rule = rule_of(node, kKindOf<Record>);
    if (!rule || !is_complete(*rule, kKindOf<Record>) || !names_fit<Record>(*rule)) {
        return std::nullopt;
    }
    if (OfPackage<Record> && names_missing_program(node)) {
        return std::nullopt;
    }
    return rule;
}

template <class Record, class Count>
Record* read_all(const ArrayReader& reader, const char* file, Count* count)
{
    if (file == nullptr || count == nullptr) {
        return nullptr;
    }
    PackedEntries<Rule> rules;
    const bool read = read_nodes_of(
        file, reader.function, reader.choose(reader.uid), [&] { rules.clear(); },
        [&](const PolicyNode& node) {
            if (const std::optional<Rule> rule = listed_rule<Record>(node)) {
                rules.append(*rule);
            }
            return Walk::on;
        });
    return read ? to_records<Record>(rules, count, fill_record<Record>) : nullptr;
}

/// The record of the first rule named @identity, null where that rule is incomplete.
template <class Record>
Record* read_one(const char* function, std::uint32_t uid, const char* identity)
{
    if (identity == nullptr) {
        return nullptr;
    }
    constexpr const RuleKind& kind = kKindOf<Record>;
    Malloced<Record> record;
    const auto look_at = [&](const PolicyNode& node) {
        const std::optional<Rule> rule = rule_of(node, kind);
        if (!rule || rule->identity != identity || !names_fit<Record>(*rule)) {
            return Walk::on;
        }
        if (is_complete(*rule, kind)) {
            record = make_record<Record>();
            fill_record(*record, *rule);
        }
        return Walk::stop;
    };
    const bool read = read_nodes_of(
        kind.file, function, filter_for(static_cast<std::int32_t>(uid)), [&] { record.reset(); }, look_at,
        only_with(kind.identity, identity));
    return read ? record.release() : nullptr;
}

template <class Record, class Count>
Record* array_at_edge(const ArrayReader& reader, const char* file, Count* count)
{
    return at_edge<Record*>(nullptr, [&] { return read_all<Record>(reader, file, count); });
}

template <class Record>
Record* record_at_edge(const char* function, std::uint32_t uid, const char* identity)
{
    return at_edge<Record*>(nullptr, [&] { return read_one<Record>(function, uid, identity); });
}

} // namespace

} // namespace tresk::netctl

using namespace tresk;

TRESK_EXPORT netctl_node_data* tresk_netctl_read_all_data_inner(const char* file, uint32_t* count)
{
    return netctl::array_at_edge<netctl_node_data>(
        {"tresk_netctl_read_all_data_inner", netctl::every_user, 0}, file, count);
}

TRESK_EXPORT netctl_node_data* tresk_netctl_read_all_data(uint32_t* count)
{
    return tresk_netctl_read_all_data_inner(netctl::kPrograms.file, count);
}

TRESK_EXPORT netctl_node_info* tresk_netctl_read_all_data_with_uid_inner(int32_t uid, const char* file,
                                                                         uint32_t* count)
{
    return netctl::array_at_edge<netctl_node_info>(
        {"tresk_netctl_read_all_data_with_uid_inner", netctl::filter_for, uid}, file, count);
}

TRESK_EXPORT netctl_node_info* tresk_netctl_read_all_data_with_uid(uint32_t uid, uint32_t* count)
{
    return tresk_netctl_read_all_data_with_uid_inner(static_cast<int32_t>(uid), netctl::kPrograms.file,
                                                     count);
}

TRESK_EXPORT netctl_ext_node_info*
tresk_netctl_ext_read_all_data_with_uid_inner(int32_t uid, const char* file, int32_t* count)
{
    return netctl::array_at_edge<netctl_ext_node_info>(
        {"tresk_netctl_ext_read_all_data_with_uid_inner", netctl::filter_for, uid}, file, count);
}

TRESK_EXPORT netctl_ext_node_info* tresk_netctl_ext_read_all_data_with_uid(uint32_t uid, int32_t* count)
{
    return tresk_netctl_ext_read_all_data_with_uid_inner(static_cast<int32_t>(uid), netctl::kPrograms.file,
                                                         count);
}

TRESK_EXPORT netctl_node_info* tresk_netctl_read_node_with_uid(uint32_t uid, const char* path)
{
    return netctl::record_at_edge<netctl_node_info>("tresk_netctl_read_node_with_uid", uid, path);
}

TRESK_EXPORT netctl_ext_node_info* tresk_netctl_ext_read_node_with_uid(uint32_t uid, const char* path)
{
    return netctl::record_at_edge<netctl_ext_node_info>("tresk_netctl_ext_read_node_with_uid", uid, path);
}

TRESK_EXPORT netctl_pkg_node_info*
tresk_netctl_pkg_read_all_data_with_uid_inner(uint32_t uid, const char* file, uint32_t* count)
{
    return netctl::array_at_edge<netctl_pkg_node_info>(
        {"tresk_netctl_pkg_read_all_data_with_uid_inner", netctl::filter_for, static_cast<int32_t>(uid)},
        file, count);
}

TRESK_EXPORT netctl_pkg_node_info* tresk_netctl_pkg_read_all_data_with_uid(uint32_t uid, uint32_t* count)
{
    return tresk_netctl_pkg_read_all_data_with_uid_inner(uid, netctl::kPackages.file, count);
}

TRESK_EXPORT netctl_pkg_node_info* tresk_netctl_pkg_read_node_with_uid(uint32_t uid, const char* pkg)
{
    return netctl::record_at_edge<netctl_pkg_node_info>("tresk_netctl_pkg_read_node_with_uid", uid, pkg);
}

TRESK_EXPORT netctl_pkg_path_node_info* tresk_netctl_pkg_path_read_node_with_uid(uint32_t uid,
                                                                                 const char* pkg)
{
    return netctl::record_at_edge<netctl_pkg_path_node_info>("tresk_netctl_pkg_path_read_node_with_uid", uid,
                                                             pkg);
}
