// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One change of one entry: the library calls that make it, and what their results mean.
#ifndef TRESK_TRESKCTL_POLICY_CHANGE_H
#define TRESK_TRESKCTL_POLICY_CHANGE_H

#include "treskctl/policy/kind.h"
#include "treskctl/run.h"

#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

struct Change {
    const Kind* kind;
    Operation operation;
    Entry wanted;
    /// What is there before; nothing for an addition, and for a removal of what the policy does not have.
    std::optional<Entry> present;
};

/// False where no update leads from one to the other: the entry has to be removed and added anew.
bool can_update(const Kind& kind, const Entry& from, const Entry& to);

/// What is true of the entry when the change is made.
const char* word_for(const Change& change);
/// "add", "update" or "remove".
const char* word_of(Operation operation);

/// The changes that lead back; in the reverse order, since a change of what cannot be updated is two.
Change inverse_of(const Change& change);

/// The change's calls in one line.
std::string calls_text(const Change& change);

/// Whether @now, which may be null, is what the change was to bring.
bool is_in_force(const Change& change, const Entry* now);

/// For a change that was answered with success and did not come about. A removal is: where the running scene
/// does not have the entry, the service is not asked. The scene gets it, and the removal is made again.
/// False, with nothing done, for other changes.
bool remove_from_policy(Run& run, const Change& change);

Failure failure_without_effect(const Change& change);

/// Makes the calls in order and stops at the first that fails: its failure, about the entry. What the calls
/// before it did is taken back; where that fails too, the failure's cause is "partly".
std::optional<Failure> make_change(Run& run, const Change& change);

/// A table of changes: "result", "changed", the key's fields, and, when nothing is really done, "call".
class ChangeTable {
  public:
    ChangeTable(Run& run, const Kind& kind, const std::string& name = "results");

    /// Makes the change, or tells its calls where the settings want that; fails the run where it fails. True
    /// when it did not fail.
    bool make(const Change& change);

    /// To be called after the last change: reads the policy again, and fails the run for changes that did not
    /// come about though they were answered with success.
    void confirm();

    /// The entry is as it was wanted: no call is made. With "strict" that is a failure.
    void leave(const Entry& entry, const char* word);

    /// There is no entry to change. With "strict" that is a failure.
    void leave_nothing();

  private:
    /// @changed: nothing where nobody can tell
    void add_row(const Entry& entry, const std::string& result, std::optional<bool> changed,
                 const std::string& call);

    /// Those of made_ that the policy does not show, in their order.
    std::vector<std::size_t> without_effect();

    /// A change that was made, and its row in the table.
    struct Made {
        Change change;
        std::size_t row;
    };

    Run& run_;
    const Kind& kind_;
    Table& table_;
    std::vector<Made> made_;
};

/// What a library call's result means; nothing where it did what it should. Knows what edits of the policies
/// and the service's methods answer.
std::optional<Failure> failure_of_call(const Answer<int>& answer);

} // namespace tresk::ctl

#endif
