// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What differs between two documents, or between a document and the machine.
#include "treskctl/commands.h"
#include "treskctl/policy/document_files.h"
#include "treskctl/policy/machine.h"
#include "treskctl/policy/plan.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace tresk::ctl {

namespace {

constexpr const char* kMachine = "machine";

struct Sides {
    std::string from;
    std::string to = kMachine;
};

struct Documents {
    Document from;
    Document to;
};

/// The document in the machine's form, and what the machine has of the document's kinds.
std::optional<Documents> beside_machine(Run& run, const std::string& name)
{
    const auto document = load_document(run, name);
    const auto machine = document ? read_kinds(run, kinds_of(*document)) : std::nullopt;
    if (!machine) {
        return std::nullopt;
    }
    std::vector<Failure> failures;
    Document fitting = fitted(*document, *machine, failures);
    if (fail_with(run, std::move(failures))) {
        return std::nullopt;
    }
    return Documents{std::move(fitting), document_of(*machine)};
}

std::optional<Documents> load_both(Run& run, const Sides& sides)
{
    if (sides.from == kMachine && sides.to == kMachine) {
        throw WrongUsage("the machine does not differ from itself");
    }
    if (sides.from == "-" && sides.to == "-") {
        throw WrongUsage("standard input can be read once");
    }
    if (sides.to == kMachine) {
        return beside_machine(run, sides.from);
    }
    if (sides.from == kMachine) {
        auto documents = beside_machine(run, sides.to);
        if (documents) {
            std::swap(documents->from, documents->to);
        }
        return documents;
    }
    auto from = load_document(run, sides.from);
    auto to = load_document(run, sides.to);
    return from && to ? std::optional(Documents{std::move(*from), std::move(*to)}) : std::nullopt;
}

Row row_of(const Difference& difference)
{
    Row row = {std::string(difference.change),
               std::string(difference.kind->name),
               Value(),
               Value(),
               difference.from,
               difference.to};
    if (difference.entry != nullptr) {
        row[2] = name_of(*difference.kind, *difference.entry);
    }
    if (difference.field != nullptr) {
        row[3] = std::string(difference.field->name);
    }
    return row;
}

void diff(Run& run, const Sides& sides)
{
    Table& table = run.table("differences", {"change", "kind", "name", "field", "from", "to"});
    const auto documents = load_both(run, sides);
    if (!documents) {
        return;
    }
    std::ranges::transform(differences(documents->from, documents->to), std::back_inserter(table.rows),
                           row_of);
    if (!table.rows.empty()) {
        run.answer_no();
    }
}

} // namespace

void add_diff_command(CLI::App& app, Run& run)
{
    const auto sides = std::make_shared<Sides>();
    CLI::App* const command =
        add_command(app, run, "diff", "Compare documents, or a document and the machine: exit status 0 or 1",
                    [&run, sides] { diff(run, *sides); });
    run.honour_root(*command);
    command
        ->add_option("A", sides->from, "A FILE, a DIR of drop-ins, - for standard input, or the word machine")
        ->option_text("FILE|DIR|machine REQUIRED")
        ->required();
    command->add_option("B", sides->to, "The same; the machine if not said")->option_text("FILE|DIR|machine");
}

} // namespace tresk::ctl
