// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/output.h"

#include "treskctl/printable.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>

namespace tresk::ctl {

namespace {

using Json = nlohmann::ordered_json;
using Cells = std::vector<std::string>;

constexpr std::size_t kGapCharacters = 2;

std::string title(std::string field)
{
    std::ranges::transform(field, field.begin(), [](char letter) {
        return letter == '_' ? ' ' : static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    });
    return field;
}

struct CellText {
    std::string operator()(std::monostate /*unknown*/) const { return "-"; }

    std::string operator()(bool yes) const { return yes ? "yes" : "no"; }

    std::string operator()(std::int64_t number) const { return std::to_string(number); }

    std::string operator()(DeviceId id) const
    {
        constexpr const char* kForm = "%04x";
        std::array<char, sizeof("ffffffff")> digits{};
        (void)std::snprintf(digits.data(), digits.size(), kForm, id.number);
        return digits.data();
    }

    std::string operator()(const std::string& text) const { return text.empty() ? "\"\"" : printable(text); }
};

Cells cells_of(const Row& row)
{
    Cells cells;
    std::ranges::transform(row, std::back_inserter(cells),
                           [](const Value& value) { return std::visit(CellText{}, value); });
    return cells;
}

std::vector<Cells> lines_of(const Table& table)
{
    Cells header;
    std::ranges::transform(table.fields, std::back_inserter(header), title);
    std::vector<Cells> lines{header};
    std::ranges::transform(table.rows, std::back_inserter(lines), cells_of);
    return lines;
}

std::vector<std::size_t> widths_of(const std::vector<Cells>& lines)
{
    std::vector<std::size_t> widths(lines.front().size(), 0);
    for (const Cells& line : lines) {
        for (std::size_t column = 0; column < line.size(); ++column) {
            widths[column] = std::max(widths[column], length_characters(line[column]));
        }
    }
    return widths;
}

/// The last column is not padded: no line ends in blanks.
std::string line_text(const Cells& line, const std::vector<std::size_t>& widths)
{
    std::string text;
    for (std::size_t column = 0; column + 1 < line.size(); ++column) {
        const std::size_t padding = widths[column] + kGapCharacters - length_characters(line[column]);
        text += line[column] + std::string(padding, ' ');
    }
    return text + line.back() + "\n";
}

std::string table_text(const Table& table)
{
    const std::vector<Cells> lines = lines_of(table);
    const std::vector<std::size_t> widths = widths_of(lines);
    std::string text;
    for (const Cells& line : lines) {
        text += line_text(line, widths);
    }
    return text;
}

struct AddField {
    Json& object;
    const std::string& key;

    void operator()(std::monostate /*unknown*/) const { object[key] = nullptr; }

    void operator()(bool yes) const { object[key] = yes; }

    void operator()(std::int64_t number) const { object[key] = number; }

    void operator()(DeviceId id) const { object[key] = id.number; }

    void operator()(const std::string& text) const { add_text(object, key, text); }
};

Json row_object(const Table& table, const Row& row)
{
    Json object = Json::object();
    for (std::size_t column = 0; column < row.size(); ++column) {
        std::visit(AddField{object, table.fields[column]}, row[column]);
    }
    return object;
}

} // namespace

std::string render_for_people(const std::vector<Table>& tables)
{
    std::string text;
    for (const Table& table : tables) {
        text += (text.empty() ? "" : "\n") + table_text(table);
    }
    return text;
}

std::string render_json(const std::string& command, const std::vector<Table>& tables)
{
    Json document = {{"version", kJsonVersion}, {"command", command}};
    for (const Table& table : tables) {
        Json& rows = document[table.name] = Json::array();
        for (const Row& row : table.rows) {
            rows.push_back(row_object(table, row));
        }
    }
    return written(document);
}

void add_text(Json& object, const std::string& key, const std::string& text)
{
    object[key] = text;
    if (!is_utf8(text)) {
        object[key + "_hex"] = hexadecimal(text);
    }
}

std::string written(const Json& document)
{
    constexpr int kIndent = 2;
    return document.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace tresk::ctl
