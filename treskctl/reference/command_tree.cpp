// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/command_tree.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>
#include <string_view>

namespace tresk::ctl {

namespace {

bool is_shown(const CLI::Option& option)
{
    return option.get_group() != kHidden;
}

/// A verb is a command without commands below it; "status" is a command with them.
bool does_something(const CLI::App& command)
{
    return command.get_parent() != nullptr && command.get_require_subcommand_min() == 0;
}

void visit_all(const CLI::App& command, const std::function<void(const CLI::App& command)>& visit)
{
    if (does_something(command)) {
        visit(command);
    }
    for (const CLI::App* below : commands_below(command)) {
        visit_all(*below, visit);
    }
}

/// What the help writes behind a placeholder, and brackets around an optional one, are no part of it.
std::string without_marks(std::string text)
{
    for (const std::string_view mark : {" REQUIRED", " ..."}) {
        if (text.ends_with(mark)) {
            text.resize(text.size() - mark.size());
        }
    }
    const bool optional = text.starts_with("[=") && text.ends_with("]");
    return optional ? text.substr(2, text.size() - 3) : text;
}

bool is_word(std::string_view text)
{
    return !text.empty() && std::ranges::all_of(text, [](char letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') || letter == '-';
    });
}

} // namespace

std::vector<const CLI::App*> commands_below(const CLI::App& command)
{
    return command.get_subcommands([](const CLI::App* below) { return below->get_group() != kHidden; });
}

const CLI::App* find_command(const CLI::App& command, const std::string& name)
{
    const auto found =
        command.get_subcommands([&](const CLI::App* below) { return below->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

void for_each_command(const CLI::App& root, const std::function<void(const CLI::App& command)>& visit)
{
    visit_all(root, visit);
}

std::string chain_of(const CLI::App& command)
{
    const CLI::App* parent = command.get_parent();
    if (parent == nullptr) {
        return "";
    }
    const std::string above = chain_of(*parent);
    return (above.empty() ? "" : above + " ") + command.get_name();
}

std::vector<const CLI::Option*> options_of(const CLI::App& command)
{
    return command.get_options([&](const CLI::Option* option) {
        const bool help = option == command.get_help_ptr() || option == command.get_help_all_ptr();
        return option->nonpositional() && is_shown(*option) && (!help || command.get_parent() == nullptr);
    });
}

std::vector<const CLI::Option*> arguments_of(const CLI::App& command)
{
    return command.get_options(
        [](const CLI::Option* option) { return option->get_positional() && is_shown(*option); });
}

std::string name_of(const CLI::Option& option)
{
    const auto& longs = option.get_lnames();
    return longs.empty() ? "-" + option.get_single_name() : "--" + longs.front();
}

std::string placeholder_of(const CLI::Option& option)
{
    const std::string text = without_marks(option.get_option_text());
    if (!text.empty()) {
        return text;
    }
    if (option.get_positional()) {
        return option.get_single_name();
    }
    return takes_word(option) ? option.get_type_name() : "";
}

bool takes_word(const CLI::Option& option)
{
    return option.get_items_expected_max() > 0;
}

bool takes_many(const CLI::Option& option)
{
    return option.get_items_expected_max() > 1;
}

std::vector<std::string> parts_of(const std::string& placeholder)
{
    std::vector<std::string> parts;
    std::istringstream stream(placeholder);
    for (std::string part; std::getline(stream, part, '|');) {
        parts.push_back(part);
    }
    return parts;
}

std::vector<std::string> words_in(const std::string& placeholder)
{
    std::vector<std::string> words = parts_of(placeholder);
    if (words.size() < 2) {
        return {};
    }
    std::erase_if(words, [](const std::string& part) { return !is_word(part); });
    return words;
}

} // namespace tresk::ctl
