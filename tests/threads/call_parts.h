// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the rows of the tables of calls are made of: what they work on, and what came of a call as text.
#ifndef TRESK_TESTS_THREADS_CALL_PARTS_H
#define TRESK_TESTS_THREADS_CALL_PARTS_H

#include "common/handles.h"
#include "tests/threads/calls.h"
#include "tresk_extend.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace tresk::test {

// --- what the calls are about; the first of each is kept ---

struct Program {
    const char* path;
    const char* hash; ///< SHA-256 of the path
};

inline constexpr Program kPrograms[] = {
    {"/data/programs/kept", "53cb0f53cab4dbe2cbcfdc6cc3733e2e91fef5d4a130ec3d40344af222837e55"},
    {"/data/programs/one", "0272f19acb39ba18ca612b1ed413ecd0715d9347fdc1571c0bc438dc141ed636"},
    {"/data/programs/two", "67607f97016d624be08253c94063bfd342eeebe5c1b02504c01fb7164791ffca"},
    {"/data/programs/three", "37cbf58e337a689473f1f4105cf23347a0ecbfa132109a9d93d3173678a588c9"},
};
inline constexpr const Program& kKeptProgram = kPrograms[0];

/// Each program's content, and its SHA-256.
inline constexpr char kContent[] = "content\n";
inline constexpr std::string_view kContentHash =
    "434728a410a78f56fc1b5899c3593436e61ab0c731e9072d95e96db290205e53";

inline constexpr const char* kPackages[] = {"package-kept", "package-one", "package-two", "package-three"};
inline constexpr const char* kNetworks[] = {"network-kept", "network-one", "network-two"};

inline constexpr std::uint32_t kKeptDeviceType = 6;
inline constexpr std::uint32_t kKeptProduct = 9;
inline constexpr std::uint32_t kKeptVendor = 9;

inline constexpr char kFolder[] = "/data/labelled";
/// Data sources of the entries that are kept and of those that come and go.
inline constexpr char kKeptSource[] = "kept";
inline constexpr char kSource[] = "source";
inline constexpr int kSourceType = 5;
inline constexpr std::uint32_t kUser = 0;

inline int between(Random& random, int first, int last)
{
    return std::uniform_int_distribution<int>(first, last)(random);
}

template <class T>
const T& one_of(Random& random, std::span<const T> all)
{
    return all[static_cast<std::size_t>(between(random, 0, static_cast<int>(all.size()) - 1))];
}

inline const Program& any_program(Random& random)
{
    return one_of<Program>(random, kPrograms);
}

/// One that is not kept.
inline const char* passing_program(Random& random)
{
    return one_of<Program>(random, std::span(kPrograms).subspan(1)).path;
}

inline const char* any_package(Random& random)
{
    return one_of<const char*>(random, kPackages);
}

inline const char* passing_package(Random& random)
{
    return one_of<const char*>(random, std::span(kPackages).subspan(1));
}

/// For functions that may write into their argument.
inline std::string copy(const char* text)
{
    return text;
}

// --- what came of a call ---

inline std::string shown(std::int64_t number)
{
    return std::to_string(number);
}

inline std::string right(bool is_right)
{
    return is_right ? "right" : "wrong";
}

inline bool is_hash(std::string_view text)
{
    return text.size() == 64 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

inline std::string hash_shown(char* text)
{
    const Malloced<char> owner(text);
    return owner ? right(is_hash(owner.get())) : "none";
}

inline bool is_program(const char* path)
{
    return std::any_of(std::begin(kPrograms), std::end(kPrograms),
                       [path](const Program& one) { return std::strcmp(one.path, path) == 0; });
}

/// Whether a record's hash is its path's.
inline bool belong_together(const char* path, const char* hash)
{
    return std::any_of(std::begin(kPrograms), std::end(kPrograms), [path, hash](const Program& one) {
        return std::strcmp(one.path, path) == 0 && std::strcmp(one.hash, hash) == 0;
    });
}

/// What a listing gave: "whole" where each record @fits and one @is_kept.
template <class Record, class Count, class Fits, class IsKept>
std::string listed(Record* given, Count count, Fits fits, IsKept is_kept)
{
    const Malloced<Record> owner(given);
    if (!owner) {
        return "none";
    }
    const std::span<const Record> records(owner.get(), static_cast<std::size_t>(count));
    if (!std::all_of(records.begin(), records.end(), fits)) {
        return "torn";
    }
    return std::any_of(records.begin(), records.end(), is_kept) ? "whole" : "lost";
}

/// What a look-up gave that may find nothing unless it was for what is kept.
template <class Record, class Fits>
std::string looked_up(Record* given, bool must_be_there, Fits fits)
{
    const Malloced<Record> owner(given);
    if (!owner) {
        return must_be_there ? "lost" : "none";
    }
    return fits(*owner) ? "whole" : "torn";
}

template <class Record>
Malloced<Record> zeroed(std::size_t count = 1)
{
    return Malloced<Record>(static_cast<Record*>(std::calloc(count, sizeof(Record))));
}

} // namespace tresk::test

#endif
