// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the library's array readers read, told apart from what they could not read: a null pointer alone means
// both. A reader that finds no policy file makes an empty one and fails this once.
#ifndef TRESK_TRESKCTL_POLICY_RECORDS_H
#define TRESK_TRESKCTL_POLICY_RECORDS_H

#include "common/handles.h"
#include "treskctl/run.h"

#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace tresk::ctl {

struct Policy {
    const char* file;
    /// What is to be said of a file that is something else.
    const char* complaint;
};

template <class Record>
struct Records {
    Malloced<Record> first;
    std::size_t count = 0;

    [[nodiscard]] std::span<const Record> all() const& { return {first.get(), first ? count : 0}; }

    /// They would be gone before they are looked at.
    [[nodiscard]] std::span<const Record> all() const&& = delete;
};

/// Whether the policy's file is missing or empty, which the next reader changes.
bool is_to_be_made(const Policy& policy);

/// Why the policy could not be read.
Failure failure_of_reading(const Policy& policy);

/// Runs @reader, which counts in a @Count: its records, or nothing when it could not read its file.
template <class Count, class Reader>
auto ask_for_records(Run& run, Reader reader)
{
    using Record = std::remove_pointer_t<std::invoke_result_t<Reader, Count*>>;
    constexpr auto kUnread = static_cast<Count>(-1);
    Count count = kUnread;
    Malloced<Record> first(run.ask([&] { return reader(&count); }));
    return count == kUnread
               ? std::nullopt
               : std::optional(Records<Record>{std::move(first), static_cast<std::size_t>(count)});
}

/// The same of @policy, which is made first where there is none. What cannot be read is a failure.
template <class Count, class Reader>
auto read_records(Run& run, const Policy& policy, Reader reader)
{
    if (is_to_be_made(policy)) {
        listen_to([&] {
            Count count = 0;
            return Malloced<void>(reader(&count)) != nullptr;
        });
    }
    auto records = ask_for_records<Count>(run, reader);
    if (!records) {
        run.fail(failure_of_reading(policy));
    }
    return records;
}

/// How a family's records are shown.
template <class Record>
struct View {
    std::vector<std::string> fields;
    Row (*row)(const Record& record);
};

/// Adds the table "entries" with all records of @policy. @ready: false where something before it failed.
template <class Count, class Record, class Reader>
void list_records(Run& run, const Policy& policy, const View<Record>& view, bool ready, Reader reader)
{
    Table& table = run.table("entries", view.fields);
    if (!ready) {
        return;
    }
    if (const auto records = read_records<Count>(run, policy, reader)) {
        for (const Record& record : records->all()) {
            table.rows.push_back(view.row(record));
        }
    }
}

/// Adds the table "entries" with the record that @reader finds. Such a reader does not tell an entry that is
/// not there from a policy that cannot be read: @ready says whether it can.
/// @missing: what is to be said where there is none
template <class Record, class Reader>
void show_record(Run& run, const View<Record>& view, bool ready, Reader reader, Failure missing)
{
    Table& table = run.table("entries", view.fields);
    if (!ready) {
        return;
    }
    if (const Malloced<Record> record(run.ask(reader)); record) {
        table.rows.push_back(view.row(*record));
    } else {
        run.fail(std::move(missing));
    }
}

} // namespace tresk::ctl

#endif
