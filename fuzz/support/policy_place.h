// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Inputs in the place of the machine's policy files. That is the sandbox's: targets that write there end
// where there is none.
#ifndef TRESK_FUZZ_SUPPORT_POLICY_PLACE_H
#define TRESK_FUZZ_SUPPORT_POLICY_PLACE_H

#include "common/handles.h"
#include "fuzz/support/target.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tresk::fuzz {

/// Ends the process outside of the sandbox; makes libxml2 keep its complaints to itself, sends the
/// framework's log nowhere and the library's standard output likewise.
void enter_sandbox();

/// Writes @content to @file, whose folder is made where it is missing.
void place(const char* file, std::string_view content);

/// The bytes of @file, which is there.
std::string content_of(const char* file);

/// The records of an array reader, and whether it failed: then it left its count alone.
template <class Record>
struct Listing {
    std::vector<Record> records;
    bool failed = false;

    bool operator==(const Listing& other) const
    {
        return failed == other.failed && records.size() == other.records.size() &&
               std::equal(records.begin(), records.end(), other.records.begin(), same<Record>);
    }

    /// True when @other has all of these records in this order.
    [[nodiscard]] bool is_part_of(const Listing& other) const
    {
        auto at = other.records.begin();
        for (const Record& record : records) {
            at = std::find_if(at, other.records.end(), [&](const Record& one) { return same(one, record); });
            if (at == other.records.end()) {
                return false;
            }
            ++at;
        }
        return failed == other.failed;
    }

    template <class One>
    static bool same(const One& one, const One& other)
    {
        return std::memcmp(static_cast<const void*>(&one), static_cast<const void*>(&other), sizeof(One)) ==
               0;
    }
};

/// Calls @reader with a counter; each record is checked with @check.
template <class Record, class Count, class Reader, class Check>
Listing<Record> list(Reader reader, Check check)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    Listing<Record> listing;
    auto count = static_cast<Count>(kUntouched);
    const Malloced<Record> records(reader(&count));
    const bool untouched = count == static_cast<Count>(kUntouched);
    // Either failed, or a count and, where that is above 0, records.
    TRESK_REQUIRE(!untouched || !records);
    TRESK_REQUIRE(untouched || (count == 0) == (records == nullptr));
    TRESK_REQUIRE(untouched || static_cast<std::int64_t>(count) >= 0);
    listing.failed = untouched;
    if (records) {
        listing.records.assign(records.get(), records.get() + count);
    }
    std::for_each(listing.records.begin(), listing.records.end(), check);
    return listing;
}

} // namespace tresk::fuzz

#endif
