// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/run.h"

#include "treskctl/printable.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <utility>

namespace tresk::ctl {

namespace {

bool write_all(std::FILE* stream, const std::string& text)
{
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
}

void complain(const std::string& line)
{
    write_all(stderr, "treskctl: " + line + "\n");
}

std::string chain_of(const CLI::App* command)
{
    const CLI::App* parent = command->get_parent();
    const bool below_root = parent->get_parent() == nullptr;
    return (below_root ? "" : chain_of(parent) + " ") + command->get_name();
}

} // namespace

void Run::choose(std::string command, std::function<void()> action)
{
    command_ = std::move(command);
    action_ = std::move(action);
}

void Run::perform()
{
    if (action_) {
        action_();
    }
}

Table& Run::table(std::string name, std::vector<std::string> fields)
{
    return tables_.emplace_back(Table{std::move(name), std::move(fields), {}});
}

void Run::fail(Failure failure)
{
    failures_.push_back(std::move(failure));
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

/// A header over nothing would read as "none" where the truth is "unknown": for people a failed command shows
/// only what it found. A program always gets its document.
bool Run::write_results()
{
    std::vector<Table> tables(tables_.begin(), tables_.end());
    if (json_) {
        return write_all(stdout, render_json(command_, tables));
    }
    if (!failures_.empty()) {
        std::erase_if(tables, [](const Table& table) { return table.rows.empty(); });
    }
    return write_all(stdout, render_for_people(tables));
}

void Run::write_failures() const
{
    for (const Failure& failure : failures_) {
        complain(line_of(command_, failure));
    }
    for (const std::string& line : library_lines_) {
        complain("library: " + printable(line));
    }
}

void Run::write_failures_as_json() const
{
    if (failures_.empty() && library_lines_.empty()) {
        return;
    }
    nlohmann::ordered_json document = {{"version", kJsonVersion}, {"command", command_}};
    auto& errors = document["errors"] = nlohmann::ordered_json::array();
    for (const Failure& failure : failures_) {
        errors.push_back(object_of(failure));
    }
    document["library"] = library_lines_;
    write_all(stderr, written(document));
}

int Run::finish()
{
    if (!write_results()) {
        fail({Cause::Internal, std::string("standard output: ") + std::strerror(errno), {}, {}});
    }
    if (json_) {
        write_failures_as_json();
    } else {
        write_failures();
    }
    return failures_.empty() ? 0 : exit_status_of(failures_.front().cause);
}

CLI::App* add_command(CLI::App& parent, Run& run, const std::string& name, const std::string& help,
                      std::function<void()> action)
{
    CLI::App* const command = parent.add_subcommand(name, help);
    command->callback([&run, command, action = std::move(action)] {
        // A command with commands below it runs by itself only when none of them was given.
        if (command->get_subcommands().empty()) {
            run.choose(chain_of(command), action);
        }
    });
    return command;
}

CLI::App* add_group(CLI::App& parent, const std::string& name, const std::string& help)
{
    CLI::App* const group = parent.add_subcommand(name, help);
    group->require_subcommand(1);
    return group;
}

} // namespace tresk::ctl
