// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Results as tables of named fields, written for people or for programs. A command says what it found and
// never how it looks, so that both forms always hold the same.
#ifndef TRESK_TRESKCTL_OUTPUT_H
#define TRESK_TRESKCTL_OUTPUT_H

#include "treskctl/failure.h"
#include "treskctl/settings.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tresk::ctl {

/// The number that every JSON document carries as "version". A field may be added under the same number;
/// taking one away or changing its meaning needs a new one.
inline constexpr int kJsonVersion = 1;

/// Nothing known, yes or no, a number, or a text of any bytes.
using Value = std::variant<std::monostate, bool, std::int64_t, std::string>;
using Row = std::vector<Value>;

/// Rows that nobody keeps: they are made once more where they are written.
class RowSource {
  public:
    RowSource() = default;
    virtual ~RowSource() = default;
    RowSource(const RowSource&) = delete;
    RowSource& operator=(const RowSource&) = delete;

    [[nodiscard]] virtual std::size_t count() const = 0;

    /// For each field the characters of its widest value, as people read it.
    [[nodiscard]] virtual const std::vector<std::size_t>& widths() const = 0;

    /// Hands the rows on, in order. What hindered it, if anything did: then some may be missing.
    virtual std::optional<Failure> each(const std::function<void(const Row&)>& take) = 0;
};

struct Table {
    /// The JSON key of the array of rows.
    std::string name;
    /// The fields' JSON keys; people read them in capitals with blanks.
    std::vector<std::string> fields;
    /// Each as long as @fields.
    std::vector<Row> rows;
    /// In the place of @rows, where they may be too many to be kept.
    std::shared_ptr<RowSource> source = nullptr;

    [[nodiscard]] std::size_t count() const { return source ? source->count() : rows.size(); }
};

/// The characters of a value as people read it in a table.
std::size_t width_of(const Value& value);

using Tables = std::vector<const Table*>;

/// Takes a text piece by piece.
using TextSink = std::function<void(std::string_view)>;

/// Columns aligned below a header, as @settings want them. Texts are escaped; a field without a value is "-",
/// an empty text is "". What hindered a table's source is returned, here and below.
std::optional<Failure> write_for_people(const Tables& tables, const Settings& settings, const TextSink& out);

/// The wanted field's values, one a line and escaped, or as they are with a NUL behind each.
std::optional<Failure> write_bare(const Tables& tables, const Settings& settings, const TextSink& out);

/// {"version": 1, "command": ..., "changed": ..., "TABLE": [{"FIELD": value, ...}, ...], ...}
/// The tables' names differ.
/// @changed: absent for what is no change, without a value where nobody can tell
std::optional<Failure> write_json(const std::string& command, const Tables& tables,
                                  const std::optional<Value>& changed, const Settings& settings,
                                  const TextSink& out);

/// Throws WrongUsage where the settings want a column that @table lacks.
void require_columns(const Table& table, const Settings& settings);

/// {"version": 1, "command": COMMAND or null}, which every document begins with.
nlohmann::ordered_json head_of(const std::string& command);

/// Adds @text under @key. A text that is not UTF-8 has the replacement character for what is wrong, and all
/// its bytes under the key with "_hex" behind.
void add_text(nlohmann::ordered_json& object, const std::string& key, const std::string& text);

/// The document's text with a line feed, whatever bytes its strings hold.
std::string written(const nlohmann::ordered_json& document, const Settings& settings);

} // namespace tresk::ctl

#endif
