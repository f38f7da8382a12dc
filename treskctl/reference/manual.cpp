// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/manual.h"

#include "treskctl/failure.h"
#include "treskctl/policy/kind.h"
#include "treskctl/reference/answer_forms.h"
#include "treskctl/reference/command_tree.h"
#include "treskctl/reference/examples.h"
#include "treskctl/reference/manual_chapters.h"
#include "treskctl/reference/roff.h"
#include "treskctl/status_codes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <span>
#include <string_view>
#include <vector>

namespace tresk::ctl {

namespace {

// --- options and arguments ---

/// "-f, --from-file FILE"; "--json[=short|pretty]".
std::string option_term(const CLI::Option& option)
{
    std::string names;
    for (const std::string& name : option.get_snames()) {
        names += (names.empty() ? "" : ", ") + roff_bold("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names += (names.empty() ? "" : ", ") + roff_bold("--" + name);
    }
    const std::string placeholder = placeholder_of(option);
    if (placeholder.empty()) {
        return names;
    }
    return takes_word(option) ? names + " " + roff_italic(placeholder)
                              : names + "[=" + roff_italic(placeholder) + "]";
}

std::string option_usage(const CLI::Option& option)
{
    const std::string text =
        roff_bold(name_of(option)) + (takes_word(option) ? " " + roff_italic(placeholder_of(option)) : "");
    return option.get_required() ? text : "[" + text + "]";
}

/// A fixed number of arguments is written so many times.
std::string argument_usage(const CLI::Option& option)
{
    constexpr int many = 100;
    const std::string one = roff_italic(placeholder_of(option));
    std::string text = one;
    if (option.get_items_expected_max() > many) {
        text += "...";
    }
    for (int more = 1; more < option.get_items_expected_max() && option.get_items_expected_max() <= many;
         ++more) {
        text += " " + one;
    }
    return option.get_required() ? text : "[" + text + "]";
}

std::string usage_of(const CLI::App& command)
{
    std::string text = roff_bold("treskctl " + chain_of(command));
    for (const CLI::Option* option : options_of(command)) {
        text += " " + option_usage(*option);
    }
    for (const CLI::Option* argument : arguments_of(command)) {
        text += " " + argument_usage(*argument);
    }
    return text;
}

std::string sentence(std::string text)
{
    if (!text.empty()) {
        text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
        text += text.ends_with('.') ? "" : ".";
    }
    return text;
}

/// The name's line is no sentence.
std::string without_capital(std::string text)
{
    if (!text.empty()) {
        text.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(text.front())));
    }
    return text;
}

// --- objects ---

/// One explanation for all verbs of an object that share it.
struct Explained {
    std::string term;
    std::string help;
    std::vector<std::string> verbs;
};

/// What stands behind the object: "add", or "security show".
std::string verb_of(const CLI::App& command)
{
    const std::string chain = chain_of(command);
    const std::size_t blank = chain.find(' ');
    return blank == std::string::npos ? chain : chain.substr(blank + 1);
}

void explain(std::vector<Explained>& all, const std::string& term, const std::string& help,
             const std::string& verb)
{
    const auto known =
        std::ranges::find_if(all, [&](const Explained& one) { return one.term == term && one.help == help; });
    if (known == all.end()) {
        all.push_back({term, help, {verb}});
    } else {
        known->verbs.push_back(verb);
    }
}

std::vector<Explained> explained(const std::vector<const CLI::App*>& commands)
{
    std::vector<Explained> all;
    for (const CLI::App* command : commands) {
        for (const CLI::Option* argument : arguments_of(*command)) {
            explain(all, roff_italic(placeholder_of(*argument)), argument->get_description(),
                    verb_of(*command));
        }
    }
    for (const CLI::App* command : commands) {
        for (const CLI::Option* option : options_of(*command)) {
            explain(all, option_term(*option), option->get_description(), verb_of(*command));
        }
    }
    return all;
}

std::string list_of(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + roff_bold(word);
    }
    return text;
}

/// What tells the explanation from others of its term: its verbs or, where they share those, which of the
/// arguments it is about; empty where there are no others.
std::string mark_of(const Explained& one, const std::vector<Explained>& all)
{
    std::vector<const Explained*> same;
    for (const Explained& other : all) {
        if (other.term == one.term) {
            same.push_back(&other);
        }
    }
    if (same.size() == 1) {
        return "";
    }
    if (std::ranges::any_of(same, [&](const Explained* other) { return other->verbs != one.verbs; })) {
        return " (" + list_of(one.verbs) + ")";
    }
    constexpr std::array ordinals = {"first", "second", "third"};
    const auto index = static_cast<std::size_t>(std::ranges::find(same, &one) - same.begin());
    return std::string(" (") + ordinals.at(index) + ")";
}

void add_explanations(RoffPage& page, const std::vector<Explained>& all)
{
    for (const Explained& one : all) {
        page.item(one.term + mark_of(one, all), roff_text(sentence(one.help)));
    }
}

/// "path, call (with -n)"
std::string names_in(const AnswerTable& table)
{
    std::string names;
    for (const AnswerField& field : table.fields) {
        const std::string mode = !field.optional ? "" : field.name == "call" ? " (with " : " (without ";
        names += (names.empty() ? "" : ", ") + roff_text(field.name) +
                 (mode.empty() ? "" : mode + roff_bold("-n") + ")");
    }
    return names;
}

/// Behind the first table, whose columns alone can be chosen.
std::string further_tables(std::span<const AnswerTable> tables)
{
    std::string text;
    for (const AnswerTable& table : tables) {
        text += (text.empty() ? " Further tables: " : "; ") + roff_text(table.name) + " (" + names_in(table) +
                ")";
    }
    return text.empty() ? "" : text + ".";
}

/// What the command's tables are. One that changes or tells writes one table or the other.
std::string tables_text(const CLI::App& command)
{
    const AnswerForm form = answer_form_of(chain_of(command));
    if (form.tables.empty()) {
        return "";
    }
    const AnswerTable& first = form.tables.front();
    if (first.name == kTextsTable) {
        return " With " + roff_bold("--json") +
               " the document's array texts has one row, with the field text.";
    }
    if (form.is_change && form.tables.size() > 1) {
        return " Columns: " + names_in(form.tables.back()) + "; of a change: " + names_in(first) + ".";
    }
    return " Columns: " + names_in(first) + "." + further_tables(std::span(form.tables).subspan(1));
}

/// What the help of this command alone says at its end.
std::string remark_on(const CLI::App& command)
{
    const CLI::App* root = &command;
    while (root->get_parent() != nullptr) {
        root = root->get_parent();
    }
    const std::string footer = command.get_footer();
    return footer == root->get_footer() ? "" : " " + roff_text(footer);
}

void add_object(RoffPage& page, const CLI::App& object)
{
    std::vector<const CLI::App*> commands;
    for_each_command(object, [&](const CLI::App& command) { commands.push_back(&command); });
    page.subsection(object.get_name());
    if (commands.front() != &object) {
        page.paragraph(roff_text(sentence(object.get_description())));
    }
    for (const CLI::App* command : commands) {
        page.item(usage_of(*command), roff_text(sentence(command->get_description())) + remark_on(*command) +
                                          tables_text(*command));
    }
    const std::vector<Explained> all = explained(commands);
    if (!all.empty()) {
        page.paragraph("Arguments and options of " + roff_bold(object.get_name()) + ":");
        add_explanations(page, all);
    }
}

// --- chapters ---

void add_paragraphs(RoffPage& page, std::span<const Paragraph> paragraphs)
{
    for (const Paragraph& paragraph : paragraphs) {
        if (paragraph.term.empty()) {
            page.paragraph(roff_marked(paragraph.text));
        } else {
            page.item(roff_marked(paragraph.term), roff_marked(paragraph.text));
        }
    }
}

void add_chapter(RoffPage& page, const Chapter& chapter)
{
    page.section(chapter.title);
    add_paragraphs(page, chapter.paragraphs);
}

void add_head(RoffPage& page, const CLI::App& root)
{
    page.section("NAME");
    page.paragraph("treskctl \\- " + roff_text(without_capital(root.get_description())));
    page.section("SYNOPSIS");
    for (const char* command : {"OBJECT VERB", "COMMAND"}) {
        page.paragraph(roff_bold("treskctl") + " " + roff_italic(command) + " [" + roff_italic("OPTION") +
                       "]... [" + roff_italic("ARGUMENT") + "]...");
    }
    add_chapter(page, description());
}

void add_options(RoffPage& page, const CLI::App& root)
{
    page.section("OPTIONS");
    page.paragraph("These may stand anywhere in the line.");
    for (const CLI::Option* option : options_of(root)) {
        page.item(option_term(*option), roff_text(sentence(option->get_description())));
    }
}

void add_objects(RoffPage& page, const CLI::App& root)
{
    page.section("COMMANDS");
    for (const CLI::App* object : commands_below(root)) {
        add_object(page, *object);
    }
}

/// "path, type (number), owner (ordinary|sm; ordinary)": of what an entry consists.
std::string fields_text(const Kind& kind)
{
    std::string text;
    for (const Field& field : kind.fields) {
        if (field.role == Role::Derived) {
            continue;
        }
        const AnswerField form = answer_field_of(field);
        std::string words;
        for (const std::string& word : form.words) {
            words += (words.empty() ? "" : "|") + word;
        }
        const std::string type = form.type == AnswerType::Integer ? "number" : words.empty() ? "text" : words;
        const bool needed = !field.standard;
        text += (text.empty() ? "" : ", ") + roff_bold(field.name) + " (" + type +
                (needed ? "" : ", may be left out") + ")";
    }
    return text + ".";
}

void add_document_chapter(RoffPage& page)
{
    add_chapter(page, document_chapter());
    for (const Kind* kind : kinds()) {
        page.item(roff_bold(kind->name), fields_text(*kind));
    }
}

void add_exit_table(RoffPage& page)
{
    page.section("EXIT STATUS");
    for (const ExitRow& row : exit_table()) {
        page.item(roff_bold(std::to_string(row.status)), roff_text(sentence(std::string(row.meaning))));
    }
    page.paragraph(
        "Of several failures the first one decides; where something was done all the same, it is 10.");
}

void add_status_codes(RoffPage& page)
{
    page.section("STATUS CODES");
    page.paragraph("What the framework answers, and the exit status that it leads to.");
    for (const StatusCode& code : status_codes()) {
        page.item(roff_bold(code.name) + " (" + roff_text(std::to_string(code.code)) + ")",
                  roff_text(sentence(std::string(code.meaning))) + " Exit status " +
                      std::to_string(exit_status_of(code.cause)) + ".");
    }
}

void add_files(RoffPage& page)
{
    page.section("FILES");
    for (const Kind* kind : kinds()) {
        if (*kind->file != '\0') {
            page.item(roff_bold(kind->file), roff_text(sentence(kind->title)));
        }
    }
    add_paragraphs(page, other_files());
}

void add_examples(RoffPage& page)
{
    page.section("EXAMPLES");
    page.paragraph("Each builds on those before it. Where no exit status is named it is 0.");
    for (const Example& example : examples()) {
        page.example("$ " + roff_text(example.command));
        const std::string status = " Exit status " + std::to_string(example.exit_status) + ".";
        page.paragraph(roff_text(example.about) + (example.exit_status == 0 ? "" : status));
    }
}

} // namespace

std::string manual_page(const CLI::App& root)
{
    RoffPage page("TRESKCTL", "1", std::string("treskctl ") + TRESKCTL_VERSION, "User Commands");
    add_head(page, root);
    add_options(page, root);
    add_objects(page, root);
    for (const Chapter& chapter : chapters()) {
        add_chapter(page, chapter);
    }
    add_document_chapter(page);
    add_exit_table(page);
    add_status_codes(page);
    add_files(page);
    add_chapter(page, {"ENVIRONMENT", environment()});
    add_examples(page);
    return page.text();
}

} // namespace tresk::ctl
