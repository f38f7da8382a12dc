// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "hash": the hashes of files, which the service computes or has stored. The library tells of a list that
// failed no more than that; its paths are then asked for one by one, so that one file without a hash costs
// the others nothing.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/path_list.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/service_answer.h"

#include <array>
#include <memory>

namespace tresk::ctl {

namespace {

using Paths = std::span<const ListedPath>;
using Hashes = std::vector<Malloced<char>>;

struct HashKind {
    const char* name;
    const char* help;
    char* (*one)(const char* path);
    char** (*many)(const char* const* paths, int count);
    /// Whether the service stores what it computes, so that a dry run must not ask it to; and the function
    /// then.
    const char* storing;
    /// What to do about a file without a hash.
    const char* advice;
};

constexpr std::array kKinds = {
    HashKind{"calc", "Have the service compute the hashes of files", tresk_calc_file_hash_value,
             tresk_calc_multi_file_hash_value, "tresk_calc_multi_file_hash_value",
             "Look whether it is a file, and may be read."},
    HashKind{"show", "Ask the service for the stored hashes of files", tresk_get_file_hash_value,
             tresk_get_multi_file_hash_value, nullptr, "\"hash calc\" has one computed and stored."},
};

/// The hashes of @paths in one call; none when it failed.
Hashes hashes_of(Run& run, const HashKind& kind, Paths paths)
{
    std::vector<const char*> texts;
    std::ranges::transform(paths, std::back_inserter(texts),
                           [](const ListedPath& path) { return path.absolute.c_str(); });
    const Malloced<char*> found(
        run.ask([&] { return kind.many(texts.data(), static_cast<int>(texts.size())); }));
    Hashes hashes;
    if (found) {
        std::ranges::transform(std::span(found.get(), texts.size()), std::back_inserter(hashes),
                               [](char* hash) { return Malloced<char>(hash); });
    }
    return hashes;
}

struct Asking {
    Run& run;
    const HashKind& kind;
    Table& table;

    void note(const ListedPath& path, const char* hash) const
    {
        if (hash != nullptr && *hash != '\0') {
            table.rows.push_back({std::string(hash), path.given});
        } else {
            run.fail({Cause::NotFound, "there is no hash", {}, path.given, kind.advice});
        }
    }

    /// False when the service cannot be asked at all.
    [[nodiscard]] bool ask_for_one(const ListedPath& path) const
    {
        const auto hash = run.hear([&] { return Malloced<char>(kind.one(path.absolute.c_str())); });
        if (!hash.recorded) {
            note(path, hash.result.get());
            return true;
        }
        Failure failure = failure_of_record(*hash.recorded);
        failure.subject = path.given;
        const bool unreachable = failure.cause == Cause::Unreachable;
        run.fail(std::move(failure));
        return !unreachable;
    }

    [[nodiscard]] bool ask_for(Paths paths) const
    {
        const Hashes hashes = paths.size() > 1 ? hashes_of(run, kind, paths) : Hashes();
        for (std::size_t index = 0; index < hashes.size(); ++index) {
            note(paths[index], hashes[index].get());
        }
        return !hashes.empty() ||
               std::ranges::all_of(paths, [&](const auto& path) { return ask_for_one(path); });
    }
};

void show_hashes(Run& run, const HashKind& kind, const PathList& list)
{
    const bool only_shown = kind.storing != nullptr && run.settings().dry_run;
    const std::vector<std::string> fields = {"hash", "path", "call"};
    Table& table = run.table("hashes", {fields.begin(), fields.end() - (only_shown ? 0 : 1)});
    const auto paths = read_paths(run, list);
    if (paths && only_shown) {
        std::ranges::transform(*paths, std::back_inserter(table.rows), [&](const ListedPath& path) {
            return Row{Value(), path.given, kind.storing + ("({" + c_literal(path.absolute) + "}, ...)")};
        });
    } else if (paths) {
        const Asking asking{run, kind, table};
        for_each_part(*paths, [&](Paths part) { return !run.stopping() && asking.ask_for(part); });
    }
}

} // namespace

void add_hash_commands(CLI::App& app, Run& run)
{
    CLI::App* const hash = add_group(app, "hash", "Hashes of files");
    for (const HashKind& kind : kKinds) {
        const auto list = std::make_shared<PathList>();
        add_path_list(*add_command(*hash, run, kind.name, kind.help,
                                   [&run, &kind, list] { show_hashes(run, kind, *list); }),
                      *list, "Files");
    }
}

} // namespace tresk::ctl
