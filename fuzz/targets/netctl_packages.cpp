// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is the policy of packages under network control. All of its readers read it, and treskctl's own;
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

using Records = Listing<netctl_pkg_node_info>;

void check_record(const netctl_pkg_node_info& record)
{
    TRESK_REQUIRE(is_zero_filled(record.pkg));
    TRESK_REQUIRE(is_zero_filled(record.ico));
    TRESK_REQUIRE(is_zero_filled(record.desktop));
}

void check_record(const netctl_pkg_path_node_info& record)
{
    TRESK_REQUIRE(is_zero_filled(record.pkg));
    TRESK_REQUIRE(is_zero_filled(record.path));
    TRESK_REQUIRE(is_zero_filled(record.ico));
    TRESK_REQUIRE(is_zero_filled(record.desktop));
}

Records read_of(std::int32_t uid)
{
    return list<netctl_pkg_node_info, std::uint32_t>(
        [uid](std::uint32_t* count) {
            return tresk_netctl_pkg_read_all_data_with_uid(static_cast<std::uint32_t>(uid), count);
        },
        [](const netctl_pkg_node_info& record) { check_record(record); });
}

std::string record_text(const netctl_pkg_node_info& record)
{
    return joined({record.pkg, std::to_string(record.type), optional_text(record.ico),
                   optional_text(record.desktop), std::to_string(record.server_type)});
}

std::string entry_text(const ctl::Entry& entry)
{
    const ctl::Kind& kind = ctl::pkg_kind();
    return joined({text_at(kind, entry, "package"), std::to_string(number_at(kind, entry, "type")),
                   optional_text(text_at(kind, entry, "ico")), optional_text(text_at(kind, entry, "desktop")),
                   std::to_string(number_at(kind, entry, "server_type"))});
}

template <class Record>
void check_record_of(Record* given, const char* package)
{
    const Malloced<Record> record(given);
    if (record) {
        check_record(*record);
        TRESK_REQUIRE(std::strcmp(record->pkg, package) == 0);
    }
}

void check_user(std::int32_t uid)
{
    const Records records = read_of(uid);
    constexpr std::size_t enough = 2; // entries are looked up one by one
    for (std::size_t index = 0; index < std::min(records.records.size(), enough); ++index) {
        const char* package = records.records[index].pkg;
        const auto user = static_cast<std::uint32_t>(uid);
        check_record_of(tresk_netctl_pkg_read_node_with_uid(user, package), package);
        check_record_of(tresk_netctl_pkg_path_read_node_with_uid(user, package), package);
    }
}

/// What is wrong with an entry that the library leaves out.
bool is_missing_program(const ctl::Problem& problem)
{
    return problem.text.starts_with("there is no file");
}

bool names_missing_program(const ctl::Reading& reading, const ctl::Entry& entry)
{
    return std::any_of(reading.problems.begin(), reading.problems.end(), [&](const ctl::Problem& problem) {
        return problem.place.line == entry.place.line && problem.place.column == entry.place.column &&
               is_missing_program(problem);
    });
}

/// A damaged file can leave a line alone for a place, which other entries of the line have as well.
bool tells_whose_program_is_missing(const ctl::Reading& reading)
{
    return std::none_of(reading.problems.begin(), reading.problems.end(), [](const ctl::Problem& problem) {
        return problem.place.column == 0 && is_missing_program(problem);
    });
}

void compare_with_own_reading(const ctl::Reading& reading, std::int32_t uid)
{
    const auto is_listed = [&](const ctl::Entry& entry) {
        return (!reading.per_user ||
                number_at(ctl::pkg_kind(), entry, "uid") == static_cast<std::uint32_t>(uid)) &&
               !names_missing_program(reading, entry);
    };
    const Records records = read_of(uid);
    TRESK_REQUIRE(!records.failed);
    TRESK_REQUIRE(told(reading, entry_text, is_listed) == told(records, record_text));
}

} // namespace

void set_up()
{
    enter_sandbox();
}

void run(std::string_view input)
{
    const char* const file = netctl::kPackages.file;
    place(file, input);
    user_distinguish = 0;
    const Records first = read_of(0);
    TRESK_REQUIRE(!input.empty() || first.failed);
    TRESK_REQUIRE(input.empty() || content_of(file) == input);
    for (const int distinguished : {0, 1}) {
        place(netctl::kPrograms.file,
              distinguished == 0 ? "<tresk_root user_dist=\"0\"/>" : "<tresk_root user_dist=\"1\"/>");
        user_distinguish = distinguished;
        check_user(user_of(input.size())); // every reading parses the file again
        const ctl::Reading reading = ctl::pkg_kind().read("");
        if (!reading.failure && !input.empty() && reading.per_user == (distinguished != 0) &&
            tells_whose_program_is_missing(reading)) {
            compare_with_own_reading(reading, user_of(input.size()));
            compare_with_own_reading(reading, user_of(input.size() + 1));
        }
    }
    TRESK_REQUIRE(input.empty() || content_of(file) == input);
}

} // namespace tresk::fuzz
