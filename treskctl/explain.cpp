// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "explain": every policy that touches a path, a package or another name, who owns it, which switch decides
// about it, and why an edit would be refused.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/framework_state.h"
#include "treskctl/policy/entry_options.h"
#include "treskctl/policy/ppro_lists.h"
#include "treskctl/policy/subject.h"
#include "treskctl/service_answer.h"

#include <algorithm>
#include <array>
#include <memory>

namespace tresk::ctl {

namespace {

/// What a kind's fields do not tell.
struct Aspect {
    const char* kind;
    /// The function that has to be on for its entries to count; null where the framework alone has.
    const char* function;
    /// A field beside the naming one that names a program.
    const char* program = nullptr;
};

constexpr std::array kAspects = {
    Aspect{"ppro", "ppro"},    Aspect{"netctl", "netctl"}, Aspect{"pkg", "netctl", "path"},
    Aspect{"pblk", "pblk"},    Aspect{"device", "devctl"}, Aspect{"wireless", "devctl"},
    Aspect{"kmod", "kmodpro"},
};
constexpr Aspect kNoAspect = {"", nullptr};

const Aspect& aspect_of(std::string_view kind)
{
    const auto* const found =
        std::ranges::find(kAspects, kind, [](const Aspect& one) { return std::string_view(one.kind); });
    return found == kAspects.end() ? kNoAspect : *found;
}

/// The fields that tell for whom an entry is.
constexpr std::array<std::string_view, 4> kOwnerFields = {"owner", "uid", "source_type", "source"};

bool tells_owner(const Field& field)
{
    return std::ranges::find(kOwnerFields, std::string_view(field.name)) != kOwnerFields.end();
}

/// "type=1 name=Editor": what an entry of the kind says, without what it would say anyway.
std::string settings_text(const Kind& kind, const Entry& entry)
{
    std::string text;
    for (std::size_t index = 0; index < kind.fields.size(); ++index) {
        const Field& field = kind.fields[index];
        const bool worth_telling = field.role == Role::Setting && !tells_owner(field) &&
                                   entry.values[index] != field.standard.value_or(Value());
        if (worth_telling) {
            text += (text.empty() ? "" : " ") + std::string(field.name) + "=" + shown(entry.values[index]);
        }
    }
    return text;
}

/// "owner=sm source=vendor": for whom the entry is, or who asked for it.
std::string owner_text(const Kind& kind, const Entry& entry)
{
    std::string text;
    for (std::size_t index = 0; index < kind.fields.size(); ++index) {
        const Field& field = kind.fields[index];
        const std::string value = shown(entry.values[index]);
        if (tells_owner(field) && !value.empty()) {
            text += (text.empty() ? "" : " ") + std::string(field.name) + "=" + value;
        }
    }
    return text;
}

/// The side that owns the entry, of kinds that have sides.
std::string owner_of(const Kind& kind, const Entry& entry)
{
    const bool has_sides =
        std::ranges::find(kind.fields, std::string_view("owner"), &Field::name) != kind.fields.end();
    return has_sides ? text_at(kind, entry, "owner") : "";
}

/// Whether what names the kind's entries is of that type.
bool is_named_by(const Kind& kind, FieldType type)
{
    const Field* const naming = naming_field(kind);
    return naming != nullptr && naming->type == type;
}

std::string name_alone(const Kind& kind, const Entry& entry)
{
    const Field* const naming = naming_field(kind);
    return naming == nullptr ? "" : text_at(kind, entry, naming->name);
}

/// Whether entries of the kind may name what the user asks about.
bool may_touch(const Kind& kind, const Subject& subject)
{
    return subject.is_path() ? is_named_by(kind, FieldType::Path) || aspect_of(kind.name).program != nullptr
                             : is_named_by(kind, FieldType::Text);
}

bool touches(const Kind& kind, const Entry& entry, const Subject& subject)
{
    const std::string name = name_alone(kind, entry);
    const char* const program = aspect_of(kind.name).program;
    return (is_named_by(kind, FieldType::Path) ? subject.is_at(name) : subject.is_named(name)) ||
           (program != nullptr && subject.is_at(text_at(kind, entry, program)));
}

/// The switch that decides whether a kind's entries count: the framework's while that is off.
struct Decision {
    std::string name;
    Value on;
};

/// The states are this machine's.
Decision decision_of(std::string_view kind, const Settings& settings)
{
    const Switch* const whole = find_switch("framework");
    const char* const function = aspect_of(kind).function;
    const bool knows = settings.root.empty();
    const bool by_whole = function == nullptr || (knows && !is_on(*whole));
    const Switch* const deciding = by_whole ? whole : find_switch(function);
    return {std::string(deciding->name), knows ? Value(is_on(*deciding)) : Value()};
}

/// What the machine has of one kind, read once for all subjects.
struct Known {
    const Kind& kind;
    Reading reading;
    /// Of process protection alone.
    Patterns blacklist;
};

Known known_of(Run& run, const Kind& kind)
{
    const std::string& root = run.settings().root;
    const bool has_blacklist = std::string_view(kind.name) == "ppro";
    return run.ask([&] {
        return Known{kind, kind.read(root),
                     has_blacklist ? read_blacklist(root + kPproBlacklist) : Patterns()};
    });
}

class Explanation {
  public:
    explicit Explanation(Run& run)
        : run_(run), policies_(run.table("policies", {"kind", "settings", "owner", "switch", "on", "place",
                                                      "name", "subject"})),
          refusals_(run.table("refusals", {"kind", "edit", "reason", "subject"})),
          problems_(run.table("problems", {"place", "problem", "subject"})),
          subjects_(run.table("subjects", {"what", "policies", "file", "subject"}))
    {
    }

    void explain(const std::vector<Subject>& subjects)
    {
        for (const Kind* kind : kinds()) {
            const auto matters = [kind](const Subject& subject) { return may_touch(*kind, subject); };
            if (std::ranges::any_of(subjects, matters)) {
                known_.push_back(known_of(run_, *kind));
                report_unreadable(known_.back());
            }
        }
        for (const Subject& subject : subjects) {
            explain(subject);
        }
    }

  private:
    /// What could not be read is missing in the answer.
    void report_unreadable(const Known& known)
    {
        for (const auto* failure :
             {&known.reading.failure, &known.reading.damage, &known.blacklist.failure}) {
            if (*failure) {
                run_.fail(**failure);
            }
        }
    }

    void explain(const Subject& subject)
    {
        const std::size_t before = policies_.rows.size();
        for (const Known& known : known_) {
            if (may_touch(known.kind, subject)) {
                refuse_any_edit(known, subject);
                add_patterns(known, subject);
                add_entries(known, subject);
            }
        }
        add_module(subject);
        subjects_.rows.push_back({std::string(subject.is_path() ? "path" : "name"),
                                  static_cast<std::int64_t>(policies_.rows.size() - before),
                                  subject.file() ? Value(*subject.file()) : Value(), subject.word()});
    }

    void refuse(const Known& known, const char* edit, std::string reason, const Subject& subject)
    {
        refusals_.rows.push_back(
            {std::string(known.kind.name), std::string(edit), std::move(reason), subject.word()});
    }

    void refuse_any_edit(const Known& known, const Subject& subject)
    {
        if (run_.settings().root.empty() && !is_on(*find_switch("framework"))) {
            refuse(known, "any", "the framework is switched off", subject);
        }
        if (known.reading.failure) {
            refuse(known, "any", "the policy is broken: " + known.reading.failure->message, subject);
        }
        if (std::string_view(known.kind.name) == "ppro" && subject.is_path() && !subject.file()) {
            refuse(known, "any", "there is no such file", subject);
        }
    }

    /// One row of the policies.
    struct Policy {
        std::string kind;
        std::string settings;
        std::string owner;
        Decision decision;
        Place place;
        std::string name;
    };

    void add_policy(Policy policy, const Subject& subject)
    {
        policies_.rows.push_back({std::move(policy.kind), std::move(policy.settings), std::move(policy.owner),
                                  std::move(policy.decision.name), std::move(policy.decision.on),
                                  policy.place.file.empty() ? Value() : Value(text_of(policy.place)),
                                  std::move(policy.name), subject.word()});
    }

    /// The blacklist's patterns are policies as well.
    void add_patterns(const Known& known, const Subject& subject)
    {
        for (const Pattern& pattern : known.blacklist.patterns) {
            const auto matches = [&pattern](const std::string& path) { return pattern.matches(path); };
            if (std::ranges::any_of(subject.paths(), matches)) {
                const std::string text = pattern.text + (pattern.anywhere ? "*" : "");
                add_policy({"ppro blacklist", "", "", decision_of(known.kind.name, run_.settings()),
                            pattern.place, text},
                           subject);
                refuse(known, "add", "the blacklist forbids it: " + text_of(pattern.place), subject);
            }
        }
    }

    void add_entries(const Known& known, const Subject& subject)
    {
        for (const Entry& entry : known.reading.entries) {
            if (touches(known.kind, entry, subject)) {
                add_entry(known, entry, subject);
            }
        }
    }

    void add_entry(const Known& known, const Entry& entry, const Subject& subject)
    {
        const Kind& kind = known.kind;
        add_policy({kind.name, settings_text(kind, entry), owner_text(kind, entry),
                    decision_of(kind.name, run_.settings()), entry.place, name_alone(kind, entry)},
                   subject);
        // What names a program beside its own name keeps no other entry from naming it.
        if (is_named_by(kind, FieldType::Path) == subject.is_path()) {
            refuse(known, "add", "the entry is there already: " + text_of(entry.place), subject);
        }
        if (owner_of(kind, entry) == "sm") {
            refuse(known, "update, remove", "the \"sm\" side owns the entry: not without --owner sm",
                   subject);
        }
        add_problems(known, entry, subject);
    }

    void add_problems(const Known& known, const Entry& entry, const Subject& subject)
    {
        const std::string place = text_of(entry.place);
        for (const Problem& problem : known.reading.problems) {
            if (text_of(problem.place) == place) {
                problems_.rows.push_back({place, problem.text, subject.word()});
            }
        }
    }

    /// Of kernel modules the service tells which ones the "sm" side owns, and nothing else.
    void add_module(const Subject& subject)
    {
        if (subject.is_path() || !run_.settings().root.empty()) {
            return;
        }
        const Answer<int> answer = run_.hear([&] { return check_kmod_in_sm(subject.word().c_str()); });
        if (answer.recorded) {
            problems_.rows.push_back({Value(),
                                      "the service does not tell whether it is a kernel module of the "
                                      "\"sm\" side: " +
                                          failure_of_record(*answer.recorded).message,
                                      subject.word()});
        } else if (answer.result == 0) {
            add_policy({"kmod", "", "owner=sm", decision_of("kmod", run_.settings()), {}, subject.word()},
                       subject);
        }
    }

    Run& run_;
    Table& policies_;
    Table& refusals_;
    Table& problems_;
    Table& subjects_;
    std::vector<Known> known_;
};

void explain(Run& run, const std::vector<std::string>& words)
{
    if (std::ranges::find(words, "") != words.end()) {
        throw WrongUsage("a subject is empty");
    }
    std::vector<Subject> subjects;
    subjects.reserve(words.size());
    for (const std::string& word : words) {
        subjects.emplace_back(word, run.settings().root);
    }
    Explanation(run).explain(subjects);
}

} // namespace

void add_explain_command(CLI::App& app, Run& run)
{
    const auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* const command =
        add_command(app, run, "explain", "Tell every policy that touches a path, a package or a module",
                    [&run, words] { explain(run, *words); });
    run.honour_root(*command);
    command->add_option("SUBJECT", *words, "Paths (with a slash), or names of packages and modules")
        ->required();
}

} // namespace tresk::ctl
