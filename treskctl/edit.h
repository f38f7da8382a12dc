// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Edits of policies: commands that take one or more subjects (paths, packages) and the options of their
// family, and go on after a subject that failed. A family says what differs in tables; @Options is its
// options, which hold the subjects as "subjects".
#ifndef TRESK_TRESKCTL_EDIT_H
#define TRESK_TRESKCTL_EDIT_H

#include "treskctl/run.h"
#include "treskctl/shared_options.h"

#include <array>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

namespace tresk::ctl {

/// What most edits return for every failure; the reason is in the framework's log alone.
inline constexpr int kFailedSomehow = -1;

/// What some additions return when the scene library has the subject; the service was not asked then.
inline constexpr int kInScene = 1;

/// How one edit of a policy ended, from the library's result and what it printed.
/// @answer: the edit's result; must not be 0
/// @texts: what was to be sent
Failure failure_of_edit(Run& run, const Heard<int>& answer, std::initializer_list<std::string_view> texts);

/// What the edits of a family have in common.
template <class Options>
struct EditFamily {
    /// The subjects' JSON key.
    const char* field;
    /// The subjects as argument.
    const char* argument;
    const char* help;
    /// What an edit's result other than 0 means.
    Failure (*failure)(Run& run, const Heard<int>& answer, const Options& options,
                       const std::string& subject);
    /// Whether the policy has the subject; for families whose edits have a word for it.
    bool (*has)(const Options& options, const std::string& subject);
    /// What fits of a subject, in bytes.
    std::size_t longest = kLongestText;
};

template <class Options>
struct Edit {
    const char* name;
    const char* help;
    int (*call)(const Options& options, const std::string& subject);
    /// What is true of a subject afterwards.
    const char* done;
    /// What was true of it before when the result is kInScene; null where that result has no meaning.
    const char* done_before;
    void (*add_options)(CLI::App& command, Options& options);
};

/// That the scene has a subject does not mean that the service's policy has it: an earlier addition may have
/// been refused between the two. The question is our own, so what the library says about it is no news.
template <class Options>
const char* word_for_known(const EditFamily<Options>& family, const Edit<Options>& edit,
                           const Options& options, const std::string& subject)
{
    const bool has = listen_to([&] { return family.has(options, subject); }).result;
    return has ? edit.done_before : "already in scene";
}

template <class Options>
void edit_one(Run& run, Table& results, const EditFamily<Options>& family, const Edit<Options>& edit,
              const Options& options, const std::string& subject)
{
    const Heard<int> answer = run.hear([&] { return edit.call(options, subject); });
    if (answer.result == 0) {
        results.rows.push_back({edit.done, subject});
    } else if (edit.done_before != nullptr && answer.result == kInScene) {
        results.rows.push_back({word_for_known(family, edit, options, subject), subject});
    } else {
        Failure failure = family.failure(run, answer, options, subject);
        failure.subject = subject;
        run.fail(std::move(failure));
    }
}

template <class Options>
void edit_all(Run& run, const EditFamily<Options>& family, const Edit<Options>& edit, const Options& options)
{
    Table& results = run.table("results", {"result", family.field});
    for (const std::string& subject : options.subjects) {
        edit_one(run, results, family, edit, options, subject);
    }
}

/// Adds one edit's command. @family and @edit live as long as the program.
template <class Options>
void add_edit(CLI::App& object, Run& run, const EditFamily<Options>& family, const Edit<Options>& edit)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const command = add_command(object, run, edit.name, edit.help, [&run, &family, &edit, options] {
        edit_all(run, family, edit, *options);
    });
    edit.add_options(*command, *options);
    command->add_option(family.argument, options->subjects, family.help)
        ->required()
        ->check(at_most(family.longest));
}

template <class Options, std::size_t count>
void add_edits(CLI::App& object, Run& run, const EditFamily<Options>& family,
               const std::array<Edit<Options>, count>& edits)
{
    for (const Edit<Options>& edit : edits) {
        add_edit(object, run, family, edit);
    }
}

} // namespace tresk::ctl

#endif
