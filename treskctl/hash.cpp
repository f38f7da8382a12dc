// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "hash": the hashes of files, which the service computes or has stored. The library tells of a list that
// failed no more than that; its paths are then asked for one by one, so that one file without a hash costs
// the others nothing.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/path_list.h"
#include "treskctl/printable.h"
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
};

constexpr std::array kKinds = {
    HashKind{"calc", "Have the service compute the hashes of files", tresk_calc_file_hash_value,
             tresk_calc_multi_file_hash_value},
    HashKind{"show", "Ask the service for the stored hashes of files", tresk_get_file_hash_value,
             tresk_get_multi_file_hash_value},
};

Malloced<char> hash_of(Run& run, const HashKind& kind, const ListedPath& path)
{
    return run.ask([&] { return Malloced<char>(kind.one(path.absolute.c_str())); });
}

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
            run.fail({Cause::NotFound,
                      "no hash; the framework's log has the reason where there is one",
                      {},
                      path.given});
        }
    }

    /// False when the service cannot be asked at all.
    [[nodiscard]] bool ask_for_one(const ListedPath& path) const
    {
        const auto hash = hash_of(run, kind, path);
        if (auto failure = hash ? std::nullopt : probe_service(run)) {
            run.fail(std::move(*failure));
            return false;
        }
        note(path, hash.get());
        return true;
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

/// The service's calls carry only UTF-8, and one other text would spoil the whole list.
std::vector<ListedPath> sendable(Run& run, std::vector<ListedPath> paths)
{
    std::erase_if(paths, [&](const ListedPath& path) {
        if (is_utf8(path.absolute)) {
            return false;
        }
        Failure failure = not_utf8();
        failure.subject = path.given;
        run.fail(std::move(failure));
        return true;
    });
    return paths;
}

void show_hashes(Run& run, const HashKind& kind, const PathList& list)
{
    Table& table = run.table("hashes", {"hash", "path"});
    if (auto paths = read_paths(run, list)) {
        const Asking asking{run, kind, table};
        const auto sent = sendable(run, std::move(*paths));
        for_each_part(sent, [&](Paths part) { return asking.ask_for(part); });
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
