// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A command line of which the last word is still being typed, read along the parser's own table.
#ifndef TRESK_TRESKCTL_REFERENCE_PARTIAL_LINE_H
#define TRESK_TRESKCTL_REFERENCE_PARTIAL_LINE_H

#include <CLI/App.hpp>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tresk::ctl {

class PartialLine {
  public:
    /// @words: behind "treskctl"; the last one is being typed, and may be empty
    PartialLine(const CLI::App& root, const std::vector<std::string>& words);

    /// The command that was chosen so far.
    [[nodiscard]] const CLI::App& command() const { return *command_; }

    /// The option or argument whose value is being typed, or null.
    [[nodiscard]] const CLI::Option* wanted() const { return wanted_; }

    /// Whether a command, or an option, could stand here.
    [[nodiscard]] bool may_be_command() const;
    [[nodiscard]] bool may_be_option() const;

    /// What was typed of the value, and what stands in front of it in the same word ("--owner=").
    [[nodiscard]] const std::string& typed() const { return typed_; }

    [[nodiscard]] const std::string& prefix() const { return prefix_; }

    /// The last value of the named option ("--root") or argument ("LIST"); empty where there is none.
    [[nodiscard]] std::string value_of(const std::string& name) const;

    /// The names, the last argument's values, that stand in the line already.
    [[nodiscard]] const std::vector<std::string>& names() const { return names_; }

    /// All options that may stand here: the command's own, and treskctl's.
    [[nodiscard]] std::vector<const CLI::Option*> options() const;

  private:
    void read(const std::string& word);
    void read_long(const std::string& word);
    void read_short(const std::string& word);
    void read_argument(const std::string& word);
    void read_last(const std::string& word);
    void note(const CLI::Option& option, const std::string& value);
    [[nodiscard]] const CLI::Option* find_option(const std::string& name) const;
    [[nodiscard]] const CLI::Option* next_argument() const;

    const CLI::App* command_;
    const CLI::Option* wanted_ = nullptr;
    bool arguments_only_ = false;
    std::size_t arguments_ = 0;
    std::map<std::string, std::string> values_;
    std::vector<std::string> names_;
    std::string typed_;
    std::string prefix_;
};

} // namespace tresk::ctl

#endif
