// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/execution.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>

namespace tresk::ctl {

namespace {

/// Entries of all kinds by what names them.
using Name = std::pair<const Kind*, Row>;

Name name_in(const Change& change)
{
    return {change.kind, key_of(*change.kind, change.wanted)};
}

std::map<const Kind*, EntryIndex> indexes_of(const Machine& machine)
{
    std::map<const Kind*, EntryIndex> indexes;
    for (const auto& [kind, reading] : machine) {
        indexes.try_emplace(kind, *kind, reading.entries);
    }
    return indexes;
}

/// Both may be null for an entry that is not there.
bool are_same(const Kind& kind, const Entry* a, const Entry* b)
{
    return a == nullptr || b == nullptr ? a == b : same_settings(kind, *a, *b);
}

/// Whether the service refused what the scene had agreed to. The other causes are found out before anything
/// is changed, or mean that somebody else's entry is there.
bool left_scene_changed(const Failure& failure)
{
    constexpr std::array harmless = {Cause::Conflict, Cause::NotFound, Cause::Scene};
    return std::ranges::find(harmless, failure.cause) == harmless.end();
}

} // namespace

StepTable::StepTable(Run& run)
    : settings_(run.settings()),
      table_(run.table("steps", {"step", "operation", "kind", "name", settings_.dry_run ? "call" : "result"}))
{
}

void StepTable::add(const Change& change)
{
    const auto number = static_cast<std::int64_t>(table_.rows.size() + 1);
    table_.rows.push_back({number, std::string(word_of(change.operation)), std::string(change.kind->name),
                           name_of(*change.kind, change.wanted),
                           settings_.dry_run ? calls_text(change) : "not reached"});
}

void StepTable::set_result(std::size_t step, const char* result)
{
    table_.rows[step].back() = std::string(result);
}

std::string StepTable::plan_text() const
{
    Table plan = table_;
    plan.fields.pop_back();
    for (Row& row : plan.rows) {
        row.pop_back();
    }
    std::string text;
    (void)write_for_people({&plan}, settings_, [&text](std::string_view piece) { text += piece; });
    return text.empty() ? "" : text + "\n";
}

Execution::Execution(Run& run, const Task& task, StepTable& table) : run_(run), task_(task), table_(table)
{
    for (const Change& change : task.plan.changes) {
        steps_.push_back({change});
    }
}

void Execution::make()
{
    std::size_t made = 0;
    while (made < steps_.size() && !run_.stopping() && make_step(made)) {
        ++made;
    }
    if (made < steps_.size() || !have_effect()) {
        undo(made);
        tell_standing();
    }
}

/// The run's count of what is done is kept at every moment: it may be given up at any.
void Execution::set_state(std::size_t step, State state)
{
    constexpr const char* results[] = {"not reached", "no answer",      "done",          "undone",
                                       "failed",      "without effect", "failed, stands"};
    const auto counts = [](State one) { return one == State::Done || one == State::Stands; };
    State& known = steps_[step].state;
    if (counts(state) && !counts(known)) {
        run_.note_done(true);
    } else if (!counts(state) && counts(known)) {
        run_.note_undone();
    }
    known = state;
    table_.set_result(step, results[static_cast<std::size_t>(state)]);
}

std::optional<Machine> Execution::read_again() const
{
    return read_kinds(run_, kinds_of(task_.wanted));
}

bool Execution::make_step(std::size_t step)
{
    const Change& change = steps_[step].change;
    set_state(step, State::Asked); // as it stays where the run is given up meanwhile
    auto failure = make_change(run_, change);
    set_state(step, failure ? State::Failed : State::Done);
    if (failure) {
        take_back(change, *failure);
        run_.fail(std::move(*failure));
    }
    return !failure;
}

/// The running scene is changed before the service is asked, and left so when the service refuses. The call
/// that leads back changes the scene first as well; what the service says to that is told by the policy.
void Execution::take_back(const Change& change, const Failure& failure)
{
    if (left_scene_changed(failure)) {
        (void)make_change(run_, inverse_of(change));
    }
}

std::optional<std::vector<std::size_t>> Execution::without_effect() const
{
    const auto machine = read_again();
    if (!machine) {
        return std::nullopt;
    }
    std::set<Name> lacking;
    for (const Change& change : plan_of(*machine, task_.wanted, task_.others).changes) {
        lacking.insert(name_in(change));
    }
    std::vector<std::size_t> found;
    for (std::size_t step = 0; step < steps_.size(); ++step) {
        if (lacking.count(name_in(steps_[step].change)) != 0) {
            found.push_back(step);
        }
    }
    return found;
}

bool Execution::have_effect()
{
    auto lacking = without_effect();
    bool again = false;
    for (const std::size_t step : lacking.value_or(std::vector<std::size_t>())) {
        again = remove_from_policy(run_, steps_[step].change) || again;
    }
    if (again) {
        lacking = without_effect();
    }
    if (!lacking) {
        return true; // the failure is told, and nothing is known that would call for more
    }
    for (const std::size_t step : *lacking) {
        set_state(step, State::WithoutEffect);
        run_.fail(failure_without_effect(steps_[step].change));
    }
    return lacking->empty();
}

/// Undoes the steps before @end. One that cannot be undone does not keep others from it, but a service that
/// is gone does.
void Execution::undo(std::size_t end)
{
    bool reachable = true;
    for (std::size_t step = end; step-- > 0;) {
        if (steps_[step].state != State::Done) {
            continue;
        }
        const Change& change = steps_[step].change;
        auto failure = reachable ? make_change(run_, inverse_of(change))
                                 : Failure{Cause::Unreachable,
                                           "the service does not answer",
                                           {},
                                           name_of(*change.kind, change.wanted),
                                           {}};
        if (!failure) {
            set_state(step, State::Undone);
            continue;
        }
        reachable = failure->cause != Cause::Unreachable;
        steps_[step].failure = std::move(failure);
    }
}

void Execution::tell_standing()
{
    const auto machine = read_again();
    if (!machine) {
        return;
    }
    const auto before = indexes_of(task_.before);
    const auto now = indexes_of(*machine);
    for (std::size_t step = 0; step < steps_.size(); ++step) {
        const Change& change = steps_[step].change;
        judge(step, before.at(change.kind).find(change.wanted), now.at(change.kind).find(change.wanted));
    }
}

/// What counts is what the policy says, not what the calls answered.
void Execution::judge(std::size_t step, const Entry* before, const Entry* now)
{
    Step& one = steps_[step];
    const std::string operation = word_of(one.change.operation);
    const bool as_before = are_same(*one.change.kind, before, now);
    if (one.state == State::Failed && !as_before && is_in_force(one.change, now)) {
        set_state(step, State::Stands);
        run_.fail({Cause::Partly,
                   operation + " stands though it failed",
                   {},
                   name_of(*one.change.kind, one.change.wanted),
                   {}});
    } else if (one.state == State::Done && as_before) {
        set_state(step, State::Undone);
    } else if (one.state == State::Done && one.failure) {
        one.failure->message = operation + " stands, it could not be undone: " + one.failure->message;
        run_.fail(std::move(*one.failure));
    }
}

} // namespace tresk::ctl
