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

std::string cell_text(const Value& value)
{
    return std::visit(CellText{}, value);
}

/// The last column is not padded: no line ends in blanks.
std::string line_text(const Cells& line, const std::vector<std::size_t>& widths)
{
    std::string text;
    for (std::size_t column = 0; column + 1 < line.size(); ++column) {
        const std::size_t padding = widths[column] + kGapCharacters - length_characters(line[column]);
        text += line[column] + std::string(padding, ' ');
    }
    return text + line.back();
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

/// A table and those of its columns that are wanted, in the order wanted.
struct View {
    const Table* table;
    std::vector<std::size_t> columns;
};

View chosen_columns(const Table& table, const Settings& settings)
{
    View view{&table, {}};
    for (const std::string& field : settings.columns.empty() ? table.fields : settings.columns) {
        if (const auto column = find_column(table, field)) {
            view.columns.push_back(*column);
        }
    }
    return view;
}

/// The tables as the settings want them: a table without any of the wanted columns is left out.
std::vector<View> chosen_tables(const Tables& tables, const Settings& settings)
{
    std::vector<View> chosen;
    for (const Table* table : tables) {
        chosen.push_back(chosen_columns(*table, settings));
    }
    if (!settings.columns.empty()) {
        std::erase_if(chosen, [](const View& view) { return view.columns.empty(); });
    }
    return chosen;
}

std::optional<Failure> for_each_row(const Table& table, const std::function<void(const Row&)>& take)
{
    if (table.source) {
        return table.source->each(take);
    }
    std::ranges::for_each(table.rows, take);
    return std::nullopt;
}

/// Of all columns, the title not looked at.
std::vector<std::size_t> widths_of(const Table& table)
{
    if (table.source) {
        return table.source->widths();
    }
    std::vector<std::size_t> widths(table.fields.size(), 0);
    for (const Row& row : table.rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], width_of(row[column]));
        }
    }
    return widths;
}

Cells titles_of(const View& view)
{
    Cells titles;
    for (const std::size_t column : view.columns) {
        titles.push_back(title(view.table->fields[column]));
    }
    return titles;
}

std::optional<Failure> write_table(const View& view, const Settings& settings, const TextSink& out)
{
    const std::vector<std::size_t> widest = widths_of(*view.table);
    std::vector<std::size_t> widths;
    for (const std::size_t column : view.columns) {
        widths.push_back(widest[column]);
    }
    if (settings.legend) {
        const Cells titles = titles_of(view);
        for (std::size_t column = 0; column < titles.size(); ++column) {
            widths[column] = std::max(widths[column], length_characters(titles[column]));
        }
        const std::string line = line_text(titles, widths);
        out(settings.colour ? kBold + line + kPlain + "\n" : line + "\n");
    }
    Cells cells(view.columns.size());
    return for_each_row(*view.table, [&](const Row& row) {
        std::ranges::transform(view.columns, cells.begin(),
                               [&row](std::size_t column) { return cell_text(row[column]); });
        out(line_text(cells, widths) + "\n");
    });
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

Json row_object(const View& view, const Row& row)
{
    Json object = Json::object();
    for (const std::size_t column : view.columns) {
        std::visit(AddField{object, view.table->fields[column]}, row[column]);
    }
    return object;
}

/// The parts of a document as the whole document's text has them, which is never held as a whole.
class JsonPieces {
  public:
    JsonPieces(const Settings& settings, const TextSink& out)
        : short_(settings.form == Form::JsonShort), out_(out)
    {
    }

    /// An object that more members follow.
    void open(const Json& object)
    {
        const std::string text = text_of(object);
        out_(text.substr(0, text.size() - end().size()));
    }

    void close() { out_(end() + "\n"); }

    void open_array(const std::string& name)
    {
        out_(separator(1) + text_of(name) + (short_ ? ":[" : ": ["));
        empty_ = true;
    }

    void add_element(const Json& element)
    {
        out_((empty_ ? line_start(2) : separator(2)) + indented(text_of(element), 2));
        empty_ = false;
    }

    void close_array() { out_(empty_ ? "]" : line_start(1) + "]"); }

  private:
    static constexpr std::size_t kIndent = 2;

    [[nodiscard]] std::string end() const { return line_start(0) + "}"; }

    [[nodiscard]] std::string line_start(std::size_t depth) const
    {
        return short_ ? "" : "\n" + std::string(depth * kIndent, ' ');
    }

    [[nodiscard]] std::string separator(std::size_t depth) const { return "," + line_start(depth); }

    [[nodiscard]] std::string text_of(const Json& value) const
    {
        constexpr int one_line = -1;
        return printable_json(value.dump(short_ ? one_line : static_cast<int>(kIndent), ' ', false,
                                         Json::error_handler_t::replace));
    }

    /// In texts there are no line feeds: each begins a line of the document.
    [[nodiscard]] std::string indented(const std::string& text, std::size_t depth) const
    {
        std::string result;
        for (const char letter : text) {
            if (letter == '\n') {
                result += line_start(depth);
            } else {
                result += letter;
            }
        }
        return result;
    }

    bool short_;
    const TextSink& out_;
    bool empty_ = true;
};

/// The first of them counts.
void keep_first(std::optional<Failure>& kept, std::optional<Failure> failure)
{
    if (!kept) {
        kept = std::move(failure);
    }
}

} // namespace

std::size_t width_of(const Value& value)
{
    return length_characters(cell_text(value));
}

std::optional<Failure> write_for_people(const Tables& tables, const Settings& settings, const TextSink& out)
{
    std::optional<Failure> failure;
    bool begun = false;
    const TextSink begin = [&](std::string_view text) {
        begun = true;
        out(text);
    };
    for (const View& view : chosen_tables(tables, settings)) {
        if (begun) {
            out("\n");
        }
        keep_first(failure, write_table(view, settings, begin));
    }
    return failure;
}

std::optional<Failure> write_bare(const Tables& tables, const Settings& settings, const TextSink& out)
{
    std::optional<Failure> failure;
    for (const Table* table : tables) {
        if (const auto column = find_column(*table, settings.bare_field)) {
            keep_first(failure, for_each_row(*table, [&](const Row& row) {
                           const std::string value = std::visit(BareText{}, row[*column]);
                           out(settings.null_separated ? value + '\0' : printable(value) + "\n");
                       }));
        }
    }
    return failure;
}

std::optional<Failure> write_json(const std::string& command, const Tables& tables,
                                  const std::optional<Value>& changed, const Settings& settings,
                                  const TextSink& out)
{
    Json head = head_of(command);
    if (changed) {
        const bool* const known = std::get_if<bool>(&*changed);
        head["changed"] = known == nullptr ? Json() : Json(*known);
    }
    std::optional<Failure> failure;
    JsonPieces pieces(settings, out);
    pieces.open(head);
    for (const View& view : chosen_tables(tables, settings)) {
        pieces.open_array(view.table->name);
        keep_first(failure, for_each_row(*view.table,
                                         [&](const Row& row) { pieces.add_element(row_object(view, row)); }));
        pieces.close_array();
    }
    pieces.close();
    return failure;
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
