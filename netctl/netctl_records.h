// SPDX-License-Identifier: LGPL-2.1-or-later
//
// From a rule's texts to the record types, which differ only in the fields that they have.
#ifndef TRESK_NETCTL_NETCTL_RECORDS_H
#define TRESK_NETCTL_NETCTL_RECORDS_H

#include "common/record_array.h"
#include "common/text.h"
#include "netctl/netctl_policy.h"
#include "tresk_extend.h"

#include <cstddef>

namespace tresk::netctl {

static_assert(sizeof(netctl_node_data) == 4168);
static_assert(offsetof(netctl_node_data, type) == 4164);
static_assert(sizeof(netctl_node_info) == 8524);
static_assert(offsetof(netctl_node_info, name) == 4168);
static_assert(offsetof(netctl_node_info, server_type) == 8520);
static_assert(sizeof(netctl_ext_node_info) == 12620);
static_assert(offsetof(netctl_ext_node_info, desktop) == 8520);
static_assert(sizeof(netctl_pkg_node_info) == 12296);
static_assert(offsetof(netctl_pkg_node_info, ico) == 4100);
static_assert(sizeof(netctl_pkg_path_node_info) == 16392);
static_assert(offsetof(netctl_pkg_path_node_info, type) == 8192);

template <class Record>
concept OfPackage = requires(Record record)
{
    record.pkg;
};

template <class Record>
concept OfProgram = !OfPackage<Record>;

template <class Record>
concept WithProgramOfPackage = OfPackage<Record> && requires(Record record)
{
    record.path;
};

/// What a missing optional text reads as.
inline constexpr std::string_view kUnknown = "unknown";

/// The kind of node that a record type is made of.
template <class Record>
inline constexpr const RuleKind& kKindOf = OfPackage<Record> ? kPackages : kPrograms;

/// True when the names in @rule fit the record: a shortened one would be another's.
template <class Record>
bool names_fit(const Rule& rule)
{
    if constexpr (WithProgramOfPackage<Record>) {
        return fits(rule.identity, sizeof(Record::pkg)) &&
               fits(rule.path.value_or(kUnknown), sizeof(Record::path));
    } else if constexpr (OfPackage<Record>) {
        return fits(rule.identity, sizeof(Record::pkg));
    } else {
        return fits(rule.identity, sizeof(Record::path));
    }
}

template <class Record>
void fill_names(Record& record, const Rule& rule)
{
    if constexpr (OfPackage<Record>) {
        set_text(record.pkg, rule.identity);
    } else {
        set_text(record.path, rule.identity);
        set_text(record.hash, *rule.hash);
    }
    if constexpr (WithProgramOfPackage<Record>) {
        set_text(record.path, rule.path.value_or(kUnknown));
    }
}

template <class Record>
void fill_presentation(Record& record, const Rule& rule)
{
    if constexpr (requires { record.name; }) {
        set_text(record.name, rule.name.value_or(kUnknown));
    }
    if constexpr (requires { record.ico; }) {
        set_text(record.ico, rule.ico.value_or(kUnknown));
    }
    if constexpr (requires { record.desktop; }) {
        set_text(record.desktop, rule.desktop.value_or(kUnknown));
    }
    if constexpr (requires { record.server_type; }) {
        record.server_type = to_int32(rule.server_type.value_or(""));
    }
}

/// Fills a record of zeros from a rule that is complete and whose names fit.
template <class Record>
void fill_record(Record& record, const Rule& rule)
{
    fill_names(record, rule);
    record.type = to_int32(*rule.type);
    fill_presentation(record, rule);
}

} // namespace tresk::netctl

#endif
