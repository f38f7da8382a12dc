// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "bwlist" beside its entries: the verdict over both lists, and the sources' switches.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/confirm.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/object_commands.h"
#include "treskctl/service_answer.h"
#include "treskctl/shared_options.h"
#include "treskctl/simple_change.h"

namespace tresk::ctl {

namespace {

/// The name under which both lists are looked at together, in the mode in which the source plays no part.
constexpr const char* kBothLists = "bwlist";
constexpr int kAnySource = 3;
constexpr int kWhiteOnly = 2;

int ask_verdict(Run& run, const std::string& package)
{
    return run.ask([&] {
        return tresk_bwlist_select_by_rpm_name_zdk(kBothLists, package.c_str(), kAnySource, nullptr);
    });
}

/// The library takes a broken file for lists without packages, and complains of a missing one; so it is read
/// here before.
void show_verdicts(Run& run, const std::vector<std::string>& packages)
{
    Table& table = run.table("packages", {"allowed", "package"});
    const auto machine = read_machine(run, bwlist_kind());
    if (!machine) {
        return;
    }
    for (const std::string& package : packages) {
        const int answer = machine->entries.empty() ? 0 : ask_verdict(run, package);
        table.rows.push_back({answer == kWhiteOnly, package});
        if (answer != kWhiteOnly) {
            run.answer_no();
        }
    }
}

struct Distinction {
    Source source;
    std::optional<int> value;
};

int ask_distinction(Run& run, const Source& source)
{
    return run.ask([&] { return tresk_bwlist_get_root_distinguish_zdk(source.type, source.name.c_str()); });
}

void show_distinction(Run& run, const Source& source)
{
    Table& table = run.table("distinctions", {"value", "source_type", "source"});
    const int answer = ask_distinction(run, source);
    if (auto failure = failure_of_query(answer)) {
        run.fail(*failure);
    } else {
        table.rows.push_back({answer, source.type, source.name});
    }
}

void set_distinction(Run& run, int value, const Source& source)
{
    make_simple_change(run,
                       {{"value", "source_type", "source"},
                        {value, source.type, source.name},
                        TRESKCTL_CALL(tresk_bwlist_set_root_distinguish_zdk, value, source.type, source.name),
                        ask_distinction(run, source) == value});
}

/// The service takes the source's switch away as well, so that without entries nobody can tell what changes.
void clear_source(Run& run, const Source& source)
{
    SimpleChanges results(run, {"result", "source_type", "source"});
    const Kind& kind = bwlist_kind();
    const auto machine = read_machine(run, kind);
    if (!machine) {
        return;
    }
    const auto count = std::ranges::count_if(machine->entries, [&](const Entry& entry) {
        return number_at(kind, entry, "source_type") == source.type &&
               text_at(kind, entry, "source") == source.name;
    });
    if (count == 0 || confirm(run, deletion_of(kind, static_cast<std::size_t>(count)))) {
        results.make({"cleared", source.type, source.name},
                     TRESKCTL_CALL(tresk_bwlist_clear_policy_zdk, source.type, source.name),
                     count > 0 ? std::optional(false) : std::nullopt);
    }
}

void add_distinction(CLI::App& bwlist, Run& run)
{
    const auto distinction = std::make_shared<Distinction>();
    CLI::App* const command =
        add_command(bwlist, run, "distinct", "Show or set the lists' root switch", [&run, distinction] {
            if (distinction->value) {
                set_distinction(run, *distinction->value, distinction->source);
            } else {
                show_distinction(run, distinction->source);
            }
        });
    command->add_option("VALUE", distinction->value, "Its new value, an integer");
    add_source_options(*command, distinction->source);
}

} // namespace

void add_bwlist_questions(CLI::App& bwlist, Run& run)
{
    const auto packages = std::make_shared<std::vector<std::string>>();
    add_command(bwlist, run, "verdict",
                "Ask whether packages are on the white list and not on the black one: exit status 0 or 1",
                [&run, packages] { show_verdicts(run, *packages); })
        ->add_option("PACKAGE", *packages, "Names of packages")
        ->required();
    add_distinction(bwlist, run);

    const auto cleared = std::make_shared<Source>();
    add_source_options(*add_command(bwlist, run, "clear-source",
                                    "Have the service take all packages of a source, and its switch, away",
                                    [&run, cleared] { clear_source(run, *cleared); }),
                       *cleared)
        ->required()
        ->option_text("N REQUIRED");
}

} // namespace tresk::ctl
