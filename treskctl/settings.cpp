// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/settings.h"

#include "treskctl/streams.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace tresk::ctl {

namespace {

/// Unless told otherwise: on a terminal, for users who have not asked all programs to leave it.
bool colour_is_welcome()
{
    const char* refused = std::getenv("NO_COLOR");
    return output_is_terminal() && (refused == nullptr || *refused == '\0');
}

/// The parser puts the flag's name before the message.
Form form_of(const std::string& word)
{
    if (word == "true" || word == "pretty") { // the parser's word for a flag without a value
        return Form::JsonPretty;
    }
    if (word == "short") {
        return Form::JsonShort;
    }
    throw CLI::ValidationError("\"" + word + "\" is neither short nor pretty");
}

bool colour_of(const std::string& word)
{
    if (word == "true" || word == "always") {
        return true;
    }
    if (word == "never") {
        return false;
    }
    if (word == "auto") {
        return colour_is_welcome();
    }
    throw CLI::ValidationError("\"" + word + "\" is none of auto, always and never");
}

/// A number of seconds with an optional unit: 10, 1.5, 500ms, 2m.
std::chrono::milliseconds span_of(const std::string& word)
{
    constexpr std::pair<std::string_view, double> units[] = {
        {"", 1000}, {"s", 1000}, {"ms", 1}, {"m", 60'000}, {"h", 3'600'000}};
    constexpr double longest = 1e12;
    double number = 0;
    const char* const end = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data(), end, number);
    for (const auto& [unit, factor] : units) {
        if (error == std::errc() && number > 0 && number * factor < longest &&
            unit == std::string_view(rest, static_cast<std::size_t>(end - rest))) {
            return std::chrono::milliseconds(static_cast<std::chrono::milliseconds::rep>(number * factor));
        }
    }
    throw CLI::ValidationError("--timeout", "\"" + word + "\" is no time (10, 1.5, 500ms, 2m)");
}

/// A flag that may carry a word ("--json=short"); without one the parser's is "true".
CLI::Option* add_word_flag(CLI::App& app, const std::string& name, const std::string& help,
                           std::function<void(const std::string&)> take)
{
    const auto word = std::make_shared<std::string>();
    return app.add_flag(name, *word, help)->each([word, take = std::move(take)](const std::string& given) {
        take(given);
    });
}

void add_output_options(CLI::App& app, Settings& settings)
{
    add_word_flag(app, "--json", "Write one JSON document: pretty (if not said) or short",
                  [&settings](const std::string& word) { settings.form = form_of(word); })
        ->option_text("[=pretty|short]")
        ->group("Output");
    app.add_option_function<std::string>(
           "-o,--output",
           [&settings](const std::string& words) { settings.columns = CLI::detail::split(words, ','); },
           "Show these columns, in this order")
        ->option_text("COLUMN,...")
        ->group("Output");
    app.add_option("-g,--get", settings.bare_field, "Write this field's bare values, one a line")
        ->option_text("FIELD")
        ->group("Output");
    app.add_flag_callback(
           "--no-legend", [&settings] { settings.legend = false; }, "Leave headers and closing lines out")
        ->group("Output");
    add_word_flag(app, "--color", "Colour: auto (if not said), always or never",
                  [&settings](const std::string& word) { settings.colour = colour_of(word); })
        ->option_text("[=auto|always|never]")
        ->group("Output");
    app.add_flag("-0,--null", settings.null_separated,
                 "Texts of -f end in NUL instead of a line feed, and so do values of -g");
}

void add_change_options(CLI::App& app, Settings& settings)
{
    app.add_flag("-n,--dry-run", settings.dry_run, "Show the calls that a change would make, and make none");
    app.add_flag("--strict", settings.strict, "A change that changes nothing is a failure");
    app.add_flag("-y,--yes", settings.assume_yes, "Do not ask before many entries are deleted");
}

} // namespace

void add_settings(CLI::App& app, Settings& settings)
{
    settings.colour = colour_is_welcome();
    add_output_options(app, settings);
    add_change_options(app, settings);
    app.add_option_function<std::string>(
           "--timeout", [&settings](const std::string& word) { settings.timeout = span_of(word); },
           "Give up after this time: seconds, or with ms, s, m or h")
        ->option_text("TIME");
    app.add_option("--root", settings.root, "Read the policy files below this directory; for what only reads")
        ->option_text("DIR")
        ->check(CLI::Validator(
            [](const std::string& directory) {
                std::error_code unknown;
                return std::filesystem::is_directory(directory, unknown)
                           ? std::string()
                           : "there is no directory \"" + directory + "\"";
            },
            ""));
}

} // namespace tresk::ctl
