// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/run.h"

#include "treskctl/printable.h"
#include "treskctl/streams.h"
#include "treskctl/terminal.h"

#include <nlohmann/json.hpp>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <sstream>

namespace tresk::ctl {

namespace {

/// The parser's group of what the help leaves out.
constexpr const char* kHidden = "";
constexpr const char* kRed = "\033[31m";
constexpr const char* kPlain = "\033[0m";

/// Empty for the program itself.
std::string chain_of(const CLI::App* command)
{
    const CLI::App* const parent = command->get_parent();
    const std::string before = parent == nullptr ? "" : chain_of(parent);
    return parent == nullptr ? "" : before + (before.empty() ? "" : " ") + command->get_name();
}

std::string advice_of(const Failure& failure)
{
    return failure.advice.empty() ? std::string(advice_for(failure.cause)) : failure.advice;
}

} // namespace

void Run::choose(std::string command, std::function<void()> action)
{
    command_ = std::move(command);
    action_ = std::move(action);
}

int Run::perform()
{
    const Supervisor::End end = supervisor_.watch(action_, settings_.timeout, !settings_.json());
    if (end != Supervisor::End::Finished) {
        give_up(end);
    }
    if (broke_off_) {
        fail({Cause::Cancelled, "stopped before all was done", {}, {}, {}});
    }
    return finish();
}

/// The worker still waits inside of a call and cannot be taken back: what is known is told, and the process
/// ends as it is.
void Run::give_up(Supervisor::End end)
{
    fail(end == Supervisor::End::TimedOut
             ? Failure{Cause::TimedOut, "no answer within the given time", {}, subject_, {}}
             : Failure{Cause::Cancelled,
                       "stopped while waiting for an answer",
                       {},
                       subject_,
                       "What the service was asked may still be done; look before trying again."});
    restore_terminal();
    ::_exit(finish());
}

int Run::refuse(const Failure& failure)
{
    fail(failure);
    return finish();
}

int Run::refuse(const Failure& failure, const CLI::App& command)
{
    // What only holds commands is none, and no program would know it.
    if (command.get_subcommands({}).empty() || !settings_.json()) {
        command_ = chain_of(&command);
    }
    return refuse(failure);
}

Table& Run::table(std::string name, std::vector<std::string> fields)
{
    Table& added = tables_.emplace_back(Table{std::move(name), std::move(fields), {}});
    if (tables_.size() == 1) {
        require_columns(added, settings_);
    }
    return added;
}

void Run::fail(Failure failure)
{
    failures_.push_back(std::move(failure));
}

void Run::require_own_machine() const
{
    if (!settings_.root.empty()) {
        throw WrongUsage("--root is for what only reads policy files");
    }
}

void Run::note_done(bool changed)
{
    ++done_;
    noted_ = true;
    changed_ = changed_.value_or(0) + (changed ? 1 : 0);
}

void Run::note_undone()
{
    --done_;
    changed_ = changed_.value_or(1) - 1;
}

void Run::note_done_unknown()
{
    begin_changes();
    ++done_;
    ++unknown_;
    noted_ = true;
}

Value Run::whether_changed() const
{
    if (changed_.value_or(0) > 0) {
        return true;
    }
    return unknown_ > 0 ? Value() : Value(false);
}

void Run::remember(const Said& said)
{
    for (const std::string* text : {&said.output, &said.error}) {
        std::istringstream lines(*text);
        for (std::string line; std::getline(lines, line);) {
            library_lines_.push_back(std::move(line));
        }
    }
}

Tables Run::tables() const
{
    Tables tables;
    std::ranges::transform(tables_, std::back_inserter(tables), [](const Table& table) { return &table; });
    return tables;
}

/// A header over nothing would read as "none" where the truth is "unknown": for people a failed command shows
/// only what it found. A program always gets its document.
std::optional<Failure> Run::write_results_for_people(const TextSink& out) const
{
    Tables shown = tables();
    if (!failures_.empty()) {
        std::erase_if(shown, [](const Table* table) { return table->count() == 0; });
    }
    auto failure = write_for_people(shown, settings_, out);
    if (noted_ && settings_.legend) {
        const Value changed = whether_changed();
        const bool* const known = std::get_if<bool>(&changed);
        out(settings_.dry_run ? "would change: " : "changed: ");
        out(known == nullptr ? "unknown\n" : *known ? "yes\n" : "no\n");
    }
    return failure;
}

std::optional<Failure> Run::write_results(const TextSink& out) const
{
    if (document_) {
        out(*document_);
        return std::nullopt;
    }
    if (settings_.json()) {
        const auto changed = changed_ ? std::optional(whether_changed()) : std::nullopt;
        return write_json(command_, tables(), changed, settings_, out);
    }
    return settings_.bare_field.empty() ? write_results_for_people(out)
                                        : write_bare(tables(), settings_, out);
}

std::string Run::failures_for_people() const
{
    std::string text;
    std::string advice;
    for (const Failure& failure : failures_) {
        const std::string name = settings_.colour && error_is_terminal()
                                     ? std::string(kRed) + "treskctl:" + kPlain + " "
                                     : "treskctl: ";
        text += name + line_of(command_, failure) + "\n";
        const std::string next = advice_of(failure);
        if (!next.empty() && next != advice) {
            text += "  " + next + "\n";
            advice = next;
        }
    }
    for (const std::string& line : library_lines_) {
        text += "treskctl: library: " + printable(line) + "\n";
    }
    return text;
}

std::string Run::failures_as_json() const
{
    if (failures_.empty() && library_lines_.empty()) {
        return "";
    }
    nlohmann::ordered_json document = head_of(command_);
    auto& errors = document["errors"] = nlohmann::ordered_json::array();
    for (const Failure& failure : failures_) {
        errors.push_back(object_of(failure));
    }
    document["library"] = library_lines_;
    return written(document, settings_);
}

int Run::finish()
{
    OutputPieces output;
    if (auto failure = write_results([&output](std::string_view text) { output.add(text); })) {
        fail(std::move(*failure));
    }
    // A reader who leaves has read enough.
    if (!output.finish() && errno != EPIPE) {
        fail({Cause::Internal,
              std::string("standard output: ") + std::strerror(errno),
              {},
              {},
              "Look at what standard output leads to."});
    }
    write_error(settings_.json() ? failures_as_json() : failures_for_people());
    return exit_status();
}

int Run::exit_status() const
{
    if (failures_.empty()) {
        return answer_is_no_ ? kExitNo : 0;
    }
    return exit_status_of(done_ > 0 ? Cause::Partly : failures_.front().cause);
}

CLI::App* add_command(CLI::App& parent, Run& run, const std::string& name, const std::string& help,
                      std::function<void()> action)
{
    CLI::App* const command = parent.add_subcommand(name, help);
    command->callback([&run, command, action = std::move(action)] {
        // A command with commands below it runs by itself only when none of them was given.
        if (command->get_subcommands().empty()) {
            run.choose(chain_of(command), [&run, command, action] {
                if (!run.honours_root(*command)) {
                    run.require_own_machine();
                }
                action();
            });
        }
    });
    // The parser takes a digit for a number where the command itself has no such option, and looks no
    // further.
    command->add_flag("-0", run.settings().null_separated)->group(kHidden);
    return command;
}

CLI::App* add_group(CLI::App& parent, const std::string& name, const std::string& help)
{
    CLI::App* const group = parent.add_subcommand(name, help);
    group->require_subcommand(1);
    return group;
}

} // namespace tresk::ctl
