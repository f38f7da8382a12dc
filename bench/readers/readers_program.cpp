// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One call of one reader, measured in a process that did nothing before.
//
//   readers_program SUBJECT FILE ENTRIES SMALL-FILE FIRST MIDDLE LAST
//
// FILE holds ENTRIES entries, of which three are named; the look-ups read their policy's own file instead.
// SMALL-FILE, a process protection policy of one entry, is read beforehand, so that no subject pays for
// loading code. Prints what the call cost as a line of JSON; its instructions are those of measured_call().
#include "tests/differential/naive.h"
#include "tresk_extend.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>

namespace tresk::bench {
namespace {

struct Asked {
    std::string file;
    long entries;
    std::string first; ///< entries' names
    std::string middle;
    std::string last;
};

/// How many entries came of it.
using Call = long (*)(const Asked&);

template <class Count, class Reader>
long array_of(Reader reader)
{
    Count count = 0;
    auto* records = reader(&count);
    const bool there = records != nullptr;
    std::free(records);
    return there ? static_cast<long>(count) : -1;
}

template <class Record>
long record_of(Record* record)
{
    std::free(record);
    return record == nullptr ? -1 : 1;
}

long bare_reading(const Asked& asked)
{
    xmlDoc* document = xmlReadFile(asked.file.c_str(), "UTF-8", XML_PARSE_RECOVER);
    const bool read = document != nullptr;
    xmlFreeDoc(document);
    return read ? asked.entries : -1;
}

/// The records alone, as the kernel hands them out when asked for all of them at once.
template <class Record>
long zeroed_records(const Asked& asked)
{
    constexpr std::size_t page = 4096;
    const std::size_t bytes = static_cast<std::size_t>(asked.entries) * sizeof(Record);
    auto* records = static_cast<char*>(std::calloc(1, bytes));
    const std::size_t before = (page - reinterpret_cast<std::uintptr_t>(records) % page) % page;
    const std::size_t whole = bytes > before ? (bytes - before) / page * page : 0;
    if (whole == 0 || madvise(records + before, whole, MADV_POPULATE_WRITE) != 0) {
        for (std::size_t at = 0; at < bytes; at += page) {
            static_cast<volatile char*>(records)[at] = 0;
        }
    }
    std::free(records);
    return asked.entries;
}

constexpr std::uint32_t kUser = 1000;

long ppro_all(const Asked& asked)
{
    std::string file = asked.file;
    return array_of<int>([&](int* count) { return tresk_ppro_read_all_data_with_file(file.data(), count); });
}

long naive_ppro(const Asked& asked)
{
    test::Naive naive;
    return static_cast<long>(test::naive_ppro_all(naive, asked.file, 0).records.size());
}

struct Subject {
    const char* name;
    Call call;
    long expected; ///< 0: as many as there are entries
};

const Subject kSubjects[] = {
    {"nothing", [](const Asked& asked) { return asked.entries; }, 0},
    {"yardstick", bare_reading, 0},
    {"naive-ppro", naive_ppro, 0},
    {"zeroed-ppro", zeroed_records<ppro_node_info>, 0},
    {"zeroed-pblk", zeroed_records<pblk_node_info>, 0},
    {"zeroed-netctl", zeroed_records<netctl_node_info>, 0},
    {"zeroed-netctl-ext", zeroed_records<netctl_ext_node_info>, 0},
    {"zeroed-pkg", zeroed_records<netctl_pkg_node_info>, 0},
    {"ppro", ppro_all, 0},
    {"ppro-zdk",
     [](const Asked& asked) {
         return array_of<int>([&](int* count) {
             return tresk_ppro_read_all_data_with_file_zdk(asked.file.c_str(), count, 0, "");
         });
     },
     0},
    {"pblk",
     [](const Asked& asked) {
         return array_of<int>(
             [&](int* count) { return tresk_pblk_read_all_data_with_file(asked.file.c_str(), count); });
     },
     0},
    {"netctl",
     [](const Asked& asked) {
         return array_of<std::uint32_t>([&](std::uint32_t* count) {
             return tresk_netctl_read_all_data_with_uid_inner(kUser, asked.file.c_str(), count);
         });
     },
     0},
    {"netctl-ext",
     [](const Asked& asked) {
         return array_of<std::int32_t>([&](std::int32_t* count) {
             return tresk_netctl_ext_read_all_data_with_uid_inner(kUser, asked.file.c_str(), count);
         });
     },
     0},
    {"pkg",
     [](const Asked& asked) {
         return array_of<std::uint32_t>([&](std::uint32_t* count) {
             return tresk_netctl_pkg_read_all_data_with_uid_inner(kUser, asked.file.c_str(), count);
         });
     },
     0},
    {"ppro-first",
     [](const Asked& asked) { return record_of(tresk_ppro_read_node_with_path(asked.first.c_str())); }, 1},
    {"ppro-middle",
     [](const Asked& asked) { return record_of(tresk_ppro_read_node_with_path(asked.middle.c_str())); }, 1},
    {"ppro-last",
     [](const Asked& asked) { return record_of(tresk_ppro_read_node_with_path(asked.last.c_str())); }, 1},
    {"ppro-none", [](const Asked&) { return record_of(tresk_ppro_read_node_with_path("/etc")); }, -1},
    {"ppro-owner", [](const Asked&) { return static_cast<long>(tresk_ppro_check_in_sm("none")); }, -1},
    {"pblk-last",
     [](const Asked& asked) { return record_of(tresk_pblk_read_node_with_path(asked.last.c_str())); }, 1},
    {"netctl-last",
     [](const Asked& asked) { return record_of(tresk_netctl_read_node_with_uid(kUser, asked.last.c_str())); },
     1},
    {"netctl-ext-last",
     [](const Asked& asked) {
         return record_of(tresk_netctl_ext_read_node_with_uid(kUser, asked.last.c_str()));
     },
     1},
    {"pkg-last",
     [](const Asked& asked) {
         return record_of(tresk_netctl_pkg_read_node_with_uid(kUser, asked.last.c_str()));
     },
     1},
    {"bwlist-last",
     [](const Asked& asked) {
         return static_cast<long>(
             tresk_bwlist_select_by_rpm_name_zdk("white", asked.last.c_str(), 1, "vendor"));
     },
     1},
    // The verdict of both lists reads the file three times.
    {"bwlist-verdict",
     [](const Asked& asked) {
         return static_cast<long>(
             tresk_bwlist_select_by_rpm_name_zdk("bwlist", asked.last.c_str(), 3, nullptr));
     },
     2},
};

std::int64_t nanoseconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return std::int64_t{1'000'000'000} * now.tv_sec + now.tv_nsec;
}

/// The most memory that the process ever had, in KiB.
long peak_memory()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            long kib = 0;
            status >> kib;
            return kib;
        }
    }
    return -1;
}

long result;

} // namespace
} // namespace tresk::bench

/// A name for those who count instructions.
extern "C" __attribute__((noinline)) void measured_call(tresk::bench::Call call,
                                                        const tresk::bench::Asked& asked)
{
    tresk::bench::result = call(asked);
}

int main(int argc, char** argv)
{
    using namespace tresk::bench;
    if (argc != 8) {
        std::cerr << "readers_program SUBJECT FILE ENTRIES SMALL-FILE FIRST MIDDLE LAST\n";
        return 2;
    }
    const Asked asked{argv[2], std::atol(argv[3]), argv[5], argv[6], argv[7]};
    const Asked small{argv[4], 1, "", "", ""};
    if (ppro_all(small) != 1 || bare_reading(small) != 1) {
        return 2;
    }
    for (const Subject& subject : kSubjects) {
        if (std::strcmp(subject.name, argv[1]) != 0) {
            continue;
        }
        const std::int64_t wall = nanoseconds(CLOCK_MONOTONIC);
        const std::int64_t own = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
        measured_call(subject.call, asked);
        const std::int64_t own_end = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
        const std::int64_t wall_end = nanoseconds(CLOCK_MONOTONIC);
        std::printf("{\"own\": %ld, \"wall\": %ld, \"peak\": %ld}\n", static_cast<long>(own_end - own),
                    static_cast<long>(wall_end - wall), peak_memory());
        const long expected = subject.expected == 0 ? asked.entries : subject.expected;
        if (result != expected) {
            std::cerr << subject.name << ": " << result << " instead of " << expected << '\n';
            return 1;
        }
        return 0;
    }
    std::cerr << "no such subject: " << argv[1] << '\n';
    return 2;
}
