// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/change.h"

#include "treskctl/policy/object_commands.h"
#include "treskctl/service_answer.h"
#include "treskctl/status_codes.h"

#include <algorithm>
#include <span>

namespace tresk::ctl {

namespace {

/// What edits answer when the scene library has the entry; the service was not asked then.
constexpr int kInScene = 1;
/// What the service and the scene library answer.
constexpr int kPresent = -2;
constexpr int kNotPresent = -3;
constexpr const char* kHalfWayAdvice =
    "What an addition that was refused half-way left goes with \"remove --anyway\".";
constexpr const char* kStandsAdvice = "\"show\" tells what there is of it now.";
constexpr const char* kRemovedAdvice = "\"remove --anyway\", then \"set\", bring it back.";
constexpr const char* kOtherSourceAdvice =
    "\"show\" tells whether another source has it. What an addition that was refused half-way left goes with "
    "\"remove --anyway\".";
constexpr const char* kStrictAdvice = "Without --strict this is no failure.";
/// The library's word to an ordinary caller about an entry of the "sm" side.
constexpr std::string_view kSmRefusal = "no permission to change sm data.";

Failure failure_of_scene(int code)
{
    const std::string text = "the scene library failed with code " + std::to_string(code);
    switch (code) {
    case kPresent:
        return {Cause::Conflict, text + ": it has the entry already", code, {}, kHalfWayAdvice};
    case kNotPresent:
        return {Cause::NotFound, text + ": it has no such entry", code, {}, {}};
    default:
        return {Cause::Scene, text + "; the service was not asked", code, {}, {}};
    }
}

std::vector<std::string> columns_of(const Kind& kind, bool with_call)
{
    std::vector<std::string> columns = {"result", "changed"};
    if (with_call) {
        columns.emplace_back("call");
    }
    for (const Field& field : kind.fields) {
        if (field.role == Role::Key) {
            columns.emplace_back(field.name);
        }
    }
    return columns;
}

/// An update of what no update changes is a removal and an addition.
std::vector<Change> steps_of(const Change& change)
{
    if (change.operation != Operation::Update || can_update(*change.kind, *change.present, change.wanted)) {
        return {change};
    }
    return {{change.kind, Operation::Remove, *change.present, change.present},
            {change.kind, Operation::Add, change.wanted, {}}};
}

std::vector<LibraryCall> calls_of(const Change& step)
{
    return step.kind->calls(step.operation, step.wanted);
}

/// Makes calls until one fails, and counts those that did not.
std::optional<Failure> make_calls(Run& run, const Change& step, std::size_t& made)
{
    run.work_on(name_of(*step.kind, step.wanted));
    for (const LibraryCall& call : calls_of(step)) {
        if (auto failure = failure_of_call(run.hear(call.make))) {
            failure->subject = name_of(*step.kind, step.wanted);
            return failure;
        }
        ++made;
    }
    return std::nullopt;
}

/// Undoes the steps, of whose last one @made calls were made before one failed; false where something stands.
/// A call that failed may have left its half in the scene library: that is taken away where it is in the way.
bool take_back(Run& run, std::span<const Change> steps, std::size_t made)
{
    std::size_t undone = 0;
    const Change& last = steps.back();
    const bool in_the_way = steps.size() > 1;
    const bool stands = (made > 0 || in_the_way) && make_calls(run, inverse_of(last), undone) && made > 0;
    const auto before = steps.first(steps.size() - 1);
    return std::none_of(
               before.rbegin(), before.rend(),
               [&](const Change& step) { return make_calls(run, inverse_of(step), undone).has_value(); }) &&
           !stands;
}

/// What to think of a refused change of a kind whose listings do not tell all of a key; empty for others.
std::string advice_on_untold(const Change& change)
{
    for (std::size_t field = 0; field < change.kind->fields.size(); ++field) {
        const Field& one = change.kind->fields[field];
        const bool given = !std::holds_alternative<std::monostate>(change.wanted.values[field]);
        if (one.untold && given) {
            return std::string("Listings do not tell ") + one.option +
                   ": the entry may be there already, or not.";
        }
        if (one.untold && change.operation != Operation::Add) {
            return std::string("Listings do not tell ") + one.option +
                   ": an entry that has one is only found by it.";
        }
    }
    return "";
}

/// Whether listings tell what came of the change: of entries that differ in what is not told one may stay.
bool is_told(const Change& change)
{
    for (std::size_t field = 0; field < change.kind->fields.size(); ++field) {
        const bool given = !std::holds_alternative<std::monostate>(change.wanted.values[field]);
        if (change.kind->fields[field].untold && (given || change.operation == Operation::Remove)) {
            return false;
        }
    }
    return true;
}

/// The policy is not known to have the entry; it may be elsewhere.
bool is_blind(const Change& change)
{
    return change.operation == Operation::Remove && !change.present;
}

} // namespace

bool can_update(const Kind& kind, const Entry& from, const Entry& to)
{
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const Field& one = kind.fields[field];
        const Value& wanted = to.values[field];
        if (from.values[field] != wanted && (one.fixed || (one.never_emptied && wanted == Value("")))) {
            return false;
        }
    }
    return true;
}

const char* word_for(const Change& change)
{
    switch (change.operation) {
    case Operation::Add:
        return change.kind->added;
    case Operation::Update:
        return change.kind->updated;
    default:
        return change.kind->removed;
    }
}

const char* word_of(Operation operation)
{
    switch (operation) {
    case Operation::Add:
        return "add";
    case Operation::Update:
        return "update";
    default:
        return "remove";
    }
}

Change inverse_of(const Change& change)
{
    switch (change.operation) {
    case Operation::Add:
        return {change.kind, Operation::Remove, change.wanted, change.wanted};
    case Operation::Update:
        return {change.kind, Operation::Update, *change.present, change.wanted};
    default:
        return {change.kind, Operation::Add, change.wanted, {}};
    }
}

std::string calls_text(const Change& change)
{
    std::string text;
    for (const Change& step : steps_of(change)) {
        for (const LibraryCall& call : calls_of(step)) {
            text += (text.empty() ? "" : "; ") + call.text;
        }
    }
    return text;
}

bool is_in_force(const Change& change, const Entry* now)
{
    if (change.operation == Operation::Remove || now == nullptr) {
        return (change.operation == Operation::Remove) == (now == nullptr);
    }
    return same_settings(*change.kind, *now, change.wanted);
}

Failure failure_without_effect(const Change& change)
{
    return {Cause::Answer,
            std::string(word_of(change.operation)) +
                ": the library reports success, but the policy is as before",
            {},
            name_of(*change.kind, change.wanted),
            {}};
}

bool remove_from_policy(Run& run, const Change& change)
{
    if (change.operation != Operation::Remove) {
        return false;
    }
    std::size_t made = 0;
    (void)make_calls(run, inverse_of(change), made); // the service has it and says so
    (void)make_calls(run, change, made);             // what came of it the policy tells
    return true;
}

std::optional<Failure> make_change(Run& run, const Change& change)
{
    const std::vector<Change> steps = steps_of(change);
    for (std::size_t step = 0; step < steps.size(); ++step) {
        std::size_t made = 0;
        auto failure = make_calls(run, steps[step], made);
        if (failure && !take_back(run, std::span(steps).first(step + 1), made)) {
            failure->cause = Cause::Partly;
            failure->message += step == 0 ? "; what was done of it before stands"
                                          : "; the entry was removed and could not be added again";
            failure->advice = step == 0 ? kStandsAdvice : kRemovedAdvice;
        }
        if (failure) {
            return failure;
        }
    }
    return std::nullopt;
}

ChangeTable::ChangeTable(Run& run, const Kind& kind, const std::string& name)
    : run_(run), kind_(kind), table_(run.table(name, columns_of(kind, run.settings().dry_run)))
{
    run.begin_changes();
}

bool ChangeTable::make(const Change& change)
{
    const std::optional<bool> changed = is_blind(change) ? std::nullopt : std::optional(true);
    if (run_.settings().dry_run) {
        const std::string would = std::string("would be ") + word_for(change);
        add_row(change.wanted, would, changed, calls_text(change));
        return true;
    }
    auto failure = make_change(run_, change);
    if (failure && !(is_blind(change) && failure->code == kNotPresent)) {
        if (failure->advice.empty()) {
            failure->advice = advice_on_untold(change);
        }
        if (failure->cause == Cause::Partly) {
            run_.note_done(true);
        }
        run_.fail(std::move(*failure));
        return false;
    }
    if (!is_blind(change)) {
        made_.push_back({change, table_.rows.size()});
    }
    add_row(change.wanted, word_for(change), changed, "");
    return true;
}

std::vector<std::size_t> ChangeTable::without_effect()
{
    std::vector<std::size_t> found;
    const auto machine = made_.empty() ? std::nullopt : read_machine(run_, kind_);
    if (!machine) {
        return found; // there is nothing to see, or the failure is told
    }
    const EntryIndex now(kind_, machine->entries);
    for (std::size_t made = 0; made < made_.size(); ++made) {
        const Change& change = made_[made].change;
        if (is_told(change) && !is_in_force(change, now.find(change.wanted))) {
            found.push_back(made);
        }
    }
    return found;
}

void ChangeTable::confirm()
{
    std::vector<std::size_t> lacking = without_effect();
    bool again = false;
    for (const std::size_t made : lacking) {
        again = remove_from_policy(run_, made_[made].change) || again;
    }
    if (again) {
        lacking = without_effect();
    }
    for (auto made = lacking.rbegin(); made != lacking.rend(); ++made) {
        table_.rows.erase(table_.rows.begin() + static_cast<std::ptrdiff_t>(made_[*made].row));
        run_.note_undone();
        Failure failure = failure_without_effect(made_[*made].change);
        failure.advice = advice_on_untold(made_[*made].change);
        run_.fail(std::move(failure));
    }
}

void ChangeTable::leave(const Entry& entry, const char* word)
{
    if (run_.settings().strict) {
        run_.fail(
            {Cause::Conflict, std::string("already ") + word, {}, name_of(kind_, entry), kStrictAdvice});
        return;
    }
    add_row(entry, std::string("already ") + word, false, "");
}

void ChangeTable::leave_nothing()
{
    if (run_.settings().strict) {
        run_.fail({Cause::Conflict, "there is nothing to change", {}, {}, kStrictAdvice});
    } else {
        run_.note_done(false);
    }
}

void ChangeTable::add_row(const Entry& entry, const std::string& result, std::optional<bool> changed,
                          const std::string& call)
{
    Row row = {result, changed ? Value(*changed) : Value()};
    if (run_.settings().dry_run) {
        row.emplace_back(call.empty() ? Value() : Value(call));
    }
    for (std::size_t field = 0; field < kind_.fields.size(); ++field) {
        if (kind_.fields[field].role == Role::Key) {
            row.push_back(entry.values[field]);
        }
    }
    table_.rows.push_back(std::move(row));
    if (changed) {
        run_.note_done(*changed);
    } else {
        run_.note_done_unknown();
    }
}

std::optional<Failure> failure_of_call(const Answer<int>& answer)
{
    if (answer.said.output.find(kSmRefusal) != std::string::npos) {
        return Failure{Cause::Refused,
                       "the entry belongs to the \"sm\" side",
                       {},
                       {},
                       "Ask as the \"sm\" side, with --owner sm or --sm."};
    }
    if (answer.recorded) {
        return failure_of_record(*answer.recorded); // also where the function drops the code
    }
    if (answer.result == 0) {
        return std::nullopt;
    }
    if (!answer.said.output.empty()) {
        return failure_of_scene(answer.result);
    }
    if (const StatusCode* status = find_status_code(answer.result); status != nullptr) {
        return Failure{status->cause, std::string(status->meaning), answer.result, {}, {}};
    }
    switch (answer.result) {
    case kInScene:
        return Failure{Cause::Conflict,
                       "the scene library has it already; the service was not asked",
                       answer.result,
                       {},
                       kOtherSourceAdvice};
    case kPresent:
        return Failure{Cause::Conflict,
                       "the entry is there already",
                       answer.result,
                       {},
                       "Somebody added it meanwhile; \"show\" tells what it is."};
    case kNotPresent:
        return Failure{Cause::NotFound, "there is no such entry", answer.result, {}, {}};
    case -1:
        return Failure{Cause::NoAnswer, "the library failed without a reason", answer.result, {}, {}};
    default:
        return Failure{
            Cause::Answer, "the service answered " + std::to_string(answer.result), answer.result, {}, {}};
    }
}

} // namespace tresk::ctl
