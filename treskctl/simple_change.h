// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Changes that are no policy entry's: switches, settings of the service, labels of files.
#ifndef TRESK_TRESKCTL_SIMPLE_CHANGE_H
#define TRESK_TRESKCTL_SIMPLE_CHANGE_H

#include "treskctl/policy/kind.h"
#include "treskctl/run.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

/// What a call's result means; nothing where it did what it should.
using Judge = std::function<std::optional<Failure>(const Answer<int>& answer)>;

/// The table "results": "changed", the fields, and, where the settings want no change, "call".
class SimpleChanges {
  public:
    SimpleChanges(Run& run, std::vector<std::string> fields);

    /// Makes @call for the subject of @row and adds the row.
    /// @is_so: whether things are so already; nothing where nobody can tell
    /// @subject: of a failure
    /// @judge: null for the meanings that most calls' results have
    void make(Row row, const LibraryCall& call, std::optional<bool> is_so = std::nullopt,
              const std::optional<std::string>& subject = std::nullopt, const Judge& judge = nullptr);

    /// Adds a row of what is so already: no call was made, or it changed nothing. With "strict" that is a
    /// failure.
    void leave(Row row, const std::optional<std::string>& subject = std::nullopt);

    /// Adds a row of what was done in another way. @changed: nothing where nobody can tell
    void note(Row row, std::optional<bool> changed);

    /// True, and a row added, where the settings want to see the call and no change.
    /// @changed: nothing where nobody can tell whether the call changes anything
    bool is_only_shown(const Row& row, const LibraryCall& call, std::optional<bool> changed = std::nullopt);

  private:
    void put_before_result(Row& row, const std::string& words) const;
    void add_row(Row row, std::optional<bool> changed, const std::string& call);

    Run& run_;
    Table& table_;
};

struct SimpleChange {
    /// What the row of the result says, and its fields.
    std::vector<std::string> fields;
    Row row;
    LibraryCall call;
    /// Whether things are so already; nothing where nobody can tell.
    std::optional<bool> is_so = std::nullopt;
};

/// A table of one change.
void make_simple_change(Run& run, const SimpleChange& change);

} // namespace tresk::ctl

#endif
