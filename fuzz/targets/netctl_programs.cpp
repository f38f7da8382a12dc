// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is the policy of programs under network control. All of its readers read it, and treskctl's own;
// they agree, and leave it as it is.
#include "fuzz/support/own_reading.h"
#include "netctl/netctl_policy.h"
#include "tresk_extend.h"
#include "treskctl/policy/kinds/kinds.h"

#include <array>

namespace tresk::fuzz {

namespace {

/// Those whom policies name, and one whom they seldom do.
std::int32_t user_of(std::size_t number)
{
    constexpr std::array<std::int32_t, 4> users = {0, 1000, -1, 7};
    return users[number % users.size()];
}

template <class Record>
void check_names(const Record& record)
{
    TRESK_REQUIRE(is_zero_filled(record.path));
    TRESK_REQUIRE(is_zero_filled(record.hash));
}

void check_record(const netctl_node_data& record)
{
    check_names(record);
}

void check_record(const netctl_node_info& record)
{
    check_names(record);
    TRESK_REQUIRE(is_zero_filled(record.name));
    TRESK_REQUIRE(is_zero_filled(record.ico));
}

void check_record(const netctl_ext_node_info& record)
{
    check_names(record);
    TRESK_REQUIRE(is_zero_filled(record.name));
    TRESK_REQUIRE(is_zero_filled(record.ico));
    TRESK_REQUIRE(is_zero_filled(record.desktop));
}

template <class Record, class Count, class Reader>
Listing<Record> read(Reader reader)
{
    return list<Record, Count>(reader, [](const Record& record) { check_record(record); });
}

/// What all three types of record have.
template <class Record>
std::string short_text(const Record& record)
{
    return joined({record.path, record.hash, std::to_string(record.type)});
}

template <class Record>
std::string middle_text(const Record& record)
{
    return short_text(record) + joined({record.name, record.ico, std::to_string(record.server_type)});
}

std::string whole_text(const netctl_ext_node_info& record)
{
    return short_text(record) + joined({optional_text(record.name), optional_text(record.ico),
                                        optional_text(record.desktop), std::to_string(record.server_type)});
}

std::string entry_text(const ctl::Entry& entry)
{
    const ctl::Kind& kind = ctl::netctl_kind();
    return joined({text_at(kind, entry, "path"), text_at(kind, entry, "hash"),
                   std::to_string(number_at(kind, entry, "type"))}) +
           joined({optional_text(text_at(kind, entry, "name")), optional_text(text_at(kind, entry, "ico")),
                   optional_text(text_at(kind, entry, "desktop")),
                   std::to_string(number_at(kind, entry, "server_type"))});
}

/// A record by its path is the first of the array of that path, unless an incomplete one is before it.
template <class Record>
void check_record_of(Record* given, const Record& listed)
{
    const Malloced<Record> record(given);
    if (record) {
        check_record(*record);
        TRESK_REQUIRE(std::strcmp(record->path, listed.path) == 0);
    }
}

void check_user(std::int32_t uid)
{
    const auto extended = read<netctl_ext_node_info, std::int32_t>([uid](std::int32_t* count) {
        return tresk_netctl_ext_read_all_data_with_uid(static_cast<std::uint32_t>(uid), count);
    });
    const auto middle = read<netctl_node_info, std::uint32_t>([uid](std::uint32_t* count) {
        return tresk_netctl_read_all_data_with_uid(static_cast<std::uint32_t>(uid), count);
    });
    TRESK_REQUIRE(extended.failed == middle.failed);
    TRESK_REQUIRE(told(extended, middle_text<netctl_ext_node_info>) ==
                  told(middle, middle_text<netctl_node_info>));
    constexpr std::size_t enough = 2; // entries are looked up one by one
    for (std::size_t index = 0; index < std::min(extended.records.size(), enough); ++index) {
        const char* path = extended.records[index].path;
        const auto user = static_cast<std::uint32_t>(uid);
        check_record_of(tresk_netctl_ext_read_node_with_uid(user, path), extended.records[index]);
        check_record_of(tresk_netctl_read_node_with_uid(user, path), middle.records[index]);
    }
}

/// treskctl's reading knows whose an entry is.
void compare_with_own_reading(const ctl::Reading& reading, std::int32_t uid)
{
    const auto extended = read<netctl_ext_node_info, std::int32_t>([uid](std::int32_t* count) {
        return tresk_netctl_ext_read_all_data_with_uid_inner(uid, netctl::kPrograms.file, count);
    });
    const auto of_user = [&](const ctl::Entry& entry) {
        return !reading.per_user ||
               number_at(ctl::netctl_kind(), entry, "uid") == static_cast<std::uint32_t>(uid);
    };
    TRESK_REQUIRE(!extended.failed);
    TRESK_REQUIRE(told(reading, entry_text, of_user) == told(extended, whole_text));
}

/// The setting as the policy has it, or as it was before where the policy has none.
void check_distinction(const ctl::Reading& reading)
{
    user_distinguish = 0;
    const int distinguished = tresk_netctl_get_user_distinguish();
    TRESK_REQUIRE(distinguished >= -1 && distinguished <= 1);
    TRESK_REQUIRE(user_distinguish == (distinguished == 1 ? 1 : 0));
    if (!reading.failure) {
        TRESK_REQUIRE(reading.per_user == (user_distinguish != 0));
    }
}

} // namespace

void set_up()
{
    enter_sandbox();
}

void run(std::string_view input)
{
    const char* const file = netctl::kPrograms.file;
    place(file, input);
    user_distinguish = 1;
    const auto first = read<netctl_node_data, std::uint32_t>(tresk_netctl_read_all_data);
    TRESK_REQUIRE(!input.empty() || first.failed);
    TRESK_REQUIRE(input.empty() || content_of(file) == input);
    const ctl::Reading reading = ctl::netctl_kind().read("");
    check_distinction(reading);
    for (const std::int32_t distinguished : {0, 1}) {
        user_distinguish = distinguished;
        check_user(user_of(input.size())); // every reading parses the file again
    }
    const auto all = read<netctl_node_data, std::uint32_t>(tresk_netctl_read_all_data);
    user_distinguish = 0;
    const auto every = read<netctl_node_info, std::uint32_t>(
        [](std::uint32_t* count) { return tresk_netctl_read_all_data_with_uid(1, count); });
    TRESK_REQUIRE(all.failed == every.failed);
    TRESK_REQUIRE(told(all, short_text<netctl_node_data>) == told(every, short_text<netctl_node_info>));
    if (!reading.failure && !input.empty()) {
        user_distinguish = reading.per_user ? 1 : 0;
        compare_with_own_reading(reading, user_of(input.size()));
        compare_with_own_reading(reading, user_of(input.size() + 1));
    }
    TRESK_REQUIRE(input.empty() || content_of(file) == input);
}

} // namespace tresk::fuzz
