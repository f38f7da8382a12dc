// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Makes the machine what a document says, step by step, or leaves it as it was.
#include "treskctl/commands.h"
#include "treskctl/policy/document_files.h"
#include "treskctl/policy/execution.h"
#include "treskctl/policy/machine.h"
#include "treskctl/policy/object_commands.h"
#include "treskctl/policy/plan.h"
#include "treskctl/streams.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace tresk::ctl {

namespace {

struct Wish {
    std::string document;
    bool keep = false;
    bool allow_removals = false;
};

/// Nothing, with a failure of the run, where the document cannot be applied.
std::optional<Task> task_for(Run& run, const Wish& wish)
{
    const auto document = load_document(run, wish.document);
    auto machine = document ? read_kinds(run, kinds_of(*document)) : std::nullopt;
    if (!machine) {
        return std::nullopt;
    }
    std::vector<Failure> failures;
    Document wanted = fitted(*document, *machine, failures);
    if (fail_with(run, std::move(failures))) {
        return std::nullopt;
    }
    const Others others = wish.keep ? Others::Kept : Others::Removed;
    Plan plan = plan_of(*machine, wanted, others);
    if (fail_with(run, obstacles_to(plan))) {
        return std::nullopt;
    }
    return Task{std::move(*machine), std::move(wanted), others, std::move(plan)};
}

bool refused(Run& run, const Plan& plan, const Wish& wish)
{
    if (!plan.leaves_little() || wish.allow_removals) {
        return false;
    }
    run.fail({Cause::Refused,
              "this would remove " + std::to_string(plan.leaving) + " of " + std::to_string(plan.present) +
                  " entries, more than half",
              {},
              {},
              "Nothing was done. --allow-removals if this is meant; --keep removes nothing."});
    return true;
}

void leave_all(Run& run)
{
    if (run.settings().strict) {
        run.fail({Cause::Conflict,
                  "the machine is as the document says already",
                  {},
                  {},
                  "Without --strict this is no failure."});
    } else {
        run.note_done(false);
    }
}

void show_before(const Run& run, const StepTable& table)
{
    if (!run.settings().json() && run.settings().bare_field.empty()) {
        write_output(table.plan_text());
    }
}

void apply(Run& run, const Wish& wish)
{
    StepTable table(run);
    run.begin_changes();
    const auto task = task_for(run, wish);
    if (!task) {
        return;
    }
    const std::vector<Change>& changes = task->plan.changes;
    std::ranges::for_each(changes, [&](const Change& change) { table.add(change); });
    if (refused(run, task->plan, wish)) {
        return;
    }
    if (changes.empty()) {
        leave_all(run);
    } else if (run.settings().dry_run) {
        run.note_done(true);
    } else {
        show_before(run, table);
        Execution(run, *task, table).make();
    }
}

} // namespace

void add_apply_command(CLI::App& app, Run& run)
{
    const auto wish = std::make_shared<Wish>();
    CLI::App* const command = add_command(app, run, "apply", "Make the machine what a document says",
                                          [&run, wish] { apply(run, *wish); });
    command->add_option("DOCUMENT", wish->document, "A FILE, a DIR of drop-ins, or - for standard input")
        ->option_text("FILE|DIR REQUIRED")
        ->required();
    command->add_flag("--keep", wish->keep, "Keep entries that the document does not have");
    command->add_flag("--allow-removals", wish->allow_removals, "Remove even more than half of the entries");
}

} // namespace tresk::ctl
