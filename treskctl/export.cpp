// SPDX-License-Identifier: LGPL-2.1-or-later
//
// All that the policies of a machine say, as one document.
#include "treskctl/commands.h"
#include "treskctl/policy/machine.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace tresk::ctl {

namespace {

void export_policy(Run& run, bool as_yaml)
{
    const Settings& settings = run.settings();
    if (as_yaml && settings.json()) {
        throw WrongUsage("--yaml and --json exclude each other");
    }
    if (!settings.columns.empty() || !settings.bare_field.empty()) {
        throw WrongUsage("a document has no columns to choose from");
    }
    if (const auto machine = read_kinds(run, kinds())) {
        const Document document = document_of(*machine);
        run.answer_with(as_yaml ? written_yaml(document) : written_json(document, settings));
    }
}

} // namespace

void add_export_command(CLI::App& app, Run& run)
{
    const auto as_yaml = std::make_shared<bool>(false);
    CLI::App* const command = add_command(app, run, "export", "Write all policies as one document",
                                          [&run, as_yaml] { export_policy(run, *as_yaml); });
    run.honour_root(*command);
    command->add_flag("--yaml", *as_yaml, "Write YAML instead of JSON");
}

} // namespace tresk::ctl
