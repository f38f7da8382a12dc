// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Results as tables of named fields, written for people or for programs. A command says what it found and
// never how it looks, so that both forms always hold the same.
#ifndef TRESK_TRESKCTL_OUTPUT_H
#define TRESK_TRESKCTL_OUTPUT_H

#include "treskctl/settings.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tresk::ctl {

/// The number that every JSON document carries as "version". A field may be added under the same number;
/// taking one away or changing its meaning needs a new one.
inline constexpr int kJsonVersion = 1;

/// Nothing known, yes or no, a number, or a text of any bytes.
using Value = std::variant<std::monostate, bool, std::int64_t, std::string>;
using Row = std::vector<Value>;

struct Table {
    /// The JSON key of the array of rows.
    std::string name;
    /// The fields' JSON keys; people read them in capitals with blanks.
    std::vector<std::string> fields;
    /// Each as long as @fields.
    std::vector<Row> rows;
};

/// Columns aligned below a header, as @settings want them. Texts are escaped; a field without a value is "-",
/// an empty text is "".
std::string render_for_people(const std::vector<Table>& tables, const Settings& settings);

/// The wanted field's values, one a line and escaped, or as they are with a NUL behind each.
std::string render_bare(const std::vector<Table>& tables, const Settings& settings);

/// {"version": 1, "command": ..., "changed": ..., "TABLE": [{"FIELD": value, ...}, ...], ...}
/// @changed: absent for what is no change, without a value where nobody can tell
std::string render_json(const std::string& command, const std::vector<Table>& tables,
                        const std::optional<Value>& changed, const Settings& settings);

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
