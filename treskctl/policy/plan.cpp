// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/plan.h"

#include "treskctl/policy/kinds/reading.h"
#include "treskctl/printable.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace tresk::ctl {

namespace {

constexpr const char* kAdvice = "Nothing was done.";

/// The changes of one kind.
class KindPlan {
  public:
    KindPlan(const Kind& kind, const std::vector<Entry>& present, const std::vector<Entry>& wanted)
        : kind_(kind), present_(present), wanted_(wanted), present_index_(kind, present),
          wanted_index_(kind, wanted)
    {
    }

    void add_to(Plan& plan, Others others)
    {
        remove(plan, others);
        update(plan);
        add(plan);
    }

  private:
    void remove(Plan& plan, Others others)
    {
        for (const Entry& entry : present_) {
            if (present_index_.find(entry) != &entry) {
                continue; // a second one of its name is never found
            }
            ++plan.present;
            const Entry* const stays = wanted_index_.find(entry);
            const bool leaves = stays == nullptr && others == Others::Removed;
            plan.leaving += leaves ? 1 : 0;
            if (leaves || (stays != nullptr && !can_update(kind_, entry, *stays))) {
                plan.changes.push_back({&kind_, Operation::Remove, entry, entry});
            }
        }
    }

    void update(Plan& plan)
    {
        for (const Entry& entry : wanted_) {
            const Entry* const there = present_index_.find(entry);
            const bool differs = there != nullptr && !same_settings(kind_, *there, entry);
            if (differs && can_update(kind_, *there, entry)) {
                plan.changes.push_back({&kind_, Operation::Update, entry, *there});
            }
        }
    }

    void add(Plan& plan)
    {
        for (const Entry& entry : wanted_) {
            const Entry* const there = present_index_.find(entry);
            if (there == nullptr || !can_update(kind_, *there, entry)) {
                plan.changes.push_back({&kind_, Operation::Add, entry, {}});
            }
        }
    }

    const Kind& kind_;
    const std::vector<Entry>& present_;
    const std::vector<Entry>& wanted_;
    EntryIndex present_index_;
    EntryIndex wanted_index_;
};

// --- obstacles ---

/// Whether a policy file, which is XML, has a way to write it. @text is UTF-8.
bool fits_into_xml(std::string_view text)
{
    const bool control = std::ranges::any_of(text, [](char letter) {
        return static_cast<unsigned char>(letter) < ' ' && letter != '\t' && letter != '\n' && letter != '\r';
    });
    const bool no_character = text.find("\xEF\xBF\xBE") != std::string_view::npos || // U+FFFE
                              text.find("\xEF\xBF\xBF") != std::string_view::npos;   // U+FFFF
    return !control && !no_character;
}

/// Why the text cannot be the field's; empty where it can.
std::string objection(const Field& field, const std::string& text)
{
    if (!is_utf8(text)) {
        return "is not UTF-8, which alone can be sent to the service";
    }
    if (!fits_into_xml(text)) {
        return "has a character that no policy file can hold";
    }
    return text.size() > field.longest ? "is longer than " + std::to_string(field.longest) + " bytes" : "";
}

/// A removal sends the name alone.
bool is_sent(const Field& field, Operation operation)
{
    return field.role == Role::Key || (field.role == Role::Setting && operation != Operation::Remove);
}

/// The library resolves a path before it names the entry by it.
void add_unresolved(std::vector<Failure>& failures, const Change& change, const std::string& path)
{
    const std::string where = text_of(change.wanted.place);
    const std::string what = std::string(change.kind->name) + " " + path + ": ";
    std::error_code unknown;
    if (!std::filesystem::exists(path, unknown)) {
        failures.push_back(
            {Cause::NotFound,
             what + "there is no such file, so no call can name the entry",
             {},
             where,
             "Nothing was done. Entries are added, changed and removed only while their file exists."});
    } else if (const std::string resolved = policy_path(path); resolved != path) {
        failures.push_back(
            {Cause::Refused, what + "every call would take it for " + resolved, {}, where, kAdvice});
    }
}

void add_obstacles(std::vector<Failure>& failures, const Change& change)
{
    for (std::size_t index = 0; index < change.kind->fields.size(); ++index) {
        const Field& field = change.kind->fields[index];
        const auto* const text = std::get_if<std::string>(&change.wanted.values[index]);
        if (text == nullptr || !is_sent(field, change.operation)) {
            continue;
        }
        if (const std::string wrong = objection(field, *text); !wrong.empty()) {
            failures.push_back({Cause::Policy,
                                std::string(change.kind->name) + ": " + field.name + " " + wrong,
                                {},
                                text_of(change.wanted.place),
                                kAdvice});
        } else if (field.resolved) {
            add_unresolved(failures, change, *text);
        }
    }
}

// --- differences ---

const std::vector<Entry>& entries_of(const Document& document, const Kind& kind)
{
    static const std::vector<Entry> none;
    const KindEntries* const found = document.find(kind);
    return found == nullptr ? none : found->entries;
}

/// Which side of a difference has the entry.
enum class Side { From, To };

/// The whole entry, then those of its settings that do not go without saying.
void add_entry(std::vector<Difference>& found, Side side, const Kind& kind, const Entry& entry)
{
    const char* const change = side == Side::From ? "removed" : "added";
    found.push_back({change, &kind, &entry, nullptr, {}, {}});
    for (std::size_t index = 0; index < kind.fields.size(); ++index) {
        const Field& field = kind.fields[index];
        const Value& value = entry.values[index];
        if (field.role == Role::Setting && field.standard != value) {
            Difference& setting = found.emplace_back(Difference{change, &kind, &entry, &field, {}, {}});
            (side == Side::From ? setting.from : setting.to) = value;
        }
    }
}

/// Those of @one, the side @side, that @other does not have.
void add_missing(std::vector<Difference>& found, Side side, const Kind& kind, const std::vector<Entry>& one,
                 const std::vector<Entry>& other)
{
    const EntryIndex index(kind, other);
    for (const Entry& entry : one) {
        if (index.find(entry) == nullptr) {
            add_entry(found, side, kind, entry);
        }
    }
}

void add_changed(std::vector<Difference>& found, const Kind& kind, const std::vector<Entry>& from,
                 const std::vector<Entry>& to)
{
    const EntryIndex index(kind, from);
    for (const Entry& entry : to) {
        const Entry* const before = index.find(entry);
        for (std::size_t field = 0; before != nullptr && field < kind.fields.size(); ++field) {
            const bool setting = kind.fields[field].role == Role::Setting;
            if (setting && before->values[field] != entry.values[field]) {
                found.push_back({"changed", &kind, &entry, &kind.fields[field], before->values[field],
                                 entry.values[field]});
            }
        }
    }
}

void add_differences(std::vector<Difference>& found, const Kind& kind, const Document& from,
                     const Document& to)
{
    const std::vector<Entry>& before = entries_of(from, kind);
    const std::vector<Entry>& after = entries_of(to, kind);
    const bool was_named = from.find(kind) != nullptr;
    const bool is_named = to.find(kind) != nullptr;
    if (was_named != is_named && before.empty() && after.empty()) {
        found.push_back({is_named ? "added" : "removed", &kind, nullptr, nullptr, {}, {}});
    }
    add_missing(found, Side::From, kind, before, after);
    add_changed(found, kind, before, after);
    add_missing(found, Side::To, kind, after, before);
}

} // namespace

Plan plan_of(const Machine& machine, const Document& wanted, Others others)
{
    Plan plan;
    for (const KindEntries& entries : wanted.kinds) {
        KindPlan(*entries.kind, machine.at(entries.kind).entries, entries.entries).add_to(plan, others);
    }
    return plan;
}

std::vector<Failure> obstacles_to(const Plan& plan)
{
    std::vector<Failure> failures;
    for (const Change& change : plan.changes) {
        add_obstacles(failures, change);
    }
    return failures;
}

std::vector<Difference> differences(const Document& from, const Document& to)
{
    std::vector<Difference> found;
    for (const Kind* kind : kinds()) {
        add_differences(found, *kind, from, to);
    }
    return found;
}

} // namespace tresk::ctl
