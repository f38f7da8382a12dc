// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/object_commands.h"

#include "treskctl/confirm.h"
#include "treskctl/policy/change.h"
#include "treskctl/policy/entry_options.h"
#include "treskctl/policy/listing.h"

#include <algorithm>
#include <memory>
#include <unordered_set>

namespace tresk::ctl {

namespace {

/// What one command is about.
struct Request {
    const Kind& kind;
    const EntryWords& words;
    /// Those that were given, in the order given.
    std::vector<std::string> names;
    /// The library is called also for entries that the policy does not have.
    bool anyway = false;
};

struct Verb {
    const char* name;
    const char* help;
    Takes takes;
    bool names_required;
    void (*act)(Run& run, const Request& request);
    bool changes;
};

std::vector<std::string> all_columns(const Kind& kind)
{
    std::vector<std::string> columns;
    for (const Field& field : kind.fields) {
        columns.emplace_back(field.name);
    }
    return columns;
}

Entry wanted_entry(const Request& request, const Reading& machine, const std::string& name)
{
    Entry entry = entry_of(request.kind, request.words, name);
    request.kind.normalise(entry, machine);
    return entry;
}

/// What is not there, named by the key.
Failure missing(const Kind& kind, const Entry& wanted)
{
    return {Cause::NotFound, "there is no such entry", {}, name_of(kind, wanted), {}};
}

/// Fails where a setting has to be given and was not: only some verbs need them.
void require_settings(const Kind& kind, const Entry& entry)
{
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const Field& one = kind.fields[field];
        const bool lacking = std::holds_alternative<std::monostate>(entry.values[field]);
        if (one.role == Role::Setting && !one.standard && lacking) {
            throw WrongUsage(std::string(one.option) + " is required");
        }
    }
}

// --- questions ---

void list(Run& run, const Request& request)
{
    Table& table = run.table("entries", all_columns(request.kind));
    const EntryFilter filter(request.kind, request.words);
    table.source = open_listing(request.kind, filter, run.settings());
    if (table.source) {
        return;
    }
    const auto machine = read_as_far_as_possible(run, request.kind);
    for (const Entry& entry : machine ? machine->entries : std::vector<Entry>()) {
        if (filter.matches(entry)) {
            table.rows.push_back(entry.values);
        }
    }
}

/// True when the entry has the name in the machine's form, if the kind has names.
bool has_name(const Kind& kind, const Entry& entry, const Entry& wanted)
{
    const Field* const naming = naming_field(kind);
    if (naming == nullptr) {
        return true;
    }
    const std::size_t field = index_of(kind, naming->name);
    return entry.values[field] == wanted.values[field];
}

/// Names are looked for in the machine's form; other keys only where they were given.
std::vector<const Entry*> named(const Request& request, const Reading& machine, const std::string& name)
{
    const Entry wanted = wanted_entry(request, machine, name);
    const EntryFilter filter(request.kind, request.words);
    std::vector<const Entry*> found;
    for (const Entry& entry : machine.entries) {
        if (has_name(request.kind, entry, wanted) && filter.matches(entry)) {
            found.push_back(&entry);
        }
    }
    return found;
}

void show(Run& run, const Request& request)
{
    Table& table = run.table("entries", all_columns(request.kind));
    const auto machine = read_as_far_as_possible(run, request.kind);
    if (!machine) {
        return;
    }
    for (const std::string& name : request.names) {
        const std::vector<const Entry*> found = named(request, *machine, name);
        if (found.empty()) {
            run.fail(missing(request.kind, wanted_entry(request, *machine, name)));
        }
        for (const Entry* entry : found) {
            table.rows.push_back(entry->values);
        }
    }
}

void check(Run& run, const Request& request)
{
    if (request.names.empty()) {
        throw WrongUsage("no name is given"); // an empty list must not read as "yes"
    }
    Table& table = run.table("checks", {"present", "name"});
    const auto machine = read_machine(run, request.kind);
    if (!machine) {
        return;
    }
    for (const std::string& name : request.names) {
        const bool present = !named(request, *machine, name).empty();
        table.rows.push_back({present, name_of(request.kind, wanted_entry(request, *machine, name))});
        if (!present) {
            run.answer_no();
        }
    }
}

// --- changes ---

/// One subject of a change: decides by what is there, and makes the change.
using Decide = void (*)(Run& run, const Kind& kind, const EntryWords& words, ChangeTable& table, Entry wanted,
                        const Entry* present);

/// The settings of @present under the name of @wanted.
Entry merged_names(const Kind& kind, const Entry& wanted, const Entry& present)
{
    Entry entry = present;
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        if (kind.fields[field].role == Role::Key) {
            entry.values[field] = wanted.values[field];
        }
    }
    return entry;
}

/// The entry that is there, its untold fields taken for the wanted ones; nothing where none are wanted.
std::optional<Entry> find_as_told(const Kind& kind, const EntryIndex& index, const Entry& wanted)
{
    Entry told = wanted;
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        if (kind.fields[field].untold) {
            told.values[field] = Value();
        }
    }
    const Entry* const found = told.values == wanted.values ? nullptr : index.find(told);
    if (found == nullptr) {
        return std::nullopt;
    }
    return merged_names(kind, wanted, *found);
}

void change_each(Run& run, const Request& request, Decide decide, bool may_be_untold = false)
{
    ChangeTable table(run, request.kind);
    const auto machine = read_machine(run, request.kind);
    if (!machine) {
        return;
    }
    if (request.names.empty()) {
        table.leave_nothing();
    }
    const EntryIndex index(request.kind, machine->entries);
    std::unordered_set<Row, RowHash> seen;
    for (const std::string& name : request.names) {
        Entry wanted = wanted_entry(request, *machine, name);
        if (!seen.insert(key_of(request.kind, wanted)).second) {
            continue; // lists may name one thing twice
        }
        if (run.stopping()) {
            break;
        }
        const Entry* present = index.find(wanted);
        const auto told = may_be_untold ? find_as_told(request.kind, index, wanted) : std::nullopt;
        if (present == nullptr && told) {
            present = &*told;
        }
        decide(run, request.kind, request.words, table, std::move(wanted), present);
    }
    table.confirm();
}

/// What the words do not say stays as it is.
Entry merged(const Kind& kind, const EntryWords& words, const Entry& wanted, const Entry& present)
{
    Entry entry = wanted;
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const Field& one = kind.fields[field];
        if (one.role != Role::Key && !words.gives(one)) {
            entry.values[field] = present.values[field];
        }
    }
    return entry;
}

void add_one(Run& run, const Kind& kind, const EntryWords& /*words*/, ChangeTable& table, Entry wanted,
             const Entry* present)
{
    require_settings(kind, wanted);
    if (present == nullptr) {
        table.make({&kind, Operation::Add, std::move(wanted), {}});
    } else if (same_settings(kind, wanted, *present)) {
        table.leave(wanted, kind.added);
    } else {
        run.fail({Cause::Conflict,
                  "the entry is there already, with other settings",
                  {},
                  name_of(kind, wanted),
                  {}});
    }
}

void update_one(Run& run, const Kind& kind, const EntryWords& words, ChangeTable& table, Entry wanted,
                const Entry* present)
{
    if (present == nullptr) {
        run.fail(missing(kind, wanted));
        return;
    }
    Entry changed = merged(kind, words, wanted, *present);
    if (same_settings(kind, changed, *present)) {
        table.leave(changed, "so");
    } else {
        table.make({&kind, Operation::Update, std::move(changed), *present});
    }
}

void set_one(Run& run, const Kind& kind, const EntryWords& words, ChangeTable& table, Entry wanted,
             const Entry* present)
{
    (present == nullptr ? add_one : update_one)(run, kind, words, table, std::move(wanted), present);
}

void remove_one(Run& /*run*/, const Kind& kind, const EntryWords& /*words*/, ChangeTable& table, Entry wanted,
                const Entry* present)
{
    if (present == nullptr) {
        table.leave(wanted, kind.removed);
    } else {
        table.make({&kind, Operation::Remove, *present, *present});
    }
}

/// An addition that was refused half-way is in the scene library alone.
void remove_one_anyway(Run& /*run*/, const Kind& kind, const EntryWords& /*words*/, ChangeTable& table,
                       Entry wanted, const Entry* present)
{
    if (present == nullptr) {
        table.make({&kind, Operation::Remove, std::move(wanted), {}});
    } else {
        table.make({&kind, Operation::Remove, *present, *present});
    }
}

void add(Run& run, const Request& request)
{
    change_each(run, request, add_one);
}

void update(Run& run, const Request& request)
{
    change_each(run, request, update_one, true);
}

void set(Run& run, const Request& request)
{
    for (const Field& field : request.kind.fields) {
        if (field.untold && request.words.gives(field)) {
            throw WrongUsage(option_for(field) +
                             ": listings do not tell it, so that \"set\" cannot see what is there;"
                             " say \"add\" or \"update\"");
        }
    }
    change_each(run, request, set_one);
}

void remove(Run& run, const Request& request)
{
    const std::size_t count = request.names.size();
    if (count <= kFewDeletions || confirm(run, deletion_of(request.kind, count))) {
        change_each(run, request, request.anyway ? remove_one_anyway : remove_one, true);
    }
}

void clear(Run& run, const Request& request)
{
    const Kind& kind = request.kind;
    ChangeTable table(run, kind);
    auto machine = read_machine(run, kind);
    if (!machine) {
        return;
    }
    const EntryFilter filter(kind, request.words);
    std::erase_if(machine->entries, [&filter](const Entry& entry) { return !filter.matches(entry); });
    if (machine->entries.empty()) {
        table.leave_nothing();
    } else if (!confirm(run, deletion_of(kind, machine->entries.size()))) {
        return;
    }
    const EntryIndex index(kind, machine->entries);
    for (const Entry& entry : machine->entries) {
        if (run.stopping()) {
            break;
        }
        // A removal may take away all of a name: what it left of them is not known.
        const bool is_first = index.find(entry) == &entry;
        table.make({&kind, Operation::Remove, entry, is_first ? std::optional(entry) : std::nullopt});
    }
    table.confirm();
}

constexpr Verb kVerbs[] = {
    {"list", "List the entries, or those with these values", Takes::AllOptions, false, list, false},
    {"show", "Show entries by name", Takes::KeyOptions, true, show, false},
    {"check", "Ask whether entries are there, with these values: exit status 0 or 1", Takes::AllOptions, true,
     check, false},
    {"add", "Add entries", Takes::AllOptions, true, add, true},
    {"set", "Add entries, or change those that are there", Takes::AllOptions, true, set, true},
    {"update", "Change entries; what is not said stays", Takes::AllOptions, true, update, true},
    {"remove", "Remove entries", Takes::KeyOptions, true, remove, true},
    {"clear", "Remove all entries, or all with these values", Takes::AllOptions, false, clear, true},
};

bool has_settings(const Kind& kind)
{
    return std::ranges::any_of(kind.fields, [](const Field& field) { return field.role == Role::Setting; });
}

/// Entries that are nothing but their names can only be there or not.
bool makes_sense(const Verb& verb, const Kind& kind)
{
    return (verb.act != update && verb.act != set) || has_settings(kind);
}

/// Entries that options name are one at a time.
std::optional<std::vector<std::string>> subjects_of(Run& run, const Kind& kind, const EntryWords& words)
{
    return naming_field(kind) == nullptr ? std::vector<std::string>{""} : all_names(run, words);
}

void add_verb(CLI::App& object, Run& run, const Kind& kind, const Verb& verb)
{
    const auto words = std::make_shared<EntryWords>();
    const auto anyway = std::make_shared<bool>(false);
    CLI::App* const command =
        add_command(object, run, verb.name, verb.help, [&run, &kind, &verb, words, anyway] {
            if (auto names = subjects_of(run, kind, *words)) {
                verb.act(run, {kind, *words, std::move(*names), *anyway});
            }
        });
    if (!verb.changes && *kind.file != '\0') {
        run.honour_root(*command);
    }
    if (verb.act == remove && *kind.file != '\0') {
        command->add_flag("--anyway", *anyway,
                          "Call the library also for entries that the policy does not have");
    }
    if (verb.names_required) {
        add_entry_options(*command, kind, verb.takes, *words, true);
    } else {
        add_filter_options(*command, kind, *words);
    }
}

} // namespace

std::string deletion_of(const Kind& kind, std::size_t count)
{
    return "delete " + std::to_string(count) + (count == 1 ? " entry of " : " entries of ") + kind.title;
}

std::optional<Reading> read_as_far_as_possible(Run& run, const Kind& kind)
{
    Reading reading = kind.read(run.settings().root);
    if (reading.failure) {
        run.fail(std::move(*reading.failure));
        return std::nullopt;
    }
    if (reading.damage) {
        run.fail(*reading.damage);
    }
    return reading;
}

std::optional<Reading> read_machine(Run& run, const Kind& kind)
{
    auto reading = read_as_far_as_possible(run, kind);
    return reading && !reading->damage ? std::move(reading) : std::nullopt;
}

CLI::App* add_object(CLI::App& app, Run& run, const Kind& kind)
{
    CLI::App* const object = add_group(app, kind.name, kind.title);
    for (const Verb& verb : kVerbs) {
        if (makes_sense(verb, kind)) {
            add_verb(*object, run, kind, verb);
        }
    }
    return object;
}

} // namespace tresk::ctl
