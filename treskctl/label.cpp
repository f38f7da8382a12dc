// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "label": what the scene does about files. One path goes through the library's call for one, which makes it
// absolute itself; more go through its call for many. That call tells of a list no more than that it failed,
// so the paths of such a list are tried one by one. What is so already counts as done either way.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/confirm.h"
#include "treskctl/path_commands.h"
#include "treskctl/path_list.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/shared_options.h"
#include "treskctl/simple_change.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <span>

namespace tresk::ctl {

namespace {

constexpr int kFailedSomehow = -1;
constexpr int kPresentAlready = -2;
constexpr int kNotPresent = -3;

struct LabelOptions {
    std::string word;
    PathList list;
    bool below = false;
    bool sm = false;
};

/// One of a verb's labels.
struct Label {
    const char* word;
    /// The library's label for one path; null where only its call for many does this.
    const char* for_one;
    const char* for_many;
    /// What is true of a path afterwards.
    const char* done;
    /// The scene library's code for what is so already.
    int done_before;
};

using Paths = std::span<const ListedPath>;

struct Verb {
    const char* name;
    const char* help;
    std::span<const Label> labels;
    /// The result for one path, as the library gives it.
    int (*set_one)(const LabelOptions& options, const Label& label, const char* path);
    /// 0 when all was done, else the scene library's code, or -1 where the library has none.
    int (*set_many)(Paths paths, const Label& label);
    /// The names of the functions for one path, and for many.
    const char* function_for_one;
    const char* function_for_many;
    void (*add_options)(CLI::App& command, LabelOptions& options);
};

// --- what the verbs call ---

/// Records of a batch. Every path fits: read_paths() saw to it.
template <class Record>
std::vector<Record> records_of(Paths paths)
{
    std::vector<Record> records(paths.size());
    for (std::size_t index = 0; index < paths.size(); ++index) {
        const std::string& path = paths[index].absolute;
        std::memcpy(records[index].path, path.c_str(), path.size() + 1);
    }
    return records;
}

std::vector<tresk_label_record> labelled(Paths paths, const Label& label)
{
    auto records = records_of<tresk_label_record>(paths);
    for (tresk_label_record& record : records) {
        std::memcpy(record.label, label.for_many, std::strlen(label.for_many) + 1);
    }
    return records;
}

int count_of(Paths paths)
{
    return static_cast<int>(paths.size());
}

/// The library's two calls that return how many were done.
int failed_unless_all(int done, Paths paths)
{
    return done == count_of(paths) ? 0 : std::min(done, kFailedSomehow);
}

int protect_one(const LabelOptions& options, const Label& label, const char* path)
{
    if (options.below) {
        return options.sm ? tresk_protect_set_for_dir_sm(path, label.for_one)
                          : tresk_protect_set_for_dir(path, label.for_one);
    }
    return options.sm ? tresk_protect_set_sm(path, label.for_one) : tresk_protect_set(path, label.for_one);
}

int protect_many(Paths paths, const Label& label)
{
    return failed_unless_all(tresk_protect_multi_set(labelled(paths, label).data(), count_of(paths)), paths);
}

int identify_one(const LabelOptions& /*options*/, const Label& label, const char* path)
{
    return tresk_identify_set(path, label.for_one);
}

int identify_many(Paths paths, const Label& label)
{
    return failed_unless_all(tresk_identify_multi_set(labelled(paths, label).data(), count_of(paths)), paths);
}

int execute_one(const LabelOptions& /*options*/, const Label& label, const char* path)
{
    return tresk_exectl_set(path, label.for_one);
}

int execute_many(Paths paths, const Label& label)
{
    return tresk_exectl_multi_set(labelled(paths, label).data(), count_of(paths));
}

int attribute_one(const LabelOptions& /*options*/, const Label& /*label*/, const char* path)
{
    return tresk_label_set(path);
}

int attribute_many(Paths paths, const Label& /*label*/)
{
    return tresk_exectl_multi_set_for_dpkg(records_of<tresk_dpkg_label_record>(paths).data(),
                                           count_of(paths));
}

void add_protect_options(CLI::App& command, LabelOptions& options)
{
    command.add_flag("-r,--recursive", options.below, "All files below each PATH that is a directory");
    command.add_flag("--sm", options.sm, "As the sm side");
}

void add_no_options(CLI::App& /*command*/, LabelOptions& /*options*/) {}

// --- the verbs ---

constexpr std::array kProtections = {
    Label{"readonly", "readonly", "readonly", "protected", kPresentAlready},
    Label{"verify", "verify", "verify", "protected", kPresentAlready},
    Label{"none", "none", "none", "unprotected", kNotPresent},
};

/// The library's "none" denies one path and frees many: two words here, whatever the number of paths.
constexpr std::array kIdentities = {
    Label{"secadm", "secadm", "secadm", "given to secadm", kPresentAlready},
    Label{"audadm", "audadm", "audadm", "given to audadm", kPresentAlready},
    Label{"deny", "none", "deny", "denied", kPresentAlready},
    Label{"free", nullptr, "none", "freed", kNotPresent},
};

constexpr Label listed(const char* word)
{
    return {word, word, word, "listed", kPresentAlready};
}

constexpr std::array kExecutions = {
    listed("original"),
    listed("verified"),
    listed("mesoft"),
    listed("parent"),
    listed("script"),
    listed("trusted"),
    Label{"unknown", "unknown", "unknown", "unlisted", kNotPresent},
};

constexpr std::array kAttributes = {Label{"", "", "", "labelled", 0}};

constexpr std::array kVerbs = {
    Verb{"protect", "Protect files, or end their protection", kProtections, protect_one, protect_many,
         "tresk_protect_set", "tresk_protect_multi_set", add_protect_options},
    Verb{"identify", "Deny paths to all users and give them to a role, or free them", kIdentities,
         identify_one, identify_many, "tresk_identify_set", "tresk_identify_multi_set", add_no_options},
    Verb{"exec", "Put files on the white list of execution control, or take them off", kExecutions,
         execute_one, execute_many, "tresk_exectl_set", "tresk_exectl_multi_set", add_no_options},
    Verb{"xattr", "Give files their execution label attribute", kAttributes, attribute_one, attribute_many,
         "tresk_label_set", "tresk_exectl_multi_set_for_dpkg", add_no_options},
};

// --- setting ---

bool has_words(const Verb& verb)
{
    return verb.labels.size() > 1;
}

const Label& label_of(const Verb& verb, const std::string& word)
{
    return *std::ranges::find_if(verb.labels, [&](const Label& label) { return word == label.word; });
}

bool is_done(const Label& label, int result)
{
    return result == 0 || result == label.done_before;
}

std::string scene_failed(int code)
{
    return "the scene library failed with code " + std::to_string(code);
}

Failure failure_of(int result, const std::string& path)
{
    if (result == kFailedSomehow) {
        return {Cause::NotFound, "there is no such file, or the scene library refused it", result, path,
                "Look at the path; of a refusal the framework's log has the reason."};
    }
    return {Cause::Scene, scene_failed(result), result, path, {}};
}

struct Setting {
    Run& run;
    const Verb& verb;
    const LabelOptions& options;
    const Label& label;
    SimpleChanges& results;

    /// Of most labels nobody tells what was there before.
    void note(const ListedPath& path, int result) const
    {
        if (result == 0) {
            results.note({label.done, path.given}, std::nullopt);
        } else if (is_done(label, result)) {
            results.leave({label.done, path.given}, path.given);
        } else {
            run.fail(failure_of(result, path.given));
        }
    }

    /// A directory is many files: one that is so already says nothing of the others.
    void set_below(const ListedPath& path) const
    {
        const int result = run.ask([&] { return verb.set_one(options, label, path.given.c_str()); });
        if (result == 0) {
            results.note({label.done, path.given}, std::nullopt);
        } else {
            run.fail(failure_of(result, path.given));
        }
    }

    void set_one(const ListedPath& path) const
    {
        note(path, run.ask([&] { return verb.set_one(options, label, path.given.c_str()); }));
    }

    [[nodiscard]] int ask_for(Paths paths) const
    {
        return run.ask([&] { return verb.set_many(paths, label); });
    }

    void set_many(Paths paths) const
    {
        const bool done = ask_for(paths) == 0;
        for (const ListedPath& path : paths) {
            note(path, done ? 0 : ask_for({&path, 1}));
        }
    }

    /// The call's text names the function and what it is given of this path.
    void show(Paths paths, const char* function, bool in_one_call) const
    {
        for (const ListedPath& path : paths) {
            const std::string argument = c_literal(in_one_call ? path.absolute : path.given);
            const std::string word =
                label.for_many == std::string_view() ? "" : ", " + c_literal(label.for_many);
            const std::string text =
                in_one_call ? "({" + argument + word + "}, ...)" : "(" + argument + word + ")";
            (void)results.is_only_shown({label.done, path.given}, {function + text, nullptr});
        }
    }

    void set_part(Paths paths, bool alone) const
    {
        const bool one_by_one = options.below || (label.for_one != nullptr && (alone || options.sm));
        if (run.settings().dry_run) {
            show(paths,
                 options.below ? "tresk_protect_set_for_dir"
                 : one_by_one  ? verb.function_for_one
                               : verb.function_for_many,
                 !one_by_one);
        } else if (options.below) {
            std::ranges::for_each(paths, [&](const ListedPath& path) { set_below(path); });
        } else if (one_by_one) {
            std::ranges::for_each(paths, [&](const ListedPath& path) { set_one(path); });
        } else {
            set_many(paths);
        }
    }
};

void set(Run& run, const Verb& verb, const LabelOptions& options)
{
    SimpleChanges results(run, {"result", "path"});
    const auto paths = read_paths(run, options.list);
    if (!paths) {
        return;
    }
    const Setting setting{run, verb, options, label_of(verb, options.word), results};
    for_each_part(*paths, [&](Paths part) {
        setting.set_part(part, paths->size() == 1);
        return !run.stopping();
    });
}

void add_verb(CLI::App& group, Run& run, const Verb& verb)
{
    const auto options = std::make_shared<LabelOptions>();
    CLI::App* const command =
        add_command(group, run, verb.name, verb.help, [&run, &verb, options] { set(run, verb, *options); });
    if (has_words(verb)) {
        std::vector<std::string> words;
        std::ranges::transform(verb.labels, std::back_inserter(words), &Label::word);
        add_choice(*command, "LABEL", options->word, words, "What is to be done");
    }
    add_path_list(*command, options->list, "Paths");
    verb.add_options(*command, *options);
}

// --- the rest ---

/// The library goes through its list of files, and stops at the first that it cannot free.
std::optional<Failure> failure_of_clearing(const Answer<int>& answer)
{
    if (answer.result == 0) {
        return std::nullopt;
    }
    return Failure{Cause::Scene,
                   scene_failed(answer.result) + "; files before the one that stays are free",
                   answer.result,
                   {},
                   {}};
}

void clear_protection(Run& run)
{
    SimpleChanges results(run, {"protection"});
    if (confirm(run, "end the protection of all files")) {
        results.make({"cleared"}, TRESKCTL_CALL(tresk_fpro_clear_policy_zdk), {}, {}, failure_of_clearing);
    }
}

void show_numbers(Run& run, const std::vector<std::string>& words)
{
    Table& table = run.table("labels", {"number", "label"});
    for (const std::string& word : words) {
        const int number = run.ask([&] { return tresk_convert_exectl_label_to_label_type(word.c_str()); });
        table.rows.push_back({number, word});
    }
}

} // namespace

void add_label_commands(CLI::App& app, Run& run)
{
    CLI::App* const label = add_group(app, "label", "File labels");
    for (const Verb& verb : kVerbs) {
        add_verb(*label, run, verb);
    }
    add_command(*label, run, "clear", "End the protection of all files", [&run] { clear_protection(run); });

    add_texts_command(*label, run, "number", "Show the numbers by which the kernel knows execution labels",
                      "LABEL", "Execution labels; any other text has the number of \"unknown\"",
                      show_numbers);
}

} // namespace tresk::ctl
