// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is the policy of process protection. All of its readers read it, and treskctl's own; they agree,
// and leave it as it is.
#include "ppro/ppro_policy.h"

#include "fuzz/support/own_reading.h"
#include "tresk_extend.h"
#include "treskctl/policy/kinds/kinds.h"

#include <array>

namespace tresk::fuzz {

namespace {

using Records = Listing<ppro_node_info>;

constexpr std::array kModes = {0, 1, 2, -7};
constexpr std::array<const char*, 4> kSources = {nullptr, "", "source", "x & y"};
constexpr std::size_t kHashShown = sizeof(ppro_node_info::hash) - 1;

void check_record(const ppro_node_info& record)
{
    TRESK_REQUIRE(is_zero_filled(record.path));
    TRESK_REQUIRE(is_zero_filled(record.hash));
}

template <class Reader>
Records read(Reader reader)
{
    return list<ppro_node_info, int>(reader, check_record);
}

std::string record_text(const ppro_node_info& record)
{
    return joined({record.path, record.hash, std::to_string(record.type)});
}

std::string entry_text(const ctl::Entry& entry)
{
    const ctl::Kind& kind = ctl::ppro_kind();
    return joined({text_at(kind, entry, "path"), text_at(kind, entry, "hash"),
                   std::to_string(number_at(kind, entry, "type"))});
}

const ppro_node_info* first_of(const Records& records, const char* path)
{
    const auto found = std::find_if(records.records.begin(), records.records.end(),
                                    [path](const auto& one) { return std::strcmp(one.path, path) == 0; });
    return found == records.records.end() ? nullptr : &*found;
}

/// One record, or none where @expected is null.
void require_same(Malloced<ppro_node_info> record, const ppro_node_info* expected)
{
    TRESK_REQUIRE((record == nullptr) == (expected == nullptr));
    TRESK_REQUIRE(!record || Records::same(*record, *expected));
}

/// Every reading parses the file again: a record is looked up for one mode and source, the next one for
/// others.
struct Asker {
    int mode;
    const char* source;
};

Asker asker_of(std::size_t number)
{
    return {kModes[number % kModes.size()], kSources[number / kModes.size() % kSources.size()]};
}

void check_path(const char* path, const Asker& asker, const Records& all, const Records& ordinary)
{
    require_same(Malloced<ppro_node_info>(tresk_ppro_read_node_with_path_sm(path)), first_of(all, path));
    require_same(Malloced<ppro_node_info>(tresk_ppro_read_node_with_path(path)), first_of(ordinary, path));
    const Malloced<ppro_node_info> record(tresk_ppro_read_node_with_path_zdk(path, asker.mode, asker.source));
    if (record) {
        check_record(*record);
        TRESK_REQUIRE(std::strcmp(record->path, path) == 0);
    }
}

int counted_from(int start, const char* hash)
{
    int count = start;
    TRESK_REQUIRE(tresk_ppro_get_same_node_by_hash(hash, &count) == 0);
    TRESK_REQUIRE(count >= start);
    return count - start;
}

void check_hash(const char* hash, const Asker& asker)
{
    const int at_first = counted_from(0, hash);
    TRESK_REQUIRE(at_first <= 1);
    TRESK_REQUIRE(counted_from(3, hash) >= at_first);
    const int owned = tresk_ppro_check_in_sm(hash);
    TRESK_REQUIRE(owned == 0 || owned == -1);
    const Malloced<ppro_node_info> other(tresk_ppro_read_node_with_hash_zdk(hash, asker.mode, asker.source));
    if (other) {
        check_record(*other);
        const bool shown_whole = std::strlen(other->hash) < kHashShown;
        TRESK_REQUIRE(!shown_whole || std::strcmp(other->hash, hash) != 0);
    }
}

/// How many of @records are as @record.
auto times(const Records& records, const ppro_node_info& record)
{
    return std::count_if(records.records.begin(), records.records.end(),
                         [&](const auto& one) { return Records::same(one, record); });
}

/// What ordinary readers are not shown is the "sm" side's.
void check_owner(const ppro_node_info& record, const Records& all, const Records& ordinary)
{
    if (std::strlen(record.hash) < kHashShown && times(all, record) > times(ordinary, record)) {
        TRESK_REQUIRE(tresk_ppro_check_in_sm(record.hash) == 0);
    }
}

void check_failure()
{
    int count = kUntouched;
    TRESK_REQUIRE(Malloced<ppro_node_info>(tresk_ppro_read_node_with_path_sm("/usr/bin/a")) == nullptr);
    TRESK_REQUIRE(tresk_ppro_check_in_sm("a") == -1);
    TRESK_REQUIRE(tresk_ppro_get_same_node_by_hash("a", &count) == -1 && count == kUntouched);
    TRESK_REQUIRE(Malloced<ppro_node_info>(tresk_ppro_read_node_with_hash_zdk("a", 0, "")) == nullptr);
}

void compare_with_own_reading(const Records& all, const Records& ordinary)
{
    const ctl::Reading reading = ctl::ppro_kind().read("");
    if (reading.failure) {
        return;
    }
    const auto every = [](const ctl::Entry&) { return true; };
    const auto is_ordinary = [](const ctl::Entry& entry) {
        return text_at(ctl::ppro_kind(), entry, "owner") == "ordinary";
    };
    TRESK_REQUIRE(!all.failed);
    TRESK_REQUIRE(told(reading, entry_text, every) == told(all, record_text));
    TRESK_REQUIRE(told(reading, entry_text, is_ordinary) == told(ordinary, record_text));
}

void check_faces(const Records& all, const Records& ordinary, std::size_t number)
{
    std::string file = ppro::kPolicyFile;
    TRESK_REQUIRE(all == read([](int* count) { return tresk_ppro_read_all_data_internal(count, -7); }));
    TRESK_REQUIRE(
        all == read([&](int* count) { return tresk_ppro_read_all_data_with_file_sm(file.data(), count); }));
    TRESK_REQUIRE(ordinary ==
                  read([&](int* count) { return tresk_ppro_read_all_data_with_file(file.data(), count); }));
    TRESK_REQUIRE(ordinary.is_part_of(all));
    constexpr std::size_t askers = 3;
    for (std::size_t which = number; which < number + askers; ++which) {
        const Asker asker = asker_of(which);
        TRESK_REQUIRE(read([&](int* count) {
                          return tresk_ppro_read_all_data_zdk(count, asker.mode, asker.source);
                      }).is_part_of(all));
    }
}

} // namespace

void set_up()
{
    enter_sandbox();
}

void run(std::string_view input)
{
    place(ppro::kPolicyFile, input);
    const Records first = read([](int* count) { return tresk_ppro_read_all_data_sm(count); });
    // The first reader of an empty file fails, and leaves an empty policy for the next.
    TRESK_REQUIRE(!input.empty() || first.failed);
    TRESK_REQUIRE(input.empty() || content_of(ppro::kPolicyFile) == input);
    const Records all = read([](int* count) { return tresk_ppro_read_all_data_sm(count); });
    const Records ordinary = read([](int* count) { return tresk_ppro_read_all_data(count); });
    TRESK_REQUIRE(input.empty() ? !all.failed && all.records.empty() : all == first);
    check_faces(all, ordinary, input.size());
    if (all.failed) {
        check_failure();
    }
    constexpr std::size_t enough = 4; // entries are looked up one by one
    for (std::size_t index = 0; index < std::min(all.records.size(), enough); ++index) {
        const ppro_node_info& record = all.records[index];
        const Asker asker = asker_of(index + input.size());
        check_path(record.path, asker, all, ordinary);
        check_hash(record.hash, asker);
        check_owner(record, all, ordinary);
    }
    compare_with_own_reading(all, ordinary);
    TRESK_REQUIRE(input.empty() || content_of(ppro::kPolicyFile) == input);
}

} // namespace tresk::fuzz
