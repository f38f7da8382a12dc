// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/answer_forms.h"

#include "treskctl/policy/kind.h"
#include "treskctl/reference/command_tree.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>
#include <utility>

namespace tresk::ctl {

namespace {

// --- the verbs that every kind of entries has ---

AnswerType type_of(const Field& field)
{
    switch (field.type) {
    case FieldType::Number:
    case FieldType::Unsigned:
    case FieldType::User:
        return AnswerType::Integer;
    default:
        return AnswerType::Text;
    }
}

std::vector<AnswerField> described(const Kind& kind, bool keys_alone)
{
    std::vector<AnswerField> fields;
    for (const Field& field : kind.fields) {
        if (!keys_alone || field.role == Role::Key) {
            fields.push_back(answer_field_of(field));
        }
    }
    return fields;
}

AnswerForm entries_of(const Kind& kind)
{
    return {{{"entries", described(kind, false)}}};
}

AnswerForm checks_of(const Kind& /*kind*/)
{
    return {{{"checks", {{"present", AnswerType::Boolean}, {"name"}}}}};
}

AnswerForm changes_of(const Kind& kind)
{
    std::vector<AnswerField> fields = {{"result"}};
    fields.push_back({.name = "changed", .type = AnswerType::Boolean, .nullable = true});
    fields.push_back({.name = "call", .nullable = true, .optional = true});
    for (AnswerField& field : described(kind, true)) {
        fields.push_back(std::move(field));
    }
    return {{{"results", std::move(fields)}}, true};
}

struct KindVerb {
    std::string_view name;
    AnswerForm (*form)(const Kind& kind);
};

constexpr std::array kKindVerbs = {
    KindVerb{"list", entries_of},   KindVerb{"show", entries_of},  KindVerb{"check", checks_of},
    KindVerb{"add", changes_of},    KindVerb{"set", changes_of},   KindVerb{"update", changes_of},
    KindVerb{"remove", changes_of}, KindVerb{"clear", changes_of},
};

AnswerForm form_of_kind(const std::string& command)
{
    const std::size_t blank = command.find(' ');
    const Kind* kind = find_kind(command.substr(0, blank));
    const auto* const verb = std::ranges::find(
        kKindVerbs, command.substr(std::min(blank, command.size() - 1) + 1), &KindVerb::name);
    return kind == nullptr || verb == kKindVerbs.end() ? AnswerForm{} : verb->form(*kind);
}

// --- all others ---

struct FormRow {
    std::string_view command;
    std::string_view table;
    /// "NAME:TYPE" with blanks between; TYPE: text, integer, boolean, or words with "|" between. A "?" behind
    /// it: may be null; "*" behind that: not in every row.
    std::string_view fields;
};

constexpr std::string_view kCall = " call:text?*";
constexpr std::string_view kSwitches = "switch:text state:on|off about:text";
constexpr std::string_view kModules = "module:integer configured:integer real:integer?";
constexpr std::string_view kHashes = "hash:text path:text";
constexpr std::string_view kNotice = "type:integer value:integer hash:text subject:text call:text?*";

constexpr std::array kRows = {
    FormRow{"status", "switches", kSwitches},
    FormRow{"status", "service", "answers:boolean"},
    FormRow{"status list", "switches", kSwitches},
    FormRow{"status show", "switches", kSwitches},
    FormRow{"status check", "checks", "on:boolean switch:text"},
    FormRow{"module list", "modules", kModules},
    FormRow{"module show", "modules", kModules},
    FormRow{"module check-reboot", "answers", "first:integer second:integer answer:integer"},
    FormRow{"module security show", "security", "current:integer configured:integer module_state:integer"},
    FormRow{"module security check-reboot", "answers", "value:integer answer:integer"},
    FormRow{"ppro hash", "hashes", kHashes},
    FormRow{"ppro action", "action", "action:text?"},
    FormRow{"ppro blacklist", "paths", "blacklisted:boolean path:text"},
    FormRow{"ppro pid", "processes", "pid:integer path:text"},
    FormRow{"netctl hash", "hashes", kHashes},
    FormRow{"netctl user-distinct", "switches", "switch:text state:on|off"},
    FormRow{"netctl permission", "permission", "answer:integer"},
    FormRow{"pkg installed", "packages", "installed:boolean package:text"},
    FormRow{"pblk hash", "hashes", kHashes},
    FormRow{"bwlist verdict", "packages", "allowed:boolean package:text"},
    FormRow{"bwlist distinct", "distinctions", "value:integer source_type:integer source:text"},
    FormRow{"device history", "devices",
            "first:integer second:integer id_1:text id_2:text text_1:text text_2:text time:text text_3:text"},
    FormRow{"label number", "labels", "number:integer label:text"},
    FormRow{"hash calc", "hashes", "hash:text? path:text call:text*"},
    FormRow{"hash show", "hashes", kHashes},
    FormRow{"kmod name", "modules", "module:text file:text"},
    FormRow{"kmod owner", "modules", "owner:ordinary|sm module:text"},
    FormRow{"user check", "checks", "valid:boolean user:text"},
    FormRow{"notify ppro", "results", kNotice},
    FormRow{"notify netctl", "results", kNotice},
    FormRow{"notify pblk", "results", "type:integer hash:text subject:text call:text?*"},
    FormRow{"notify hash", "results", kNotice},
    FormRow{"notify kmod", "results", "type:integer module:text call:text?*"},
    FormRow{"notify device", "results", "type:integer bytes:integer call:text?*"},
    FormRow{"diff", "differences", "change:text kind:text name:text? field:text? from:text? to:text?"},
    FormRow{"verify", "problems", "place:text problem:text"},
    FormRow{"explain", "policies",
            "kind:text settings:text owner:text switch:text on:boolean? place:text? name:text subject:text"},
    FormRow{"explain", "refusals", "kind:text edit:text reason:text subject:text"},
    FormRow{"explain", "problems", "place:text? problem:text subject:text"},
    FormRow{"explain", "subjects", "what:path|name policies:integer file:text? subject:text"},
    FormRow{"doctor", "checks", "check:text state:ok|warning|failed detail:text advice:text?"},
    FormRow{"completion", kTextsTable, "text:text"},
    FormRow{"manual", kTextsTable, "text:text"},
    FormRow{"schema", kTextsTable, "text:text"},
};

/// Changes that are no entry's: "changed" in front of their fields, and in a dry run "call" behind them.
constexpr std::array kChanges = {
    FormRow{"status set", "results", "switch:text state:on|off"},
    FormRow{"module set", "results", "change:text"},
    FormRow{"module set-reboot", "results", "change:text"},
    FormRow{"module selinux", "results", "change:text policy:text"},
    FormRow{"module authorise", "results", "change:text first:integer second:integer"},
    FormRow{"module security set", "results", "change:text"},
    FormRow{"module security set-reboot", "results", "change:text"},
    FormRow{"conf add", "results", "entries:text"},
    FormRow{"conf remove", "results", "entries:text"},
    FormRow{"conf set", "results", "name:text value:integer"},
    FormRow{"netctl user-distinct", "results", "switch:text state:on|off"},
    FormRow{"bwlist distinct", "results", "value:integer source_type:integer source:text"},
    FormRow{"bwlist clear-source", "results", "result:text source_type:integer source:text"},
    FormRow{"device batch", "results", "result:text policies:integer"},
    FormRow{"device history-add", "results", "result:text devices:integer"},
    FormRow{"device sm add", "results", "result:text class:integer subtype:integer perm:integer"},
    FormRow{"device sm remove", "results", "result:text class:integer subtype:integer perm:integer"},
    FormRow{"label protect", "results", "result:text path:text"},
    FormRow{"label identify", "results", "result:text path:text"},
    FormRow{"label exec", "results", "result:text path:text"},
    FormRow{"label xattr", "results", "result:text path:text"},
    FormRow{"label clear", "results", "protection:text"},
    FormRow{"kmod protect", "results", "result:text module:text"},
    FormRow{"kmod unprotect", "results", "result:text module:text"},
};

/// Changes whose rows are steps: none of them says whether it changed anything.
constexpr std::array kSteps = {
    FormRow{"apply", "steps", "step:integer operation:text kind:text name:text result:text* call:text*"},
};

/// True, and the mark taken away, where the text ends in it.
bool takes_mark(std::string& text, char mark)
{
    const bool marked = text.ends_with(mark);
    text.resize(text.size() - (marked ? 1 : 0));
    return marked;
}

AnswerField field_in(const std::string& text)
{
    const std::size_t colon = text.find(':');
    std::string type = text.substr(colon + 1);
    AnswerField field{text.substr(0, colon)};
    field.optional = takes_mark(type, '*');
    field.nullable = takes_mark(type, '?');
    field.type = type == "integer"   ? AnswerType::Integer
                 : type == "boolean" ? AnswerType::Boolean
                                     : AnswerType::Text;
    field.words = words_in(type);
    return field;
}

AnswerTable table_in(const FormRow& row, std::string_view more)
{
    AnswerTable table{std::string(row.table), {}};
    std::istringstream stream(std::string(row.fields) + std::string(more));
    for (std::string text; stream >> text;) {
        table.fields.push_back(field_in(text));
    }
    return table;
}

template <class Rows>
std::vector<AnswerTable> tables_in(const Rows& rows, const std::string& command, std::string_view more = "")
{
    std::vector<AnswerTable> tables;
    for (const FormRow& row : rows) {
        if (row.command == command) {
            tables.push_back(table_in(row, more));
        }
    }
    return tables;
}

/// A command that asks without a new value and changes with one may write either table.
AnswerForm form_of_others(const std::string& command)
{
    AnswerForm form;
    for (AnswerTable& table : tables_in(kChanges, command, kCall)) {
        table.fields.insert(table.fields.begin(),
                            {.name = "changed", .type = AnswerType::Boolean, .nullable = true});
        form.tables.push_back(std::move(table));
    }
    for (AnswerTable& table : tables_in(kSteps, command)) {
        form.tables.push_back(std::move(table));
    }
    form.is_change = !form.tables.empty();
    for (AnswerTable& table : tables_in(kRows, command)) {
        form.tables.push_back(std::move(table));
    }
    return form;
}

} // namespace

/// A field whose standard is no value may have none: the user of a rule that counts for all.
AnswerField answer_field_of(const Field& field)
{
    const bool nullable = field.standard == Value();
    const bool closed = field.type == FieldType::Word;
    return {field.name, type_of(field), nullable, closed ? field.words : std::vector<std::string>()};
}

AnswerForm answer_form_of(const std::string& command)
{
    AnswerForm form = form_of_kind(command);
    return form.tables.empty() ? form_of_others(command) : form;
}

} // namespace tresk::ctl
