// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Calls of exported functions, made from the functions' own types: a text for each argument that takes one,
// one number for all others, and what is returned is released.
#ifndef TRESK_TESTS_HOSTILE_CALLS_H
#define TRESK_TESTS_HOSTILE_CALLS_H

#include "common/handles.h"
#include "tresk_extend.h"

#include <gio/gio.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace tresk::test {

/// As many records as the largest number that is handed over as a count.
inline constexpr std::size_t kRecords = 2;

/// What one call gets: a text for each argument that takes one, in order, and one number for all others.
struct Given {
    std::vector<std::string> texts;
    int number;
    std::size_t next = 0;

    const std::string& take() { return texts.at(next++); }
};

/// An argument of one call, owned while it is made; get() is asked where it lies then.
template <class Type>
struct Argument {
    static_assert(std::is_integral_v<Type>, "say what this argument is");

    explicit Argument(Given& given) : number(static_cast<Type>(given.number)) {}

    Type get() const { return number; }

    Type number;
};

template <class Count>
requires std::is_integral_v<Count>

struct Argument<Count*> {
    explicit Argument(Given& /*given*/) {}

    Count* get() { return &count; }

    Count count = 0;
};

template <>
struct Argument<char*> {
    explicit Argument(Given& given) : text(given.take()) {}

    char* get() { return text.data(); }

    std::string text;
};

template <>
struct Argument<const char*> {
    explicit Argument(Given& given) : text(given.take()) {}

    const char* get() const { return text.c_str(); }

    std::string text;
};

/// Bytes that come with their number.
template <>
struct Argument<const void*> {
    explicit Argument(Given& given) : text(given.take()) { text.resize(std::max(text.size(), kRecords)); }

    const void* get() const { return text.data(); }

    std::string text;
};

template <>
struct Argument<const char* const*> {
    explicit Argument(Given& given) : text(given.take()) {}

    const char* const* get()
    {
        texts.assign(kRecords, text.c_str());
        return texts.data();
    }

    std::string text;
    std::vector<const char*> texts;
};

template <>
struct Argument<GVariant*> {
    explicit Argument(Given& /*given*/) {}

    static GVariant* get() { return nullptr; }
};

template <std::size_t Size>
void fill(char (&field)[Size], const std::string& text)
{
    // Also without a terminator: a record of a caller's that was filled to its end.
    std::strncpy(field, text.c_str(), Size);
}

inline void fill(tresk_label_record& record, const std::string& text)
{
    fill(record.path, text);
    fill(record.label, text);
}

inline void fill(tresk_dpkg_label_record& record, const std::string& text)
{
    fill(record.path, text);
    fill(record.unread, text);
}

inline void fill(tresk_device_policy& record, const std::string& text)
{
    fill(record.serial, text);
    fill(record.trailing, text);
}

inline void fill(tresk_device_record& record, const std::string& text)
{
    fill(record.text_1, text);
    fill(record.text_2, text);
    fill(record.time, text);
    fill(record.text_3, text);
}

template <class Record>

requires std::is_class_v<Record> &&(!std::is_same_v<Record, GVariant>)struct Argument<const Record*> {
    explicit Argument(Given& given) : records(static_cast<Record*>(std::calloc(kRecords, sizeof(Record))))
    {
        const std::string& text = given.take();
        for (std::size_t index = 0; index < kRecords; ++index) {
            fill(records.get()[index], text);
        }
    }

    const Record* get() const { return records.get(); }

    Malloced<Record> records;
};

template <class Result>
void release(Result /*number*/)
{
}

template <class Record>
void release(Record* records)
{
    std::free(records);
}

template <>
inline void release(char** texts)
{
    for (std::size_t index = 0; texts != nullptr && index < kRecords; ++index) {
        std::free(texts[index]);
    }
    std::free(texts);
}

template <>
inline void release(GVariant* reply)
{
    if (reply != nullptr) {
        g_variant_unref(reply);
    }
}

template <class Type>
constexpr bool takes_text = std::is_same_v<Type, char*> || std::is_same_v<Type, const char*> ||
                            std::is_same_v<Type, const void*> || std::is_same_v<Type, const char* const*> ||
                            (std::is_pointer_v<Type> && std::is_class_v<std::remove_pointer_t<Type>> &&
                             std::is_const_v<std::remove_pointer_t<Type>>);

template <class Result, class... Types>
std::function<void(Given)> caller(Result (*function)(Types...))
{
    return [function](Given given) {
        // In braces, so that the arguments are made in order.
        std::tuple<Argument<Types>...> arguments{Argument<Types>(given)...};
        std::apply([function](auto&... argument) { release(function(argument.get()...)); }, arguments);
    };
}

template <class Result, class... Types>
constexpr std::size_t texts_of(Result (* /*function*/)(Types...))
{
    return (std::size_t{0} + ... + (takes_text<Types> ? 1U : 0U));
}

struct Row {
    const char* symbol;
    std::size_t texts;
    std::function<void(Given)> call;
    /// What the other texts of a call are, when one is hostile; this repeats for those that are not named.
    std::vector<std::string> harmless{"/usr/bin/env"};
    /// A file that the caller names, and that the function makes where it is missing.
    bool makes_named_file = false;
};

template <class Function>
Row row(const char* symbol, Function* function, std::vector<std::string> harmless = {"/usr/bin/env"},
        bool makes_named_file = false)
{
    return {symbol, texts_of(function), caller(function), std::move(harmless), makes_named_file};
}

#define ROW(function, ...) row(#function, function __VA_OPT__(, ) __VA_ARGS__)

} // namespace tresk::test

#endif
