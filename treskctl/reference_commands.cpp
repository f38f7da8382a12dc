// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What treskctl tells about itself: completion for shells, the manual page, the schema of the documents, and,
// hidden from the help since the shells are its users, what completes a line.
#include "treskctl/commands.h"
#include "treskctl/reference/command_tree.h"
#include "treskctl/reference/manual.h"
#include "treskctl/reference/proposals.h"
#include "treskctl/reference/schema.h"
#include "treskctl/reference/shells.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace tresk::ctl {

namespace {

/// A program that asked for a document gets one.
void answer_with_text(Run& run, const std::string& text)
{
    if (run.settings().json()) {
        run.table("texts", {"text"}).rows.push_back({text});
    } else {
        run.answer_with(text);
    }
}

bool fits_a_line(const std::string& word)
{
    return word.find_first_of(std::string_view("\n\t\0", 3)) == std::string::npos;
}

std::string first_line(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

/// A word a line, with what it is about behind a tab.
void complete(const CLI::App& app, Run& run, const std::vector<std::string>& words)
{
    const Proposals proposals = propose(app, words);
    std::string text;
    for (const Proposal& proposal : proposals.words) {
        if (fits_a_line(proposal.word)) {
            text += proposal.word + (proposal.about.empty() ? "" : "\t" + first_line(proposal.about)) + "\n";
        }
    }
    if (proposals.files || proposals.directories) {
        text += "\t" + std::string(proposals.files ? kWantFiles : kWantDirectories) + "\n";
    }
    answer_with_text(run, text);
}

std::string names_of_shells()
{
    std::string names;
    for (const Shell& shell : shells()) {
        names += (names.empty() ? "" : "|") + std::string(shell.name);
    }
    return names;
}

void print_script(Run& run, const std::string& name)
{
    const auto shell = std::ranges::find(shells(), name, &Shell::name);
    if (shell == shells().end()) {
        throw WrongUsage("there is no completion for \"" + name + "\", only for " + names_of_shells());
    }
    answer_with_text(run, std::string(shell->script));
}

void add_completion(CLI::App& app, Run& run)
{
    const auto shell = std::make_shared<std::string>();
    add_command(app, run, "completion", "Print what makes a shell complete treskctl's command lines",
                [&run, shell] { print_script(run, *shell); })
        ->add_option("SHELL", *shell, "The shell that is to read it")
        ->required()
        ->option_text(names_of_shells());

    const auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* const completer = add_command(app, run, "complete", "Tell how a command line may go on",
                                            [&app, &run, words] { complete(app, run, *words); });
    completer->add_option("WORD", *words, "The line's words behind treskctl; the last is being typed");
    completer->group(kHidden);
}

} // namespace

void add_reference_commands(CLI::App& app, Run& run)
{
    add_completion(app, run);
    add_command(app, run, "manual", "Print treskctl(1) for the manual's formatter",
                [&app, &run] { answer_with_text(run, manual_page(app)); });
    add_command(app, run, "schema", "Print the JSON Schema of all documents",
                [&app, &run] { answer_with_text(run, schema_of(app)); });
}

} // namespace tresk::ctl
