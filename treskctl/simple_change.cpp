// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/simple_change.h"

#include "treskctl/policy/change.h"
#include "treskctl/policy/object_commands.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tresk::ctl {

namespace {

Table& results_of(Run& run, const std::vector<std::string>& fields)
{
    std::vector<std::string> columns = {"changed"};
    columns.insert(columns.end(), fields.begin(), fields.end());
    if (run.settings().dry_run) {
        columns.emplace_back("call");
    }
    return run.table("results", std::move(columns));
}

} // namespace

SimpleChanges::SimpleChanges(Run& run, std::vector<std::string> fields)
    : run_(run), table_(results_of(run, std::move(fields)))
{
    run.begin_changes();
}

void SimpleChanges::make(Row row, const LibraryCall& call, std::optional<bool> is_so,
                         const std::optional<std::string>& subject, const Judge& judge)
{
    if (is_so == true) {
        leave(std::move(row), subject);
        return;
    }
    const std::optional<bool> changes = is_so ? std::optional(true) : std::nullopt;
    if (is_only_shown(row, call, changes)) {
        return;
    }
    run_.work_on(subject);
    const Answer<int> answer = run_.hear(call.make);
    if (auto failure = judge ? judge(answer) : failure_of_call(answer)) {
        failure->subject = subject;
        run_.fail(std::move(*failure));
    } else {
        note(std::move(row), changes);
    }
}

void SimpleChanges::leave(Row row, const std::optional<std::string>& subject)
{
    if (run_.settings().strict) {
        run_.fail({Cause::Conflict, "it is so already", {}, subject, "Without --strict this is no failure."});
    } else {
        put_before_result(row, "already ");
        note(std::move(row), false);
    }
}

void SimpleChanges::note(Row row, std::optional<bool> changed)
{
    add_row(std::move(row), changed, "");
}

bool SimpleChanges::is_only_shown(const Row& row, const LibraryCall& call, std::optional<bool> changed)
{
    if (run_.settings().dry_run) {
        Row shown = row;
        put_before_result(shown, "would be ");
        add_row(std::move(shown), changed, call.text);
    }
    return run_.settings().dry_run;
}

/// The result's words are what is true once the change is made.
void SimpleChanges::put_before_result(Row& row, const std::string& words) const
{
    const auto field = std::ranges::find(table_.fields, "result") - table_.fields.begin();
    if (field < std::ssize(table_.fields)) {
        Value& result = row[static_cast<std::size_t>(field - 1)]; // "changed" is not in the row yet
        result = words + std::get<std::string>(result);
    }
}

void SimpleChanges::add_row(Row row, std::optional<bool> changed, const std::string& call)
{
    row.insert(row.begin(), changed ? Value(*changed) : Value());
    if (run_.settings().dry_run) {
        row.push_back(call.empty() ? Value() : Value(call));
    }
    table_.rows.push_back(std::move(row));
    if (changed) {
        run_.note_done(*changed);
    } else {
        run_.note_done_unknown();
    }
}

void make_simple_change(Run& run, const SimpleChange& change)
{
    SimpleChanges(run, change.fields).make(change.row, change.call, change.is_so);
}

} // namespace tresk::ctl
