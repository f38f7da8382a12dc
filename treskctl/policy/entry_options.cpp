// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/entry_options.h"

#include "treskctl/input.h"
#include "treskctl/nearest.h"
#include "treskctl/shared_options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>
#include <limits>

namespace tresk::ctl {

namespace {

/// What the user gives it by.
std::string said_of(const Field& field)
{
    return field.option == nullptr ? placeholder_for(field) : option_for(field);
}

std::string words_text(const Field& field)
{
    return CLI::detail::join(field.words, "|");
}

template <class Number>
Value number_of(std::string_view word, int base)
{
    if (base == 16 && (word.starts_with("0x") || word.starts_with("0X"))) {
        word.remove_prefix(2);
    }
    Number number = 0;
    const auto [rest, error] = std::from_chars(word.data(), word.data() + word.size(), number, base);
    if (error != std::errc() || rest != word.data() + word.size()) {
        throw WrongUsage("\"" + std::string(word) + "\" is no number from " +
                         std::to_string(std::numeric_limits<Number>::min()) + " to " +
                         std::to_string(std::numeric_limits<Number>::max()) +
                         (base == 16 ? ", in hexadecimal" : ""));
    }
    return std::int64_t{number};
}

Value word_of_list(const Field& field, const std::string& word)
{
    if (std::ranges::find(field.words, word) == field.words.end()) {
        throw WrongUsage("\"" + word + "\" is none of " + words_text(field) +
                         did_you_mean(word, field.words));
    }
    return word;
}

Value text_of_length(const Field& field, const std::string& word)
{
    if (word.size() > field.longest) {
        throw WrongUsage("longer than " + std::to_string(field.longest) + " bytes");
    }
    return word;
}

/// What stands for the value in the help: all that there are where they are few.
std::string value_text(const Field& field)
{
    switch (field.type) {
    case FieldType::Number:
    case FieldType::Unsigned:
        return "N";
    case FieldType::Hexadecimal:
        return "ID";
    case FieldType::User:
        return "USER";
    case FieldType::Word:
        break;
    default:
        return placeholder_for(field);
    }
    return words_text(field);
}

/// The value, or wrong usage that names what the user gave it by.
Value given_value(const Field& field, const std::string& word)
{
    try {
        return value_of(field, word);
    } catch (const WrongUsage& error) {
        throw WrongUsage(said_of(field) + ": " + error.what());
    }
}

/// An option, or an argument where @name is no option's.
CLI::Option* add_field(CLI::App& command, const Field& field, const std::string& name, EntryWords& words)
{
    return command
        .add_option_function<std::string>(
            name,
            [&words, &field](const std::string& word) {
                (void)given_value(field, word);
                words.fields[field.name] = word;
            },
            field.help)
        ->option_text(value_text(field));
}

} // namespace

std::string placeholder_for(const Field& field)
{
    std::string text = field.name;
    std::ranges::transform(text, text.begin(), [](unsigned char letter) { return std::toupper(letter); });
    return text;
}

std::string option_for(const Field& field)
{
    std::string name = field.option == nullptr ? std::string("--") + field.name : field.option;
    std::ranges::replace(name, '_', '-');
    return name;
}

Value value_of(const Field& field, const std::string& word)
{
    switch (field.type) {
    case FieldType::Number:
        return number_of<std::int32_t>(word, 10);
    case FieldType::Unsigned:
        return number_of<std::uint32_t>(word, 10);
    case FieldType::Hexadecimal:
        return id_text(
            static_cast<std::uint32_t>(std::get<std::int64_t>(number_of<std::uint32_t>(word, 16))));
    case FieldType::User:
        return std::int64_t{user_id(word)};
    case FieldType::Word:
        return word_of_list(field, word);
    default:
        return text_of_length(field, word);
    }
}

const Field* naming_field(const Kind& kind)
{
    const auto last = std::find_if(kind.fields.rbegin(), kind.fields.rend(), [](const Field& field) {
        return field.role == Role::Key && field.option == nullptr;
    });
    return last == kind.fields.rend() ? nullptr : &*last;
}

void add_entry_options(CLI::App& command, const Kind& kind, Takes takes, EntryWords& words,
                       bool names_required)
{
    const Field* const naming = naming_field(kind);
    for (const Field& field : kind.fields) {
        const bool taken =
            field.role == Role::Key || (field.role == Role::Setting && takes == Takes::AllOptions);
        if (!taken || &field == naming) {
            continue;
        }
        if (field.option == nullptr) {
            add_field(command, field, placeholder_for(field), words)->required();
        } else {
            add_field(command, field, option_for(field), words);
        }
    }
    if (naming == nullptr) {
        return;
    }
    command.add_option(placeholder_for(*naming), words.names, naming->help)
        ->option_text(placeholder_for(*naming) + " ...");
    command
        .add_option("-f,--from-file", words.list_file,
                    "Read more of them from FILE, one a line; - is standard input")
        ->option_text("FILE");
    words.named = names_required;
}

void add_filter_options(CLI::App& command, const Kind& kind, EntryWords& words)
{
    for (const Field& field : kind.fields) {
        if (field.role != Role::Derived) {
            add_field(command, field, option_for(field), words);
        }
    }
}

std::optional<std::vector<std::string>> all_names(Run& run, const EntryWords& words)
{
    std::vector<std::string> names = words.names;
    if (words.named && names.empty() && words.list_file.empty()) {
        throw WrongUsage("no name is given");
    }
    if (!words.list_file.empty()) {
        auto more = read_list(run, words.list_file);
        if (!more) {
            return std::nullopt;
        }
        std::ranges::move(*more, std::back_inserter(names));
    }
    if (std::ranges::find(names, "") != names.end()) {
        throw WrongUsage("a name is empty");
    }
    return names;
}

Entry entry_of(const Kind& kind, const EntryWords& words, const std::string& name)
{
    Entry entry;
    const Field* const naming = naming_field(kind);
    for (const Field& field : kind.fields) {
        const auto given = words.fields.find(field.name);
        entry.values.push_back(&field == naming              ? given_value(field, name)
                               : given != words.fields.end() ? value_of(field, given->second)
                                                             : field.standard.value_or(Value()));
    }
    return entry;
}

EntryFilter::EntryFilter(const Kind& kind, const EntryWords& words)
{
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const Field& one = kind.fields[field];
        if (const auto given = words.fields.find(one.name); given != words.fields.end()) {
            wanted_.push_back({field, one.type == FieldType::User, value_of(one, given->second)});
        }
    }
}

bool EntryFilter::matches(const Entry& entry) const
{
    return std::ranges::all_of(wanted_, [&entry](const Wanted& wanted) {
        const Value& value = entry.values[wanted.field];
        const bool for_all = wanted.is_user && std::holds_alternative<std::monostate>(value);
        return for_all || value == wanted.value;
    });
}

} // namespace tresk::ctl
