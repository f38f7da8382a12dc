// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/output.h"

#include "treskctl/failure.h"
#include "treskctl/nearest.h"
#include "treskctl/printable.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <optional>

namespace tresk::ctl {

namespace {

using Json = nlohmann::ordered_json;
using Cells = std::vector<std::string>;

constexpr std::size_t kGapCharacters = 2;
constexpr const char* kBold = "\033[1m";
constexpr const char* kPlain = "\033[0m";

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

    std::string operator()(const std::string& text) const { return text.empty() ? "\"\"" : printable(text); }
};

Cells cells_of(const Row& row)
{
    Cells cells;
    std::ranges::transform(row, std::back_inserter(cells),
                           [](const Value& value) { return std::visit(CellText{}, value); });
    return cells;
}

std::vector<Cells> lines_of(const Table& table, bool legend)
{
    std::vector<Cells> lines;
    lines.reserve(table.rows.size() + 1);
    if (legend) {
        std::ranges::transform(table.fields, std::back_inserter(lines.emplace_back()), title);
    }
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

std::string table_text(const Table& table, const Settings& settings)
{
    const std::vector<Cells> lines = lines_of(table, settings.legend);
    if (lines.empty()) {
        return "";
    }
    const std::vector<std::size_t> widths = widths_of(lines);
    std::string text;
    for (const Cells& line : lines) {
        const bool emphasised = settings.colour && settings.legend && text.empty();
        text += (emphasised ? kBold : "") + line_text(line, widths);
        if (emphasised) {
            text.insert(text.size() - 1, kPlain);
        }
    }
    return text;
}

/// Where @field stands in the table: its JSON key or its title, in any case.
std::optional<std::size_t> find_column(const Table& table, const std::string& field)
{
    for (std::size_t column = 0; column < table.fields.size(); ++column) {
        if (table.fields[column] == field || title(table.fields[column]) == title(field)) {
            return column;
        }
    }
    return std::nullopt;
}

/// The table with the wanted columns that it has.
Table chosen_columns(const Table& table, const std::vector<std::string>& wanted)
{
    std::vector<std::size_t> columns;
    for (const std::string& field : wanted) {
        if (const auto column = find_column(table, field)) {
            columns.push_back(*column);
        }
    }
    Table chosen{table.name, {}, {}};
    for (const std::size_t column : columns) {
        chosen.fields.push_back(table.fields[column]);
    }
    for (const Row& row : table.rows) {
        Row& cells = chosen.rows.emplace_back();
        for (const std::size_t column : columns) {
            cells.push_back(row[column]);
        }
    }
    return chosen;
}

/// The tables as the settings want them: a table without any of the wanted columns is left out.
std::vector<Table> chosen_tables(const std::vector<Table>& tables, const Settings& settings)
{
    if (settings.columns.empty()) {
        return tables;
    }
    std::vector<Table> chosen;
    for (const Table& table : tables) {
        chosen.push_back(chosen_columns(table, settings.columns));
    }
    std::erase_if(chosen, [](const Table& table) { return table.fields.empty(); });
    return chosen;
}

struct BareText {
    std::string operator()(std::monostate /*unknown*/) const { return ""; }

    std::string operator()(bool yes) const { return yes ? "yes" : "no"; }

    std::string operator()(std::int64_t number) const { return std::to_string(number); }

    std::string operator()(const std::string& text) const { return text; }
};

struct AddField {
    Json& object;
    const std::string& key;

    void operator()(std::monostate /*unknown*/) const { object[key] = nullptr; }

    void operator()(bool yes) const { object[key] = yes; }

    void operator()(std::int64_t number) const { object[key] = number; }

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

std::string render_for_people(const std::vector<Table>& tables, const Settings& settings)
{
    std::string text;
    for (const Table& table : chosen_tables(tables, settings)) {
        text += (text.empty() ? "" : "\n") + table_text(table, settings);
    }
    return text;
}

std::string render_bare(const std::vector<Table>& tables, const Settings& settings)
{
    std::string text;
    for (const Table& table : tables) {
        const auto column = find_column(table, settings.bare_field);
        for (const Row& row : column ? table.rows : std::vector<Row>()) {
            const std::string value = std::visit(BareText{}, row[*column]);
            text += settings.null_separated ? value + '\0' : printable(value) + "\n";
        }
    }
    return text;
}

std::string render_json(const std::string& command, const std::vector<Table>& tables,
                        const std::optional<Value>& changed, const Settings& settings)
{
    Json document = head_of(command);
    if (changed) {
        const bool* const known = std::get_if<bool>(&*changed);
        document["changed"] = known == nullptr ? Json() : Json(*known);
    }
    for (const Table& table : chosen_tables(tables, settings)) {
        Json& rows = document[table.name] = Json::array();
        for (const Row& row : table.rows) {
            rows.push_back(row_object(table, row));
        }
    }
    return written(document, settings);
}

void require_columns(const Table& table, const Settings& settings)
{
    std::vector<std::string> wanted = settings.columns;
    if (!settings.bare_field.empty()) {
        wanted.push_back(settings.bare_field);
    }
    for (const std::string& field : wanted) {
        if (!find_column(table, field)) {
            throw WrongUsage("there is no column \"" + field + "\"" + did_you_mean(field, table.fields));
        }
    }
}

Json head_of(const std::string& command)
{
    return {{"version", kJsonVersion}, {"command", command.empty() ? Json() : Json(command)}};
}

void add_text(Json& object, const std::string& key, const std::string& text)
{
    object[key] = text;
    if (!is_utf8(text)) {
        object[key + "_hex"] = hexadecimal(text);
    }
}

std::string written(const Json& document, const Settings& settings)
{
    constexpr int indent = 2;
    constexpr int one_line = -1;
    const std::string text = document.dump(settings.form == Form::JsonShort ? one_line : indent, ' ', false,
                                           Json::error_handler_t::replace);
    return printable_json(text) + "\n";
}

} // namespace tresk::ctl
