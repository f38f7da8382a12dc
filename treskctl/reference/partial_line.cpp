// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/partial_line.h"

#include "treskctl/reference/command_tree.h"

#include <CLI/CLI.hpp>

namespace tresk::ctl {

namespace {

bool is_long(const std::string& word)
{
    return word.size() > 2 && word.starts_with("--");
}

bool is_short(const std::string& word)
{
    return word.size() > 1 && word.front() == '-' && word[1] != '-';
}

/// How often an argument may be given before the next one's turn comes.
std::size_t places_of(const CLI::Option& argument)
{
    return static_cast<std::size_t>(argument.get_items_expected_max());
}

} // namespace

PartialLine::PartialLine(const CLI::App& root, const std::vector<std::string>& words) : command_(&root)
{
    for (std::size_t word = 0; word + 1 < words.size(); ++word) {
        read(words[word]);
    }
    read_last(words.empty() ? "" : words.back());
}

void PartialLine::read(const std::string& word)
{
    if (wanted_ != nullptr) {
        note(*wanted_, word);
        wanted_ = nullptr;
    } else if (!arguments_only_ && word == "--") {
        arguments_only_ = true;
    } else if (!arguments_only_ && is_long(word)) {
        read_long(word);
    } else if (!arguments_only_ && is_short(word)) {
        read_short(word);
    } else if (const CLI::App* below = may_be_command() ? find_command(*command_, word) : nullptr) {
        command_ = below;
    } else {
        read_argument(word);
    }
}

void PartialLine::read_long(const std::string& word)
{
    const std::size_t equals = word.find('=');
    const CLI::Option* option = find_option(word.substr(0, equals));
    if (option != nullptr && equals != std::string::npos) {
        note(*option, word.substr(equals + 1));
    } else if (option != nullptr && takes_word(*option)) {
        wanted_ = option;
    }
}

/// Several flags may share a word; the first that takes a value takes the rest of it.
void PartialLine::read_short(const std::string& word)
{
    for (std::size_t letter = 1; letter < word.size(); ++letter) {
        const CLI::Option* option = find_option(std::string("-") + word[letter]);
        if (option == nullptr || !takes_word(*option)) {
            continue;
        }
        if (letter + 1 < word.size()) {
            note(*option, word.substr(letter + 1));
        } else {
            wanted_ = option;
        }
        return;
    }
}

void PartialLine::read_argument(const std::string& word)
{
    if (const CLI::Option* argument = next_argument()) {
        note(*argument, word);
    }
    ++arguments_;
}

void PartialLine::read_last(const std::string& word)
{
    typed_ = word;
    const std::size_t equals = word.find('=');
    if (wanted_ != nullptr) {
        return;
    }
    if (may_be_option() && is_long(word) && equals != std::string::npos) {
        wanted_ = find_option(word.substr(0, equals));
        prefix_ = word.substr(0, equals + 1);
        typed_ = word.substr(equals + 1);
    } else if (!may_be_option() || !word.starts_with('-')) {
        wanted_ = next_argument();
    }
}

void PartialLine::note(const CLI::Option& option, const std::string& value)
{
    values_[option.get_positional() ? placeholder_of(option) : name_of(option)] = value;
    if (option.get_positional() && takes_many(option)) {
        names_.push_back(value);
    }
}

bool PartialLine::may_be_command() const
{
    return !arguments_only_ && arguments_ == 0;
}

bool PartialLine::may_be_option() const
{
    return !arguments_only_ && (wanted_ == nullptr || wanted_->get_positional());
}

std::string PartialLine::value_of(const std::string& name) const
{
    const auto found = values_.find(name);
    return found == values_.end() ? "" : found->second;
}

std::vector<const CLI::Option*> PartialLine::options() const
{
    std::vector<const CLI::Option*> all = options_of(*command_);
    if (const CLI::App* root = command_->get_parent() == nullptr ? nullptr : command_) {
        while (root->get_parent() != nullptr) {
            root = root->get_parent();
        }
        const auto shared = options_of(*root);
        all.insert(all.end(), shared.begin(), shared.end());
    }
    return all;
}

const CLI::Option* PartialLine::find_option(const std::string& name) const
{
    for (const CLI::Option* option : options()) {
        if (option->check_name(name)) {
            return option;
        }
    }
    return nullptr;
}

const CLI::Option* PartialLine::next_argument() const
{
    std::size_t before = 0;
    for (const CLI::Option* argument : arguments_of(*command_)) {
        before += places_of(*argument);
        if (arguments_ < before) {
            return argument;
        }
    }
    return nullptr;
}

} // namespace tresk::ctl
