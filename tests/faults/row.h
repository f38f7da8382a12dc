// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the failure loops know of one exported function: a call that succeeds, and how its result and its
// outputs tell what came of it. Rows stand in rows_FAMILY.cpp; rows.cmake makes the list of all of them from
// the exported functions, so that a function without a row does not build.
#ifndef TRESK_TESTS_FAULTS_ROW_H
#define TRESK_TESTS_FAULTS_ROW_H

#include "common/handles.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tresk::test {

/// Failed: the stated failure value, and the outputs as they were. Complete: all of the work was done.
enum class Came { failed, complete, neither };

/// A method of the service and what it answers, as GVariant text.
struct Method {
    const char* name;
    const char* reply = "(int32 7,)";
};

/// What the methods answer that answer a number, and what a function returns then.
inline constexpr int kAnswer = 7;
/// An output's value that no call may leave there.
inline constexpr int kUnwritten = -7777;

struct Row {
    Came (*call)();
    std::vector<Method> methods = {}; ///< of the service, that the call asks; none: no bus is touched
    void (*prepare)() = nullptr;      ///< before each call, while nothing fails
    bool needs_service = true;        ///< else the call does its work also where the service fails it
    bool checks_reply = true;         ///< else any reply is one
    bool says_out_of_memory = true;   ///< errno is ENOMEM where memory failed the call
    bool cold_too = false;            ///< also tried as the first call of a process, fault by fault
    bool makes_policy = false;        ///< an empty one, where it is missing
};

/// An exported function with its row.
struct Entry {
    const char* function;
    const char* family;
    const Row* row;
};

/// All of them, in the order in which they are exported.
std::span<const Entry> entries();

/// Defines the row of the exported function @name.
#define FAULT_ROW(name)                                                                                      \
    static_assert(std::is_function_v<decltype(::name)>);                                                     \
    extern const Row name##_row;                                                                             \
    const Row name##_row

/// The code of a call that failed: -1011 for a fault on this side of the bus.
int& expected_code();

// --- what came of a call ---

constexpr Came verdict(bool complete, bool failed)
{
    return complete ? Came::complete : failed ? Came::failed : Came::neither;
}

/// By its result alone.
constexpr Came by_result(long result, long complete, long failed)
{
    return verdict(result == complete, result == failed);
}

/// A question to the service, whose failure code is the result.
inline Came by_answer_or_code(int result)
{
    return by_result(result, kAnswer, expected_code());
}

/// Also the scene was told @calls times.
inline Came by_result_and_scene(long result, long complete, long failed, std::size_t calls)
{
    return verdict(result == complete && framework().scene_calls.size() == calls, result == failed);
}

/// An edit of a policy, which tells the scene @calls times and then asks the service.
inline Came by_edit(int result, std::size_t calls)
{
    return by_result_and_scene(result, kAnswer, -1, calls);
}

/// A reader of many records: @is_last knows the last of @expected.
template <class Count, class Read, class IsLast>
Came by_array(Read read, int expected, IsLast is_last)
{
    auto count = static_cast<Count>(kUnwritten);
    auto* records = read(&count);
    const Malloced<void> owner(records);
    const bool complete =
        records != nullptr && count == static_cast<Count>(expected) && is_last(records[expected - 1]);
    return verdict(complete, records == nullptr && count == static_cast<Count>(kUnwritten));
}

template <class Record, class IsRight>
Came by_record(Record* record, IsRight is_right)
{
    const Malloced<Record> owner(record);
    return verdict(record != nullptr && is_right(*record), record == nullptr);
}

/// A text for the caller to free.
inline Came by_text(char* text, std::string_view expected)
{
    const Malloced<char> owner(text);
    return verdict(text != nullptr && text == expected, text == nullptr);
}

} // namespace tresk::test

#endif
