// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A write, and what is asked of it when it is killed or the disk is full: the files are the old ones or the
// new ones, whole; what is left lying about does not keep the next run from succeeding; and a run that
// reports failure left the old ones.
#ifndef TRESK_TESTS_CRASH_OPERATION_H
#define TRESK_TESTS_CRASH_OPERATION_H

#include "tests/crash/tracer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tresk::test {

/// Files by their paths, or whatever else a reader finds by its names.
using State = std::map<std::string, std::string>;

struct Operation {
    std::string name;
    /// Puts the old state in place, whatever was there.
    std::function<void()> prepare;
    /// The write; runs in a child. Whether it reported success.
    std::function<bool()> act;
    /// What a reader finds: the contents and modes of the files, drafts left out.
    std::function<State()> state;
    /// What lies about besides; nothing may after a failure that was reported.
    std::function<State()> drafts;
    /// The write has no way to report failure: it happens on the way of something else that fails anyway.
    bool silent = false;
    /// It writes several files, of which each for itself is the old or the new one after a crash. A disk
    /// without room leaves all of them as they were.
    bool file_by_file = false;
};

inline std::ostream& operator<<(std::ostream& out, const Operation& operation)
{
    return out << operation.name;
}

/// What was seen over all runs of one check; the checks themselves add failures.
struct Tally {
    std::size_t runs = 0;
    std::size_t found_old = 0;
    std::size_t found_new = 0;
    std::size_t left_drafts = 0;
    std::vector<std::string> objections; ///< empty: all is well
};

/// Kills the operation at each of its watched calls in turn.
Tally kill_at_each_call(const Operation& operation);

/// Refuses each of its calls that need space on the disk.
Tally refuse_each_call(const Operation& operation, int error);

/// Lets files grow to no more than @bytes, for several lengths.
Tally limit_file_size(const Operation& operation, const std::vector<std::size_t>& bytes);

/// Runs it where a disk has so many pages of room, which @filler takes up to them. @filler's folder is on a
/// small file system of its own.
Tally run_with_room(const Operation& operation, const std::filesystem::path& filler,
                    const std::vector<std::size_t>& pages);

/// The regular files below the folders with their modes and contents; those whose names @is_draft says yes
/// to, or the others.
State files_below(const std::vector<std::filesystem::path>& folders,
                  const std::function<bool(const std::string&)>& wanted);

/// The watched calls' names with their numbers, for messages.
std::string shown(const std::vector<WatchedSystemCall>& calls);

} // namespace tresk::test

#endif
