// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Results as tables of named fields, written for people or for programs. A command says what it found and
// never how it looks, so that both forms always hold the same.
#ifndef TRESK_TRESKCTL_OUTPUT_H
#define TRESK_TRESKCTL_OUTPUT_H

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace tresk::ctl {

/// The number that every JSON document carries as "version". A field may be added under the same number;
/// taking one away or changing its meaning needs a new one.
inline constexpr int kJsonVersion = 1;

/// The product or vendor id of a device: four hexadecimal digits for people, a number for programs.
struct DeviceId {
    std::uint32_t number;
};

/// Nothing known, yes or no, a number, a device's id, or a text of any bytes.
using Value = std::variant<std::monostate, bool, std::int64_t, DeviceId, std::string>;
using Row = std::vector<Value>;

struct Table {
    /// The JSON key of the array of rows.
    std::string name;
    /// The fields' JSON keys; people read them in capitals with blanks.
    std::vector<std::string> fields;
    /// Each as long as @fields.
    std::vector<Row> rows;
};

/// Columns aligned below a header. Texts are escaped; a field without a value is "-", an empty text is "".
std::string render_for_people(const std::vector<Table>& tables);

/// {"version": 1, "command": ..., "TABLE": [{"FIELD": value, ...}, ...], ...}
std::string render_json(const std::string& command, const std::vector<Table>& tables);

/// Adds @text under @key. A text that is not UTF-8 has the replacement character for what is wrong, and all
/// its bytes under the key with "_hex" behind.
void add_text(nlohmann::ordered_json& object, const std::string& key, const std::string& text);

/// The document's text with a line feed, whatever bytes its strings hold.
std::string written(const nlohmann::ordered_json& document);

} // namespace tresk::ctl

#endif
