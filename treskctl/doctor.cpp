// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "doctor": looks at everything that the framework's policies depend on, and says what to do.
#include "treskctl/commands.h"
#include "treskctl/doctor_checks.h"

#include <algorithm>
#include <iterator>

namespace tresk::ctl {

namespace {

struct Group {
    void (*look)(Run& run, Findings& findings);
    /// Whether it is about files alone, which may be another machine's.
    bool of_files;
};

/// The service may leave its question without an answer, so it is asked last, when all else is known.
constexpr Group kGroups[] = {
    {check_switches, false}, {check_files, true},     {check_modes, true},
    {check_kernel, false},   {check_versions, false}, {check_service, false},
};

const char* word_for(Health health)
{
    switch (health) {
    case Health::Ok:
        return "ok";
    case Health::Warning:
        return "warning";
    default:
        return "failed";
    }
}

/// A row does not tell its own name again.
std::string detail_of(const Check& check)
{
    return check.place.empty() || check.place == check.name ? check.detail
                                                            : check.place + ": " + check.detail;
}

Row row_of(const Check& check)
{
    return {check.name, std::string(word_for(check.health)), detail_of(check),
            check.advice.empty() ? Value() : Value(check.advice)};
}

void examine(Run& run)
{
    Findings findings(run);
    for (const Group& group : kGroups) {
        if (group.of_files || run.settings().root.empty()) {
            group.look(run, findings);
        }
    }
    findings.conclude();
}

} // namespace

Findings::Findings(Run& run) : run_(run), table_(run.table("checks", {"check", "state", "detail", "advice"}))
{
}

void Findings::add(const Check& check)
{
    table_.rows.push_back(row_of(check));
    others_.push_back(check);
}

void Findings::put_first(const Checks& checks)
{
    first_ = checks;
    table_.rows.clear();
    for (const Checks* part : {&first_, &others_}) {
        std::ranges::transform(*part, std::back_inserter(table_.rows), row_of);
    }
}

void Findings::conclude()
{
    for (const Checks* part : {&first_, &others_}) {
        for (const Check& check : *part) {
            if (check.health == Health::Failed) {
                run_.fail({check.cause,
                           check.detail,
                           {},
                           check.place.empty() ? check.name : check.place,
                           check.advice});
            }
        }
    }
}

void add_doctor_command(CLI::App& app, Run& run)
{
    CLI::App* const command =
        add_command(app, run, "doctor", "Look for what keeps the framework from working, and say what to do",
                    [&run] { examine(run); });
    run.honour_root(*command);
    command->footer("Without --timeout the bus, and then the service, have " +
                    std::to_string(kPatience.count()) + " seconds to answer.");
}

} // namespace tresk::ctl
