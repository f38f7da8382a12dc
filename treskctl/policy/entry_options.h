// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Entries as they are given on the command line or in a list: words that become values by the fields' types.
#ifndef TRESK_TRESKCTL_POLICY_ENTRY_OPTIONS_H
#define TRESK_TRESKCTL_POLICY_ENTRY_OPTIONS_H

#include "treskctl/policy/kind.h"
#include "treskctl/run.h"

#include <CLI/App.hpp>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

/// @word as a value of @field; throws WrongUsage where it is none.
Value value_of(const Field& field, const std::string& word);

/// What a command line says about entries of one kind.
struct EntryWords {
    /// The fields that were given by options, and the leading arguments.
    std::map<std::string, std::string> fields;
    /// The last argument, which may be given many times.
    std::vector<std::string> names;
    /// A file with more of them, one a line; "-": standard input; empty: none.
    std::string list_file;
    /// Whether there are names at all, and one of both has to be given.
    bool named = false;

    [[nodiscard]] bool gives(const Field& field) const { return fields.count(field.name) != 0; }
};

/// "SOURCE_TYPE", which stands for the field's value in the help.
std::string placeholder_for(const Field& field);

/// "--source-type": the option that gives the field, also where arguments usually do.
std::string option_for(const Field& field);

/// Which of a kind's fields a verb takes as options.
enum class Takes { KeyOptions, AllOptions };

/// Adds the kind's arguments and options to a verb. @words lives as long as @command.
/// @names_required: whether a name or a list has to be given
void add_entry_options(CLI::App& command, const Kind& kind, Takes takes, EntryWords& words,
                       bool names_required);

/// The same for verbs about many entries: every field that is not derived is an option.
void add_filter_options(CLI::App& command, const Kind& kind, EntryWords& words);

/// The names given, those of the list file included; nothing, and a failure, where the list cannot be read.
/// Throws WrongUsage where none is given that has to be. A list from standard input can be read once.
std::optional<std::vector<std::string>> all_names(Run& run, const EntryWords& words);

/// The entry of that name with what the words say, the standard for what they do not say, and no value for
/// required settings that they do not say.
Entry entry_of(const Kind& kind, const EntryWords& words, const std::string& name);

/// The entries that have every value that some words give; a user that an entry has not at all is no
/// objection.
class EntryFilter {
  public:
    EntryFilter(const Kind& kind, const EntryWords& words);

    [[nodiscard]] bool matches(const Entry& entry) const;

  private:
    struct Wanted {
        std::size_t field;
        bool is_user;
        Value value;
    };

    std::vector<Wanted> wanted_;
};

/// The kind's field that takes the names: the last one that is given without an option. Null for kinds whose
/// entries are named by options alone.
const Field* naming_field(const Kind& kind);

} // namespace tresk::ctl

#endif
