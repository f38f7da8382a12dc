// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/schema.h"

#include "treskctl/failure.h"
#include "treskctl/output.h"
#include "treskctl/policy/kind.h"
#include "treskctl/reference/answer_forms.h"
#include "treskctl/reference/command_tree.h"
#include "treskctl/status_codes.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

namespace tresk::ctl {

namespace {

using Json = nlohmann::ordered_json;

Json reference_to(const std::string& definition)
{
    return {{"$ref", "#/$defs/" + definition}};
}

/// A definition's name: pointers have no blanks.
std::string definition_of(std::string command)
{
    std::ranges::replace(command, ' ', '-');
    return command;
}

Json nullable(Json type, bool really)
{
    return really ? Json{{"anyOf", {std::move(type), {{"type", "null"}}}}} : type;
}

Json type_of(const AnswerField& field)
{
    Json type = {{"type", field.type == AnswerType::Integer   ? "integer"
                          : field.type == AnswerType::Boolean ? "boolean"
                                                              : "string"}};
    if (!field.words.empty()) {
        type["enum"] = field.words;
    }
    return type;
}

/// A text that is not UTF-8 has its bytes beside it.
void add_field(Json& properties, const AnswerField& field)
{
    properties[field.name] = nullable(type_of(field), field.nullable);
    if (field.type == AnswerType::Text) {
        properties[field.name + "_hex"] = reference_to("bytes");
    }
}

/// "-o" may choose any of the columns, so none of them has to be there.
Json table_schema(const AnswerTable& table)
{
    Json properties = Json::object();
    for (const AnswerField& field : table.fields) {
        add_field(properties, field);
    }
    return {{"type", "array"},
            {"items", {{"type", "object"}, {"properties", properties}, {"additionalProperties", false}}}};
}

/// Nobody can tell of all changes whether they changed anything.
Json changed_schema()
{
    return nullable({{"type", "boolean"}}, true);
}

Json document_schema(const std::string& command)
{
    const AnswerForm form = answer_form_of(command);
    if (form.tables.empty()) {
        return reference_to("general");
    }
    Json properties = {{"version", true}, {"command", {{"const", command}}}};
    if (form.is_change) {
        properties["changed"] = changed_schema();
    }
    for (const AnswerTable& table : form.tables) {
        properties[table.name] = table_schema(table);
    }
    return {{"properties", properties}, {"additionalProperties", false}};
}

/// What holds of documents of commands whose tables are not declared.
Json general_schema()
{
    const Json scalar = {{"type", {"integer", "boolean", "string", "null"}}};
    const Json row = {{"type", "object"}, {"additionalProperties", scalar}};
    return {
        {"properties", {{"version", true}, {"command", {{"type", "string"}}}, {"changed", changed_schema()}}},
        {"additionalProperties", {{"type", "array"}, {"items", row}}}};
}

/// A wrong line is no command's; so is a line that asks for help or the version.
Json no_command_schema()
{
    return {
        {"properties", {{"version", true}, {"command", {{"type", "null"}}}, {"help", {{"type", "string"}}}}},
        {"additionalProperties", false}};
}

template <class Rows, class Project>
Json all_of_them(const Rows& rows, Project project)
{
    Json values = Json::array();
    for (const auto& row : rows) {
        const Json value = project(row);
        if (std::ranges::find(values, value) == values.end()) {
            values.push_back(value);
        }
    }
    return values;
}

Json causes()
{
    Json words = Json::array();
    for (int cause = 0; cause <= static_cast<int>(Cause::Internal); ++cause) {
        words.push_back(word_of(static_cast<Cause>(cause)));
    }
    return words;
}

Json error_schema()
{
    Json names = all_of_them(status_codes(), [](const StatusCode& code) { return Json(code.name); });
    names.push_back(nullptr);
    Json failures = all_of_them(exit_table(), [](const ExitRow& row) { return Json(row.status); });
    std::erase_if(failures.get_ref<Json::array_t&>(), [](const Json& status) { return status <= kExitNo; });
    const Json bytes = reference_to("bytes");
    return {{"type", "object"},
            {"properties",
             {{"cause", {{"enum", causes()}}},
              {"subject", {{"type", {"string", "null"}}}},
              {"subject_hex", bytes},
              {"code", {{"type", {"integer", "null"}}}},
              {"name", {{"enum", names}}},
              {"message", {{"type", "string"}}},
              {"message_hex", bytes},
              {"advice", {{"type", "string"}}},
              {"exit_status", {{"enum", failures}}}}},
            {"required", {"cause", "subject", "code", "name", "message", "advice", "exit_status"}},
            {"additionalProperties", false}};
}

Json failure_schema()
{
    return {{"description", "The document on standard error: what failed, and what the library said."},
            {"properties",
             {{"version", true},
              {"command", {{"type", {"string", "null"}}}},
              {"errors", {{"type", "array"}, {"items", reference_to("error")}}},
              {"library", {{"type", "array"}, {"items", {{"type", "string"}}}}}}},
            {"required", {"errors", "library"}},
            {"additionalProperties", false}};
}

// --- the document of all policies ---

/// A text that is not UTF-8 has its bytes in its stead.
Json policy_entry_schema(const Kind& kind)
{
    Json properties = {{"note", {{"type", "string"}}}};
    Json needed = Json::array();
    for (const Field& field : kind.fields) {
        if (field.role == Role::Derived) {
            continue;
        }
        const AnswerField form = answer_field_of(field);
        add_field(properties, form);
        const std::string name = field.name;
        if (!field.standard && form.type == AnswerType::Text) {
            needed.push_back({{"anyOf", {{{"required", {name}}}, {{"required", {name + "_hex"}}}}}});
        } else if (!field.standard) {
            needed.push_back({{"required", {name}}});
        }
    }
    Json schema = {{"type", "object"}, {"properties", properties}, {"additionalProperties", false}};
    if (!needed.empty()) {
        schema["allOf"] = needed;
    }
    return schema;
}

Json policy_schema()
{
    Json properties = Json::object();
    for (const Kind* kind : kinds()) {
        properties[kind->name] = {{"type", "array"}, {"items", policy_entry_schema(*kind)}};
    }
    return {{"description", "The document that \"export\" writes, and that \"apply\" and \"diff\" read."},
            {"properties",
             {{"version", true},
              {"policy", {{"type", "object"}, {"properties", properties}, {"additionalProperties", false}}}}},
            {"required", {"policy"}},
            {"additionalProperties", false}};
}

// --- which document is which ---

Json choice(Json condition, Json then)
{
    return {{"if", {{"properties", {{"command", std::move(condition)}}}}}, {"then", std::move(then)}};
}

/// Commands by their first word: so a document is compared with few of them.
using Objects = std::map<std::string, std::vector<std::string>>;

Objects objects_of(const CLI::App& root)
{
    Objects objects;
    for_each_command(root, [&](const CLI::App& command) {
        const std::string chain = chain_of(command);
        objects[chain.substr(0, chain.find(' '))].push_back(chain);
    });
    return objects;
}

Json output_schema(const Objects& objects)
{
    Json commands = Json::array({nullptr});
    Json choices = Json::array({choice({{"type", "null"}}, reference_to("no-command"))});
    for (const auto& [object, chains] : objects) {
        std::ranges::copy(chains, std::back_inserter(commands));
        choices.push_back(choice({{"type", "string"}, {"pattern", "^" + object + "( |$)"}},
                                 reference_to("object-" + object)));
    }
    return {
        {"description", "The document on standard output: the command, and its tables as arrays of rows."},
        {"properties", {{"command", {{"enum", commands}}}}},
        {"allOf", choices}};
}

/// Every document but the policies' names its command.
Json answer_schema()
{
    return {{"required", {"command"}},
            {"if", {{"required", {"errors"}}}},
            {"then", reference_to("failure")},
            {"else", reference_to("output")}};
}

void add_commands(Json& definitions, const Objects& objects)
{
    for (const auto& [object, chains] : objects) {
        Json choices = Json::array();
        for (const std::string& chain : chains) {
            choices.push_back(choice({{"const", chain}}, reference_to(definition_of(chain))));
            definitions[definition_of(chain)] = document_schema(chain);
        }
        definitions["object-" + object] = {{"allOf", choices}};
    }
}

} // namespace

std::string schema_of(const CLI::App& root)
{
    const Objects objects = objects_of(root);
    Json definitions = {{"policy", policy_schema()},
                        {"answer", answer_schema()},
                        {"output", output_schema(objects)},
                        {"failure", failure_schema()},
                        {"error", error_schema()},
                        {"no-command", no_command_schema()},
                        {"general", general_schema()},
                        {"bytes",
                         {{"description", "A text that is not UTF-8: its bytes in hexadecimal."},
                          {"type", "string"},
                          {"pattern", "^([0-9a-f]{2})+$"}}}};
    add_commands(definitions, objects);
    const Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                         {"title", "Documents of treskctl"},
                         {"type", "object"},
                         {"properties", {{"version", {{"const", kJsonVersion}}}}},
                         {"required", {"version"}},
                         {"if", {{"required", {"policy"}}}},
                         {"then", reference_to("policy")},
                         {"else", reference_to("answer")},
                         {"$defs", definitions}};
    constexpr int indent = 1;
    return schema.dump(indent) + "\n";
}

} // namespace tresk::ctl
