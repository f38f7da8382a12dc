// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Labels of many files, beside copying their paths as one list and the one call of the scene. The scene's
// function is this program's own, which comes before the stand-in's: it looks at each path and does nothing
// else.
#include "bench/library/contest.h"
#include "common/framework.h"
#include "common/handles.h"
#include "tresk_extend.h"

#include <malloc.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace tresk::bench {

namespace {

constexpr int kMost = 100'000;

std::size_t used_memory()
{
    const auto info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// What the scene saw of its last call.
struct Seen {
    std::size_t memory = 0;
    int paths = 0;
};

Seen& seen()
{
    static Seen one;
    return one;
}

/// The records of a batch, made once for all sizes.
const tresk_label_record* records()
{
    static const std::vector<tresk_label_record> made = [] {
        std::vector<tresk_label_record> all(kMost);
        for (int i = 0; i < kMost; ++i) {
            auto& record = all[static_cast<std::size_t>(i)];
            (void)std::snprintf(record.path, sizeof(record.path),
                                "/usr/lib/x86_64-linux-gnu/package%05d/program%06d", i / 20, i);
            std::strcpy(record.label, "readonly");
        }
        return all;
    }();
    return made.data();
}

std::size_t bytes_of_paths(int count)
{
    std::size_t bytes = 0;
    for (int i = 0; i < count; ++i) {
        bytes += std::strlen(records()[i].path) + 1;
    }
    return bytes;
}

void require_all_seen(int count)
{
    require(seen().paths == count, "the scene did not see every path");
}

void label_by_library(int count)
{
    require(tresk_protect_multi_set(records(), count) == count, "a batch failed");
    require_all_seen(count);
}

/// One piece of memory for the texts, one for the list.
void label_barely(int count)
{
    const auto many = static_cast<std::size_t>(count);
    const auto paths = std::make_unique_for_overwrite<char*[]>(many);
    const auto texts = std::make_unique_for_overwrite<char[]>(bytes_of_paths(count));
    char* at = texts.get();
    for (int i = 0; i < count; ++i) {
        paths[static_cast<std::size_t>(i)] = at;
        at = ::stpcpy(at, records()[i].path) + 1;
    }
    require(tresk_scene_filectl_multi_add_by_path(paths.get(), count) == 0, "the scene failed");
    require_all_seen(count);
}

void label_straight_on(int count)
{
    const auto many = static_cast<std::size_t>(count);
    const Malloced<char*> paths(static_cast<char**>(std::calloc(many, sizeof(char*))));
    for (std::size_t i = 0; i < many; ++i) {
        paths.get()[i] = ::strdup(records()[i].path);
    }
    require(tresk_scene_filectl_multi_add_by_path(paths.get(), count) == 0, "the scene failed");
    require_all_seen(count);
    for (std::size_t i = 0; i < many; ++i) {
        std::free(paths.get()[i]);
    }
}

Contest contest_of(int count, std::int64_t calls)
{
    Contest contest;
    contest.name = count < 10'000 ? "" : "labels, " + std::to_string(count) + " paths";
    contest.bound = 1.2;
    contest.series = "labels by paths";
    contest.size = count;
    contest.clock = Clock::thread;
    contest.calls = calls;
    contest.instructions_bound = count == 10'000 ? 1.2 : 0;
    contest.library = [count] { label_by_library(count); };
    contest.yardstick = [count] { label_barely(count); };
    contest.naive = [count] { label_straight_on(count); };
    return contest;
}

/// What the library holds while the scene works, in times of the texts and the list.
double memory_of(int count)
{
    const auto bare = static_cast<double>(bytes_of_paths(count)) + static_cast<double>(sizeof(char*)) * count;
    const std::size_t before = used_memory();
    label_by_library(count);
    require(used_memory() == before, "a batch keeps memory");
    return static_cast<double>(seen().memory - before) / bare;
}

} // namespace

Subject labels()
{
    return {
        "labels",
        {contest_of(100, 500), contest_of(1'000, 50), contest_of(10'000, 5), contest_of(100'000, 1)},
        {{"labels: memory, 10000 paths", "times", 1.2, [](bool /*quick*/) { return memory_of(10'000); }},
         {"labels: memory, 100000 paths", "times", 1.2, [](bool /*quick*/) { return memory_of(100'000); }}}};
}

} // namespace tresk::bench

extern "C" __attribute__((visibility("default"))) int tresk_scene_filectl_multi_add_by_path(char** paths,
                                                                                            int count)
{
    auto& seen = tresk::bench::seen();
    seen = {tresk::bench::used_memory(), 0};
    for (int i = 0; i < count; ++i) {
        seen.paths += paths[i][0] == '/' ? 1 : 0;
    }
    return 0;
}
