// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzz/support/document_check.h"

#include "fuzz/support/target.h"
#include "treskctl/output.h"
#include "treskctl/policy/document.h"
#include "treskctl/policy/machine.h"
#include "treskctl/policy/plan.h"

#include <nlohmann/json.hpp>

#include <vector>

namespace tresk::fuzz {

namespace {

using namespace tresk::ctl;

std::string short_json(const Document& document)
{
    Settings settings;
    settings.form = Form::JsonShort;
    return written_json(document, settings);
}

Document read_well(const std::string& text, const std::string& file)
{
    std::vector<Failure> failures;
    Document document = read_document(text, file, failures);
    TRESK_REQUIRE(failures.empty());
    return document;
}

void check_writing(const Document& document)
{
    const std::string json = short_json(document);
    TRESK_REQUIRE(nlohmann::json::accept(json));
    TRESK_REQUIRE(short_json(read_well(json, "again.json")) == json);
    TRESK_REQUIRE(short_json(read_well(written_yaml(document), "again.yaml")) == json);
}

/// A machine that has what the document says, or nothing.
Machine machine_of(const Document& document, bool full)
{
    Machine machine;
    for (const KindEntries& kind : document.kinds) {
        machine[kind.kind].entries = full ? kind.entries : std::vector<Entry>();
    }
    return machine;
}

void check_planning(const Document& document)
{
    const Machine full = machine_of(document, true);
    TRESK_REQUIRE(plan_of(full, document, Others::Removed).changes.empty());
    TRESK_REQUIRE(differences(document, document).empty());
    const Machine empty = machine_of(document, false);
    const Plan building = plan_of(empty, document, Others::Removed);
    std::size_t entries = 0;
    for (const KindEntries& kind : document.kinds) {
        entries += kind.entries.size();
    }
    TRESK_REQUIRE(building.changes.size() == entries);
    TRESK_REQUIRE(building.present == 0 && building.leaving == 0 && !building.leaves_little());
    for (const Change& change : building.changes) {
        TRESK_REQUIRE(change.operation == Operation::Add && !calls_text(change).empty());
        TRESK_REQUIRE(inverse_of(change).operation == Operation::Remove);
        TRESK_REQUIRE(is_in_force(change, &change.wanted) && !is_in_force(change, nullptr));
    }
    (void)obstacles_to(building);
}

/// Brought to the machine's form it may be refused; where it is not, doing so again changes nothing.
void check_fitting(const Document& document)
{
    const Machine machine = machine_of(document, false);
    std::vector<Failure> failures;
    const Document fitting = fitted(document, machine, failures);
    if (failures.empty()) {
        const Document again = fitted(fitting, machine, failures);
        TRESK_REQUIRE(failures.empty() && short_json(again) == short_json(fitting));
    }
}

} // namespace

void check_document(const std::string& text, const std::string& file)
{
    std::vector<Failure> failures;
    const Document read = read_document(text, file, failures);
    for (const Failure& failure : failures) {
        TRESK_REQUIRE(failure.cause == Cause::Policy && !failure.message.empty());
        TRESK_REQUIRE(failure.subject && failure.subject->starts_with(file));
        (void)line_of("apply", failure);
        TRESK_REQUIRE(nlohmann::json::accept(written(object_of(failure), Settings())));
    }
    if (!failures.empty()) {
        return;
    }
    // Entries that are equal become one; those that contradict each other are told.
    const Document one = merged({read}, failures);
    check_writing(one);
    if (failures.empty()) {
        check_planning(one);
        check_fitting(one);
        TRESK_REQUIRE(short_json(sorted(sorted(one))) == short_json(sorted(one)));
    }
}

} // namespace tresk::fuzz
