// SPDX-License-Identifier: LGPL-2.1-or-later
//
// treskctl: the framework's policies on the command line, through the library's public functions alone.
#include "treskctl/commands.h"
#include "treskctl/nearest.h"
#include "treskctl/streams.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace tresk::ctl {

namespace {

/// An object, or a command over all of them, and what adds it.
struct Object {
    std::string_view name;
    void (*add)(CLI::App& app, Run& run);
};

/// In the order in which the help shows them.
constexpr std::array kObjects = {
    Object{"status", add_status_commands}, Object{"module", add_module_commands},
    Object{"conf", add_conf_commands},     Object{"ppro", add_ppro_commands},
    Object{"netctl", add_netctl_commands}, Object{"pkg", add_pkg_commands},
    Object{"pblk", add_pblk_commands},     Object{"bwlist", add_bwlist_commands},
    Object{"device", add_device_commands}, Object{"wireless", add_wireless_commands},
    Object{"label", add_label_commands},   Object{"hash", add_hash_commands},
    Object{"kmod", add_kmod_commands},     Object{"user", add_user_commands},
    Object{"notify", add_notify_commands}, Object{"export", add_export_command},
    Object{"diff", add_diff_command},      Object{"apply", add_apply_command},
    Object{"verify", add_verify_command},  Object{"explain", add_explain_command},
    Object{"doctor", add_doctor_command},  Object{"", add_reference_commands},
};

using Words = std::span<char*>;

/// What a line that is right most likely needs: the object that it names first, or nothing for the version
/// alone. Most of a short run's time would go into the others.
std::optional<std::span<const Object>> likely_objects(Words words)
{
    if (words.size() == 2 && words[1] == std::string_view("--version")) {
        return std::span<const Object>();
    }
    for (const std::string_view word : words.subspan(1)) {
        if (word.empty() || word == "--") {
            break;
        }
        const auto* const found = std::ranges::find(kObjects, word, &Object::name);
        if (found != kObjects.end()) {
            return std::span(found, 1);
        }
    }
    return std::nullopt;
}

void configure(CLI::App& app, Run& run, std::span<const Object> objects)
{
    // Options of treskctl itself may stand anywhere in the line.
    app.fallthrough();
    app.require_subcommand(1);
    app.footer("Exit status: 0 done or yes, 1 no or different, 2 wrong usage; the manual has all.");
    app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
    app.set_version_flag("--version", std::string("treskctl ") + TRESKCTL_VERSION);
    add_settings(app, run.settings());
    for (const Object& object : objects) {
        object.add(app, run);
    }
}

/// The reading of a wrong line ends before its options take effect.
Form form_asked_for(Words words)
{
    for (const std::string_view word : words) {
        if (word == "--") {
            break;
        }
        if (word == "--json" || word == "--json=pretty") {
            return Form::JsonPretty;
        }
        if (word == "--json=short") {
            return Form::JsonShort;
        }
    }
    return Form::People;
}

/// The command as far as it was understood.
CLI::App& deepest(CLI::App& app)
{
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    return chosen.empty() ? app : deepest(*chosen.front());
}

/// The argument that takes any number of names; null where the command has none.
CLI::Option* names_of(CLI::App& command)
{
    const std::vector<CLI::Option*> many = command.get_options(
        [](const CLI::Option* option) { return option->get_positional() && option->get_expected_max() > 1; });
    return many.empty() ? nullptr : many.back();
}

void add_option_names(std::vector<std::string>& names, const CLI::App& app)
{
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
}

/// The words that could stand where @word stands.
std::vector<std::string> words_instead_of(CLI::App& app, const std::string& word)
{
    const CLI::App& command = deepest(app);
    std::vector<std::string> words;
    if (word.starts_with('-')) {
        add_option_names(words, command);
        add_option_names(words, app);
    } else {
        for (const CLI::App* one :
             command.get_subcommands([](const CLI::App* below) { return !below->get_group().empty(); })) {
            words.push_back(one->get_name());
        }
    }
    return words;
}

/// What is wrong with a value, in other words than the parser's "Could not convert: NAME = VALUE".
std::string message_of_value(CLI::App& app, const std::string& message)
{
    constexpr std::string_view prefix = "Could not convert: ";
    constexpr std::string_view sign = " = ";
    const std::size_t middle = message.find(sign);
    if (!message.starts_with(prefix) || middle == std::string::npos) {
        return message;
    }
    const std::string name = message.substr(prefix.size(), middle - prefix.size());
    const CLI::Option* const own = deepest(app).get_option_no_throw(name);
    const CLI::Option* const option = own != nullptr ? own : app.get_option_no_throw(name);
    const bool flag = option != nullptr && option->get_expected_max() == 0;
    return name + (flag ? ": it takes no value"
                        : ": \"" + message.substr(middle + sign.size()) + "\" is no number that it takes");
}

/// A word where a command should be leaves the parser without a command and the word unused.
std::string message_of(CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> unused = app.remaining(true);
    const bool about_unused = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr ||
                              dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    if (unused.empty() && !deepest(app).get_subcommands({}).empty()) {
        return "no command is given; there are " + CLI::detail::join(words_instead_of(app, ""), ", ");
    }
    if (!about_unused || unused.empty()) {
        return message_of_value(app, error.what());
    }
    const std::string& word = unused.front();
    const std::vector<std::string> instead = words_instead_of(app, word);
    const char* kind = word.starts_with('-') ? "there is no option \""
                       : instead.empty()     ? "one argument too many: \""
                                             : "there is no command \"";
    return kind + word + "\"" + did_you_mean(word, instead);
}

/// Help and version are no errors, though the parser throws them.
int report_usage(CLI::App& app, Run& run, const CLI::ParseError& error)
{
    if (error.get_exit_code() != 0) {
        return run.refuse({Cause::Usage, message_of(app, error), {}, {}, {}}, deepest(app));
    }
    std::ostringstream text;
    (void)app.exit(error, text, text);
    nlohmann::ordered_json document = head_of("");
    document["help"] = text.str();
    run.answer_with(run.settings().json() ? written(document, run.settings()) : text.str());
    return run.end();
}

/// A flag that is given a value it cannot mean ("--strict=x") is the parser's only complaint of another type.
void parse(CLI::App& app, int argc, char** argv)
{
    try {
        app.parse(argc, argv);
    } catch (const std::invalid_argument&) {
        throw CLI::ArgumentMismatch("a flag takes no value");
    }
}

int perform(Run& run)
{
    try {
        return run.perform();
    } catch (const WrongUsage& error) {
        return run.refuse({Cause::Usage, error.what(), {}, {}, {}});
    } catch (const CLI::ParseError& error) {
        return run.refuse({Cause::Usage, error.what(), {}, {}, {}});
    } catch (const std::exception& error) {
        return run.refuse({Cause::Internal, error.what(), {}, {}, {}});
    }
}

/// Runs the line where these objects are enough for it; nothing else is done.
std::optional<int> run_with(std::span<const Object> objects, Words words)
{
    CLI::App app("Administer the tresk security framework", "treskctl");
    Run run;
    try {
        configure(app, run, objects);
        parse(app, static_cast<int>(words.size()), words.data());
    } catch (const CLI::Success& success) {
        return success.get_name() == "CallForVersion" ? std::optional(report_usage(app, run, success))
                                                      : std::nullopt;
    } catch (const std::exception&) {
        return std::nullopt; // the complete command line knows what to say about it
    }
    return perform(run);
}

constexpr std::string_view kOnlyNames = "--";

/// The words before and after the sign that no options follow.
struct SplitLine {
    Words before;
    Words names;
};

SplitLine split_at_names(Words words)
{
    const auto sign =
        std::ranges::find(words, kOnlyNames, [](const char* word) { return std::string_view(word); });
    const auto length = static_cast<std::size_t>(sign - words.begin());
    return {words.first(length), words.subspan(std::min(length + 1, words.size()))};
}

/// The parser overlooks that an argument which has one name already may take more behind the sign.
bool add_names(CLI::App& app, Words names)
{
    CLI::Option* const argument = names_of(deepest(app));
    if (argument == nullptr || names.empty()) {
        return false;
    }
    for (const char* name : names) {
        argument->add_result(name);
    }
    argument->run_callback();
    return true;
}

/// Runs the line, or nothing where it has names behind the sign that do not fit behind what is before it.
std::optional<int> run_with_names(const SplitLine& line)
{
    CLI::App app("", "treskctl");
    Run run;
    try {
        configure(app, run, kObjects);
        parse(app, static_cast<int>(line.before.size()), line.before.data());
        if (!add_names(app, line.names)) {
            return std::nullopt;
        }
    } catch (const std::exception&) {
        return std::nullopt; // the whole line knows what to say about it
    }
    return perform(run);
}

int run_complete(Words words)
{
    CLI::App app("Administer the tresk security framework", "treskctl");
    Run run;
    try {
        configure(app, run, kObjects);
        run.settings().form = form_asked_for(words);
        parse(app, static_cast<int>(words.size()), words.data());
    } catch (const CLI::ParseError& error) {
        const auto status = run_with_names(split_at_names(words));
        return status ? *status : report_usage(app, run, error);
    } catch (const WrongUsage& error) {
        return run.refuse({Cause::Usage, error.what(), {}, {}, {}}, deepest(app));
    } catch (const std::exception& error) {
        return run.refuse({Cause::Internal, error.what(), {}, {}, {}}, deepest(app));
    }
    return perform(run);
}

int run_command_line(Words words)
{
    const auto likely = likely_objects(words);
    const auto status = likely ? run_with(*likely, words) : std::nullopt;
    return status ? *status : run_complete(words);
}

} // namespace

} // namespace tresk::ctl

int main(int argc, char** argv)
{
    try {
        tresk::ctl::keep_streams();
        return tresk::ctl::run_command_line({argv, static_cast<std::size_t>(argc)});
    } catch (...) {
        // Not even the failure could be told: no memory is left.
        return tresk::ctl::exit_status_of(tresk::ctl::Cause::Internal);
    }
}
