// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "verify": the policy files, read strictly. The library's readers forgive: what they would skip, cut or
// misread is told with its place.
#include "treskctl/commands.h"
#include "treskctl/nearest.h"
#include "treskctl/policy/judged_files.h"

#include <algorithm>
#include <memory>

namespace tresk::ctl {

namespace {

std::vector<std::string> objects_of(const std::vector<JudgedFile>& files)
{
    std::vector<std::string> objects;
    for (const JudgedFile& file : files) {
        if (std::ranges::find(objects, file.object) == objects.end()) {
            objects.push_back(file.object);
        }
    }
    return objects;
}

/// Those of the named objects; all where none is named.
std::vector<JudgedFile> chosen_files(const std::vector<std::string>& words)
{
    std::vector<JudgedFile> files = judged_files();
    const std::vector<std::string> objects = objects_of(files);
    for (const std::string& word : words) {
        if (std::ranges::find(objects, word) == objects.end()) {
            throw WrongUsage("no file holds the policy of \"" + word + "\"" + did_you_mean(word, objects));
        }
    }
    std::erase_if(files, [&](const JudgedFile& file) {
        return !words.empty() && std::ranges::find(words, file.object) == words.end();
    });
    return files;
}

Failure what_is_wrong(std::size_t problems, std::size_t files)
{
    return {Cause::Policy,
            std::to_string(problems) + (problems == 1 ? " problem in " : " problems in ") +
                std::to_string(files) + (files == 1 ? " file" : " files"),
            {},
            {},
            "Correct the files, or remove the entries and add them again; \"list\" shows what is read of "
            "them now."};
}

void verify(Run& run, const std::vector<std::string>& words)
{
    Table& table = run.table("problems", {"place", "problem"});
    std::size_t wrong_files = 0;
    for (const JudgedFile& file : chosen_files(words)) {
        const Reading reading = run.ask([&] { return file.judge(run.settings().root); });
        const std::vector<Problem> problems = problems_in(reading);
        wrong_files += problems.empty() ? 0U : 1U;
        for (const Problem& problem : problems) {
            table.rows.push_back({text_of(problem.place), problem.text});
        }
    }
    if (wrong_files > 0) {
        run.fail(what_is_wrong(table.rows.size(), wrong_files));
    }
}

} // namespace

void add_verify_command(CLI::App& app, Run& run)
{
    const auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* const command =
        add_command(app, run, "verify", "Tell what in the policy files would be skipped, cut or misread",
                    [&run, words] { verify(run, *words); });
    run.honour_root(*command);
    command->add_option("OBJECT", *words, "Objects whose files to look at; all if none is named");
}

} // namespace tresk::ctl
