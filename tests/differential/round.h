// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One comparison: files, the state around them, and questions that the library and the naive readers are
// asked. An answer is a text that holds everything a caller could see: the result to the last byte, counts,
// what was told to the framework, and what became of the files.
#ifndef TRESK_TESTS_DIFFERENTIAL_ROUND_H
#define TRESK_TESTS_DIFFERENTIAL_ROUND_H

#include "tests/differential/naive.h"
#include "tests/differential/random_document.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tresk::test {

struct Question {
    std::string name; ///< the call with its arguments
    std::function<std::string()> library;
    std::function<std::string(Naive&)> naive;
};

using Files = std::map<std::string, std::string>; ///< contents by path

struct Round {
    std::filesystem::path folder; ///< the files' own, with nothing else in it
    Files files;
    std::int32_t distinguish = 0;
    bool error_before = false; ///< the thread's libxml2 has an old error to report
    std::vector<Question> questions;

    /// Adds a file; none where there is no content.
    void add_file(const std::string& path, const std::optional<std::string>& content);
};

/// The library's answers and the naive readers', each from the same beginnings.
class Comparison {
  public:
    explicit Comparison(const Round& round);

    std::string library_answer(const Question& question);
    std::string naive_answer(const Question& question, Rule broken);

  private:
    void begin();
    std::string outcome();

    const Round& round_;
    bool as_written_ = false;
};

/// A kind of policy: its rules and its rounds.
struct Family {
    const char* name;
    Round (*round)(Random& random);
    std::vector<Rule> rules;
};

Family netctl_family();
Family netctl_packages_family();
Family ppro_family();
Family pblk_family();
Family bwlist_family();
Family settings_family();

// ---- answers ----

/// A record's fields in order, without what lies between them.
std::string bytes_of(const netctl_node_data& record);
std::string bytes_of(const netctl_node_info& record);
std::string bytes_of(const netctl_ext_node_info& record);
std::string bytes_of(const netctl_pkg_node_info& record);
std::string bytes_of(const netctl_pkg_path_node_info& record);
std::string bytes_of(const ppro_node_info& record);
std::string bytes_of(const pblk_node_info& record);

/// A count before a call that may not write it.
inline constexpr int kUnwritten = 0x5a5a5a5a;

std::string shown(const Text& text);

template <class Record>
std::string array_answer(const Record* records, long count)
{
    std::string answer = records == nullptr ? "null" : "array";
    answer += " count " + std::to_string(count) + "\n";
    for (long i = 0; records != nullptr && i < count; ++i) {
        answer += "record " + bytes_of(records[i]) + "\n";
    }
    return answer;
}

/// Calls an array reader of the library's.
template <class Count, class Reader>
std::string library_array(Reader reader)
{
    Count count = kUnwritten;
    auto* records = reader(&count);
    std::string answer = array_answer(records, static_cast<long>(count));
    std::free(records);
    return answer;
}

template <class Record>
std::string naive_array(const Listing<Record>& listing)
{
    return array_answer(listing.records.empty() ? nullptr : listing.records.data(),
                        listing.read ? static_cast<long>(listing.records.size()) : kUnwritten);
}

template <class Record>
std::string library_record(Record* record)
{
    std::string answer = record == nullptr ? "null" : "record " + bytes_of(*record);
    std::free(record);
    return answer;
}

template <class Record>
std::string naive_record(const std::optional<Record>& record)
{
    return record ? "record " + bytes_of(*record) : "null";
}

/// The text as C sees it, null for nothing.
inline const char* c_text(const Text& text)
{
    return text ? text->c_str() : nullptr;
}

} // namespace tresk::test

#endif
