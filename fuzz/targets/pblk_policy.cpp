// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is the policy of process blocking. All of its readers read it, and treskctl's own; they agree,
// and leave it as it is.
#include "pblk/pblk_policy.h"

#include "fuzz/support/own_reading.h"
#include "tresk_extend.h"
#include "treskctl/policy/kinds/kinds.h"

#include <array>

namespace tresk::fuzz {

namespace {

using Records = Listing<pblk_node_info>;

constexpr std::array kTypes = {1, 2, -3, 1234567, 12345678};
constexpr std::array<const char*, 3> kSources = {nullptr, "", "source"};
constexpr std::size_t kHashShown = sizeof(pblk_node_info::hash) - 1;

void check_record(const pblk_node_info& record)
{
    TRESK_REQUIRE(is_zero_filled(record.path));
    TRESK_REQUIRE(is_zero_filled(record.hash));
}

/// The readers of one source's paths look at no hash.
void check_path_record(const pblk_node_info& record)
{
    check_record(record);
    TRESK_REQUIRE(*record.hash == '\0');
}

std::string record_text(const pblk_node_info& record)
{
    return joined({record.path, record.hash});
}

std::string entry_text(const ctl::Entry& entry)
{
    const ctl::Kind& kind = ctl::pblk_kind();
    return joined({text_at(kind, entry, "path"), text_at(kind, entry, "hash")});
}

Records read_all()
{
    return list<pblk_node_info, int>([](int* count) { return tresk_pblk_read_all_data(count); },
                                     check_record);
}

/// Every reading parses the file again: a record is looked up for one source, the next one for others.
struct Asker {
    int type;
    const char* source;
};

Asker asker_of(std::size_t number)
{
    return {kTypes[number % kTypes.size()], kSources[number / kTypes.size() % kSources.size()]};
}

void check_path(const char* path, const Asker& asker)
{
    const Malloced<pblk_node_info> record(tresk_pblk_read_node_with_path_zdk(path, asker.type, asker.source));
    if (record) {
        check_record(*record);
        TRESK_REQUIRE(std::strcmp(record->path, path) == 0);
    }
}

void check_hash(const char* hash, const Asker& asker)
{
    const bool shown_whole = std::strlen(hash) < kHashShown;
    int count = 0;
    TRESK_REQUIRE(tresk_pblk_get_same_node_by_hash(hash, &count) == 0);
    // It ends once it is above 1; a hash that a record shows in part may be no entry's.
    TRESK_REQUIRE(count <= 2 && count >= (shown_whole ? 1 : 0));
    const Malloced<pblk_node_info> record(tresk_pblk_read_node_with_hash_zdk(hash, asker.type, asker.source));
    if (record) {
        check_record(*record);
        TRESK_REQUIRE(std::strcmp(record->hash, hash) == 0);
    }
}

void check_failure()
{
    int count = kUntouched;
    TRESK_REQUIRE(Malloced<pblk_node_info>(tresk_pblk_read_node_with_path("/usr/bin/a")) == nullptr);
    TRESK_REQUIRE(Malloced<pblk_node_info>(tresk_pblk_read_node_with_hash_zdk("a", 1, "")) == nullptr);
    TRESK_REQUIRE(tresk_pblk_get_same_node_by_hash("a", &count) == -1 && count == kUntouched);
}

void check_sources(const Records& all, std::size_t number)
{
    constexpr std::size_t askers = 3;
    for (std::size_t which = number; which < number + askers; ++which) {
        const Asker asker = asker_of(which);
        const auto of_source = list<pblk_node_info, int>(
            [&](int* count) { return tresk_pblk_read_all_data_zdk(asker.type, asker.source, count); },
            check_path_record);
        TRESK_REQUIRE(of_source.failed == all.failed);
    }
    // A type is compared by at most seven characters.
    const auto of_type = [](int type) {
        return list<pblk_node_info, int>(
            [type](int* count) { return tresk_pblk_read_all_data_zdk(type, "", count); }, check_path_record);
    };
    TRESK_REQUIRE(of_type(1234567) == of_type(12345678));
}

void compare_with_own_reading(const Records& all)
{
    const ctl::Reading reading = ctl::pblk_kind().read("");
    if (reading.failure) {
        return;
    }
    TRESK_REQUIRE(!all.failed);
    TRESK_REQUIRE(told(reading, entry_text, [](const ctl::Entry&) { return true; }) ==
                  told(all, record_text));
}

} // namespace

void set_up()
{
    enter_sandbox();
}

void run(std::string_view input)
{
    place(pblk::kPolicyFile, input);
    const Records first = read_all();
    TRESK_REQUIRE(!input.empty() || first.failed);
    TRESK_REQUIRE(input.empty() || content_of(pblk::kPolicyFile) == input);
    const Records all = read_all();
    TRESK_REQUIRE(input.empty() ? !all.failed && all.records.empty() : all == first);
    check_sources(all, input.size());
    if (all.failed) {
        check_failure();
    }
    constexpr std::size_t enough = 4; // entries are looked up one by one
    for (std::size_t index = 0; index < std::min(all.records.size(), enough); ++index) {
        const Asker asker = asker_of(index + input.size());
        check_path(all.records[index].path, asker);
        check_hash(all.records[index].hash, asker);
    }
    compare_with_own_reading(all);
    TRESK_REQUIRE(input.empty() || content_of(pblk::kPolicyFile) == input);
}

} // namespace tresk::fuzz
