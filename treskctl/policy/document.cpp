// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/document.h"

#include "treskctl/nearest.h"
#include "treskctl/output.h"
#include "treskctl/policy/entry_options.h"
#include "treskctl/policy/tree.h"
#include "treskctl/printable.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>

namespace tresk::ctl {

namespace {

constexpr std::string_view kHexadecimalSuffix = "_hex";
constexpr const char* kNote = "note";
constexpr const char* kAdvice =
    "Nothing was done. The manual has the form of documents; \"export\" writes one.";

bool is_given(const Field& field)
{
    return field.role != Role::Derived;
}

bool is_text(const Field& field)
{
    return field.type == FieldType::Text || field.type == FieldType::Path;
}

/// What names an entry without a word comes first.
bool stands_first(const Field& field)
{
    return field.role == Role::Key && field.option == nullptr;
}

/// Where the fields of an entry stand, in the order in which documents have them.
std::vector<std::size_t> document_order(const Kind& kind)
{
    std::vector<std::size_t> order;
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        if (is_given(kind.fields[field])) {
            order.push_back(field);
        }
    }
    (void)std::stable_partition(order.begin(), order.end(),
                                [&](std::size_t field) { return stands_first(kind.fields[field]); });
    return order;
}

// --- reading ---

/// Something in a document that is not as it should be.
class WrongValue : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::string required_text(const Node& node)
{
    if (node.shape != Shape::Text && node.shape != Shape::Plain) {
        throw WrongValue(node.name + ": it has to be a text");
    }
    if (node.text.find('\0') != std::string::npos) {
        throw WrongValue(node.name + ": no text of a policy can hold a NUL");
    }
    return node.text;
}

/// The bytes of a text in hexadecimal.
std::string bytes_of(const Node& node)
{
    const std::string digits = required_text(node);
    std::string bytes;
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
        unsigned char byte = 0;
        const auto [rest, error] = std::from_chars(&digits[at], &digits[at] + 2, byte, 16);
        if (error != std::errc() || rest != &digits[at] + 2 || byte == 0) {
            break;
        }
        bytes.push_back(static_cast<char>(byte));
    }
    if (bytes.size() * 2 != digits.size()) {
        throw WrongValue(node.name + ": it has to be two hexadecimal digits for each byte, none of them 00");
    }
    return bytes;
}

std::string required_number(const Node& node)
{
    if (node.shape != Shape::Number && node.shape != Shape::Plain) {
        throw WrongValue(node.name + ": it has to be a number");
    }
    return node.text;
}

/// Users are numbers, or names that this machine knows.
std::string required_scalar(const Node& node)
{
    return node.shape == Shape::Number ? node.text : required_text(node);
}

std::string required_word(const Field& field, const Node& node)
{
    switch (field.type) {
    case FieldType::Number:
    case FieldType::Unsigned:
        return required_number(node);
    case FieldType::User:
        return required_scalar(node);
    default:
        return required_text(node);
    }
}

/// The length of texts is no matter of the document's: what is so already needs no sending.
Value value_in(const Field& field, const Node& node)
{
    std::string word = required_word(field, node);
    if (field.type == FieldType::Text || field.type == FieldType::Path) {
        return word;
    }
    try {
        return value_of(field, word);
    } catch (const WrongUsage& error) {
        throw WrongValue(node.name + ": " + error.what());
    }
}

std::vector<std::string> kind_names()
{
    std::vector<std::string> names;
    std::ranges::transform(kinds(), std::back_inserter(names), [](const Kind* kind) { return kind->name; });
    return names;
}

std::vector<std::string> words_of_entry(const Kind& kind)
{
    std::vector<std::string> words = {kNote};
    for (const Field& field : kind.fields) {
        if (is_given(field)) {
            words.emplace_back(field.name);
        }
    }
    return words;
}

/// Makes a document of a tree, and notes all that is wrong with it.
class DocumentReader {
  public:
    DocumentReader(std::string file, std::vector<Failure>& failures)
        : file_(std::move(file)), failures_(failures)
    {
    }

    Document read(const Node& root)
    {
        Document document;
        if (require_shape(root, Shape::Map, "the document")) {
            read_root(root, document);
        }
        std::ranges::sort(document.kinds, {}, [](const KindEntries& one) {
            return std::ranges::find(kinds(), one.kind) - kinds().begin();
        });
        return document;
    }

    void fail(std::size_t line, const std::string& message)
    {
        failures_.push_back({Cause::Policy, message, {}, text_of({file_, line, 0}), kAdvice});
    }

  private:
    bool require_shape(const Node& node, Shape shape, const std::string& what)
    {
        if (node.shape != shape) {
            fail(node.line,
                 what + " has to be a " + (shape == Shape::Map ? "map of names and values" : "list"));
        }
        return node.shape == shape;
    }

    /// False, with a failure, where @names has the node's already.
    bool note_name(std::set<std::string>& names, const Node& node, const std::string& name)
    {
        const bool first = names.insert(name).second;
        if (!first) {
            fail(node.line, "\"" + name + "\" is said twice");
        }
        return first;
    }

    void read_root(const Node& root, Document& document)
    {
        std::set<std::string> names;
        for (const Node& member : root.children) {
            if (!note_name(names, member, member.name)) {
                continue;
            }
            if (member.name == "version") {
                check_version(member);
            } else if (member.name == "policy") {
                read_policy(member, document);
            } else {
                fail(member.line, "there is no \"" + member.name + "\" in a document" +
                                      did_you_mean(member.name, {"version", "policy"}));
            }
        }
        for (const char* name : {"version", "policy"}) {
            if (names.count(name) == 0) {
                fail(root.line, std::string("the document lacks \"") + name + "\"");
            }
        }
    }

    void check_version(const Node& node)
    {
        const bool number = node.shape == Shape::Number || node.shape == Shape::Plain;
        if (!number || node.text != std::to_string(kDocumentVersion)) {
            fail(node.line, "only documents of version " + std::to_string(kDocumentVersion) + " are known");
        }
    }

    void read_policy(const Node& policy, Document& document)
    {
        if (!require_shape(policy, Shape::Map, "\"policy\"")) {
            return;
        }
        std::set<std::string> names;
        for (const Node& member : policy.children) {
            const Kind* const kind = find_kind(member.name);
            if (kind == nullptr) {
                fail(member.line, "there is no kind of entries \"" + member.name + "\"" +
                                      did_you_mean(member.name, kind_names()));
            } else if (note_name(names, member, member.name) &&
                       require_shape(member, Shape::List, member.name)) {
                document.kinds.push_back({kind, entries_in(*kind, member)});
            }
        }
    }

    std::vector<Entry> entries_in(const Kind& kind, const Node& list)
    {
        std::vector<Entry> entries;
        std::unordered_map<Row, std::size_t, RowHash> lines;
        for (const Node& node : list.children) {
            std::optional<Entry> entry = entry_in(kind, node);
            if (!entry) {
                continue;
            }
            const auto [first, added] = lines.try_emplace(key_of(kind, *entry), node.line);
            if (added) {
                entries.push_back(std::move(*entry));
            } else {
                fail(node.line, std::string(kind.name) + ": a second entry \"" + name_of(kind, *entry) +
                                    "\"; the first is in line " + std::to_string(first->second));
            }
        }
        return entries;
    }

    /// Nothing where something is wrong with it.
    std::optional<Entry> entry_in(const Kind& kind, const Node& node)
    {
        if (!require_shape(node, Shape::Map, std::string(kind.name) + ": an entry")) {
            return std::nullopt;
        }
        const std::size_t failures_before = failures_.size();
        Entry entry{Row(kind.fields.size()), {file_, node.line, 0}, {}};
        std::set<std::string> names;
        for (const Node& member : node.children) {
            read_member(kind, member, names, entry);
        }
        complete(kind, node, names, entry);
        return failures_.size() == failures_before ? std::optional(std::move(entry)) : std::nullopt;
    }

    void read_member(const Kind& kind, const Node& member, std::set<std::string>& names, Entry& entry)
    {
        try {
            if (member.name == kNote) {
                note_name(names, member, kNote);
                entry.note = required_text(member);
                return;
            }
            const auto [field, in_hexadecimal] = field_of(kind, member);
            note_name(names, member, kind.fields[field].name);
            entry.values[field] =
                in_hexadecimal ? Value(bytes_of(member)) : value_in(kind.fields[field], member);
        } catch (const WrongValue& error) {
            fail(member.line, std::string(kind.name) + ": " + error.what());
        }
    }

    struct Given {
        std::size_t field;
        bool in_hexadecimal;
    };

    static Given field_of(const Kind& kind, const Node& member)
    {
        for (std::size_t field = 0; field < kind.fields.size(); ++field) {
            const Field& one = kind.fields[field];
            const bool plain = member.name == one.name;
            const bool in_hexadecimal =
                is_text(one) && member.name == one.name + std::string(kHexadecimalSuffix);
            if ((plain || in_hexadecimal) && !is_given(one)) {
                throw WrongValue(member.name + ": it follows from the other fields and is not given");
            }
            if (plain || in_hexadecimal) {
                return {field, in_hexadecimal};
            }
        }
        throw WrongValue("there is no field \"" + member.name + "\"" +
                         did_you_mean(member.name, words_of_entry(kind)));
    }

    /// What is not said has its standard value.
    void complete(const Kind& kind, const Node& node, const std::set<std::string>& names, Entry& entry)
    {
        for (std::size_t field = 0; field < kind.fields.size(); ++field) {
            const Field& one = kind.fields[field];
            if (!is_given(one) || names.count(one.name) != 0) {
                continue;
            }
            if (one.standard) {
                entry.values[field] = *one.standard;
            } else {
                fail(node.line, std::string(kind.name) + ": the entry lacks \"" + one.name + "\"");
            }
        }
    }

    std::string file_;
    std::vector<Failure>& failures_;
};

bool is_json(const std::string& text, const std::string& file)
{
    if (file.ends_with(".json")) {
        return true;
    }
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return !file.ends_with(".yaml") && !file.ends_with(".yml") && first != std::string::npos &&
           text[first] == '{';
}

// --- merging ---

/// "type is 2" and "1" of the first setting in which both differ.
std::string contradiction(const Kind& kind, const Entry& first, const Entry& second)
{
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const Field& one = kind.fields[field];
        if (one.role == Role::Setting && first.values[field] != second.values[field]) {
            return std::string(one.name) + " is " + shown(second.values[field]) + " here and " +
                   shown(first.values[field]) + " in " + text_of(first.place);
        }
    }
    return "it is said otherwise in " + text_of(first.place);
}

/// Collects entries of one kind, each name once.
class Merger {
  public:
    Merger(const Kind& kind, std::vector<Failure>& failures) : merged_{&kind, {}}, failures_(failures) {}

    void add(const Entry& entry)
    {
        const Kind& kind = *merged_.kind;
        const auto [known, added] = places_.try_emplace(key_of(kind, entry), merged_.entries.size());
        if (added) {
            merged_.entries.push_back(entry);
            return;
        }
        const Entry& first = merged_.entries[known->second];
        if (!same_settings(kind, first, entry)) {
            failures_.push_back({Cause::Conflict,
                                 std::string(kind.name) + " " + name_of(kind, entry) + ": " +
                                     contradiction(kind, first, entry),
                                 {},
                                 text_of(entry.place),
                                 "Nothing was done. One of the two entries has to go."});
        }
    }

    KindEntries take() { return std::move(merged_); }

  private:
    KindEntries merged_;
    std::unordered_map<Row, std::size_t, RowHash> places_;
    std::vector<Failure>& failures_;
};

// --- writing ---

using Json = nlohmann::ordered_json;

std::string hexadecimal_text(std::int64_t number)
{
    std::array<char, 16> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16);
    return {digits.data(), end};
}

/// What is written of an entry: names and values, in order.
using Members = std::vector<std::pair<std::string, Value>>;

Members members_of(const Kind& kind, const std::vector<std::size_t>& order, const Entry& entry)
{
    Members members;
    for (const std::size_t field : order) {
        const Field& one = kind.fields[field];
        const Value& value = entry.values[field];
        if (one.standard == value) {
            continue;
        }
        const auto* const text = std::get_if<std::string>(&value);
        const auto* const number = std::get_if<std::int64_t>(&value);
        if (text != nullptr && !is_utf8(*text)) {
            members.emplace_back(one.name + std::string(kHexadecimalSuffix), hexadecimal(*text));
        } else if (number != nullptr && one.type == FieldType::Hexadecimal) {
            members.emplace_back(one.name, hexadecimal_text(*number));
        } else {
            members.emplace_back(one.name, value);
        }
    }
    if (!entry.note.empty()) {
        members.emplace_back(kNote, entry.note);
    }
    return members;
}

struct JsonValue {
    Json operator()(std::monostate /*unknown*/) const { return nullptr; }

    template <class Known>
    Json operator()(const Known& known) const
    {
        return known;
    }
};

Json entries_json(const KindEntries& entries)
{
    const std::vector<std::size_t> order = document_order(*entries.kind);
    Json list = Json::array();
    for (const Entry& entry : entries.entries) {
        Json& object = list.emplace_back(Json::object());
        for (auto& [name, value] : members_of(*entries.kind, order, entry)) {
            object[name] = std::visit(JsonValue(), value);
        }
    }
    return list;
}

struct YamlValue {
    std::string operator()(std::monostate /*unknown*/) const { return "null"; }

    std::string operator()(bool yes) const { return yes ? "true" : "false"; }

    std::string operator()(std::int64_t number) const { return std::to_string(number); }

    std::string operator()(const std::string& text) const { return quoted_for_yaml(text); }
};

/// The lines of one entry, the first of them with the mark of a list's item.
std::string entry_yaml(const Members& members)
{
    if (members.empty()) {
        return "    - {}\n";
    }
    std::string lines;
    for (const auto& [name, value] : members) {
        lines += (lines.empty() ? "    - " : "      ") + name + ": " + std::visit(YamlValue(), value) + "\n";
    }
    return lines;
}

std::string entries_yaml(const KindEntries& entries)
{
    const std::vector<std::size_t> order = document_order(*entries.kind);
    std::string lines =
        "  " + std::string(entries.kind->name) + ":" + (entries.entries.empty() ? " []" : "") + "\n";
    for (const Entry& entry : entries.entries) {
        lines += entry_yaml(members_of(*entries.kind, order, entry));
    }
    return lines;
}

/// The values that documents have of an entry, in their order.
Row sorting_key(const std::vector<std::size_t>& order, const Kind& kind, const Entry& entry)
{
    Row key;
    for (const std::size_t field : order) {
        if (kind.fields[field].role == Role::Key) {
            key.push_back(entry.values[field]);
        }
    }
    return key;
}

void sort_entries(KindEntries& entries)
{
    const std::vector<std::size_t> order = document_order(*entries.kind);
    std::map<Row, Entry> by_name;
    for (Entry& entry : entries.entries) {
        by_name.try_emplace(sorting_key(order, *entries.kind, entry), std::move(entry));
    }
    entries.entries.clear();
    for (auto& [key, entry] : by_name) {
        entries.entries.push_back(std::move(entry));
    }
}

} // namespace

const KindEntries* Document::find(const Kind& kind) const
{
    const auto found = std::ranges::find(kinds, &kind, &KindEntries::kind);
    return found == kinds.end() ? nullptr : &*found;
}

Document read_document(const std::string& text, const std::string& file, std::vector<Failure>& failures)
{
    DocumentReader reader(file, failures);
    try {
        return reader.read(is_json(text, file) ? tree_of_json(text) : tree_of_yaml(text));
    } catch (const WrongTree& error) {
        reader.fail(error.line(), error.what());
        return {};
    }
}

Document merged(const std::vector<Document>& parts, std::vector<Failure>& failures)
{
    Document document;
    for (const Kind* kind : kinds()) {
        Merger merger(*kind, failures);
        bool named = false;
        for (const Document& part : parts) {
            if (const KindEntries* const entries = part.find(*kind); entries != nullptr) {
                named = true;
                std::ranges::for_each(entries->entries, [&](const Entry& entry) { merger.add(entry); });
            }
        }
        if (named) {
            document.kinds.push_back(merger.take());
        }
    }
    return document;
}

Document sorted(Document document)
{
    std::ranges::for_each(document.kinds, sort_entries);
    return document;
}

std::string written_json(const Document& document, const Settings& settings)
{
    Json policy = Json::object();
    for (const KindEntries& entries : document.kinds) {
        policy[entries.kind->name] = entries_json(entries);
    }
    return written({{"version", kDocumentVersion}, {"policy", std::move(policy)}}, settings);
}

std::string written_yaml(const Document& document)
{
    std::string text = "version: " + std::to_string(kDocumentVersion) + "\npolicy:";
    text += document.kinds.empty() ? " {}\n" : "\n";
    for (const KindEntries& entries : document.kinds) {
        text += entries_yaml(entries);
    }
    return text;
}

} // namespace tresk::ctl
