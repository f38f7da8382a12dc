// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/machine.h"

#include "treskctl/policy/object_commands.h"

#include <algorithm>

namespace tresk::ctl {

namespace {

bool has_relative_path(const Kind& kind, const Entry& entry)
{
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const bool names_path =
            kind.fields[field].role == Role::Key && kind.fields[field].type == FieldType::Path;
        if (names_path && !std::get<std::string>(entry.values[field]).starts_with('/')) {
            return true;
        }
    }
    return false;
}

KindEntries fitted_entries(const KindEntries& wanted, const Reading& machine, std::vector<Failure>& failures)
{
    const Kind& kind = *wanted.kind;
    const EntryIndex present(kind, machine.entries);
    KindEntries entries{&kind, {}};
    for (const Entry& entry : wanted.entries) {
        Entry& fitting = entries.entries.emplace_back(entry);
        if (present.find(entry) != nullptr) {
            continue;
        }
        if (has_relative_path(kind, entry)) {
            failures.push_back(
                {Cause::Policy,
                 std::string(kind.name) + ": the path \"" + name_of(kind, entry) + "\" is not absolute",
                 {},
                 text_of(entry.place),
                 "Nothing was done. A path of a document begins with \"/\"."});
            continue;
        }
        try {
            kind.normalise(fitting, machine);
        } catch (const WrongUsage& refusal) {
            failures.push_back({Cause::Policy,
                                std::string(kind.name) + ": " + refusal.what(),
                                {},
                                text_of(entry.place),
                                "Nothing was done."});
        }
    }
    return entries;
}

} // namespace

std::optional<Machine> read_kinds(Run& run, std::span<const Kind* const> wanted)
{
    Machine machine;
    bool complete = true;
    for (const Kind* kind : wanted) {
        auto reading = read_machine(run, *kind);
        complete = complete && reading.has_value();
        if (reading) {
            machine.emplace(kind, std::move(*reading));
        }
    }
    return complete ? std::optional(std::move(machine)) : std::nullopt;
}

std::vector<const Kind*> kinds_of(const Document& document)
{
    std::vector<const Kind*> named;
    std::ranges::transform(document.kinds, std::back_inserter(named), &KindEntries::kind);
    return named;
}

Document document_of(const Machine& machine)
{
    Document document;
    for (const Kind* kind : kinds()) {
        if (const auto found = machine.find(kind); found != machine.end()) {
            document.kinds.push_back({kind, found->second.entries});
        }
    }
    return sorted(std::move(document));
}

Document fitted(const Document& document, const Machine& machine, std::vector<Failure>& failures)
{
    Document fitting;
    for (const KindEntries& wanted : document.kinds) {
        fitting.kinds.push_back(fitted_entries(wanted, machine.at(wanted.kind), failures));
    }
    return merged({std::move(fitting)}, failures);
}

} // namespace tresk::ctl
