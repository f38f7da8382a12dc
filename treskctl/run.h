// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One run of treskctl: the command that the command line chose, what it found, what failed, and what the
// library said meanwhile. Everything is written at the end, in one form or the other: standard output first.
#ifndef TRESK_TRESKCTL_RUN_H
#define TRESK_TRESKCTL_RUN_H

#include "treskctl/error_record.h"
#include "treskctl/failure.h"
#include "treskctl/library_output.h"
#include "treskctl/output.h"
#include "treskctl/settings.h"
#include "treskctl/supervisor.h"

#include <CLI/App.hpp>

#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tresk::ctl {

/// What a library call returned, what was written while it ran, and the error that it recorded.
template <class Result>
struct Answer {
    Result result;
    Said said;
    std::optional<ErrorRecord> recorded;
};

class Run {
  public:
    [[nodiscard]] Settings& settings() { return settings_; }

    [[nodiscard]] const Settings& settings() const { return settings_; }

    /// Sets what is to be done when the command line was read without an error.
    void choose(std::string command, std::function<void()> action);

    /// @command only reads files, below the directory that the settings name; others refuse to have one
    /// named.
    void honour_root(const CLI::App& command) { root_readers_.insert(&command); }

    [[nodiscard]] bool honours_root(const CLI::App& command) const
    {
        return root_readers_.count(&command) != 0;
    }

    /// Throws WrongUsage where the settings name another root than the machine's own.
    void require_own_machine() const;

    /// Does it, for as long as the settings and the user's patience allow, and writes what came of it:
    /// results to standard output, failures to standard error. Returns the exit status. A run that was given
    /// up ends the process.
    int perform();

    /// Ends with what is known. Returns the exit status.
    int end() { return finish(); }

    /// Ends with @failure alone. Returns the exit status.
    int refuse(const Failure& failure);
    /// The same for what came before a command was chosen; @command is as far as the line was understood.
    int refuse(const Failure& failure, const CLI::App& command);

    /// A new table of the result, in the order in which they are made; it stays where it is. The first one
    /// has to have the columns that the settings want: throws WrongUsage.
    Table& table(std::string name, std::vector<std::string> fields);

    void fail(Failure failure);

    /// What the command was asked for is @document, with which standard output begins and ends.
    void answer_with(std::string document) { document_ = std::move(document); }

    /// The answer to the command's question is "no", or what was compared differs.
    void answer_no() { answer_is_no_ = true; }

    /// The command is to change something: its document says whether it did.
    void begin_changes() { changed_ = changed_.value_or(0); }

    /// One subject of a change was brought, or found, where it was wanted.
    void note_done(bool changed);

    /// A change that was noted as done was undone.
    void note_undone();

    /// A change whose former state nobody can tell.
    void note_done_unknown();

    /// True when the step that is left is not to be begun; the run then fails as not finished.
    [[nodiscard]] bool stopping()
    {
        broke_off_ = broke_off_ || supervisor_.stopping();
        return broke_off_;
    }

    /// What the next calls are about, for the failure of a run that is given up meanwhile; nothing for no one
    /// thing.
    void work_on(std::optional<std::string> subject) { subject_ = std::move(subject); }

    /// Calls the library and keeps what was written meanwhile.
    template <class Call>
    auto hear(Call call)
    {
        (void)take_error_record();
        auto heard = supervisor_.without_baton([&] { return listen_to(std::move(call)); });
        remember(heard.said);
        return Answer<decltype(heard.result)>{std::move(heard.result), std::move(heard.said),
                                              take_error_record()};
    }

    /// The same for a caller who only needs the result.
    template <class Call>
    auto ask(Call call)
    {
        return hear(std::move(call)).result;
    }

    /// Runs @call, which waits for what the user types.
    template <class Call>
    auto ask_user(Call call)
    {
        return supervisor_.waiting_for_user(std::move(call));
    }

  private:
    void remember(const Said& said);
    void give_up(Supervisor::End end);
    int finish();
    [[nodiscard]] Tables tables() const;
    /// What hindered a table's source is returned.
    [[nodiscard]] std::optional<Failure> write_results(const TextSink& out) const;
    [[nodiscard]] std::optional<Failure> write_results_for_people(const TextSink& out) const;
    [[nodiscard]] std::string failures_for_people() const;
    [[nodiscard]] std::string failures_as_json() const;
    [[nodiscard]] int exit_status() const;
    /// Yes, no, or a value without either where nobody can tell.
    [[nodiscard]] Value whether_changed() const;

    Settings settings_;
    Supervisor supervisor_;
    std::string command_;
    std::function<void()> action_;
    std::set<const CLI::App*> root_readers_;
    std::deque<Table> tables_;
    std::optional<std::string> document_;
    std::vector<Failure> failures_;
    std::vector<std::string> library_lines_;
    bool answer_is_no_ = false;
    std::size_t done_ = 0;
    /// Of what is done, what was changed; nothing where nothing is to be changed.
    std::optional<std::size_t> changed_;
    /// Of what is done, that of which nobody can tell whether it was changed.
    std::size_t unknown_ = 0;
    bool noted_ = false;
    bool broke_off_ = false;
    std::optional<std::string> subject_;
};

/// Adds a command that does @action. Its name in messages is the whole chain, such as "ppro add".
CLI::App* add_command(CLI::App& parent, Run& run, const std::string& name, const std::string& help,
                      std::function<void()> action);

/// Adds a command that only holds others.
CLI::App* add_group(CLI::App& parent, const std::string& name, const std::string& help);

} // namespace tresk::ctl

#endif
