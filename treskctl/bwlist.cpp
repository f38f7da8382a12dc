// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "bwlist": the packages' black and white lists. Its edits answer with status codes, as no other policy's do.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/edit.h"
#include "treskctl/policy_records.h"
#include "treskctl/printable.h"
#include "treskctl/service_answer.h"

#include <CLI/CLI.hpp>

namespace tresk::ctl {

namespace {

constexpr Policy kPolicy = {"/etc/tresk/bwlist/bwlist.xml", "the lists could not be read"};

/// The name under which both lists are looked at together, in the mode in which the source plays no part.
constexpr const char* kBothLists = "bwlist";
constexpr int kAnySource = 3;
constexpr int kWhiteOnly = 2;

struct ListOptions {
    std::vector<std::string> subjects;
    std::string list;
    Source source;
};

void add_list(CLI::App& command, std::string& list, const std::vector<std::string>& names)
{
    add_choice(command, "LIST", list, names, "The list");
}

// --- edits ---

int add_package(const ListOptions& options, const std::string& package)
{
    return tresk_bwlist_add_zdk(options.list.c_str(), package.c_str(), options.source.type,
                                options.source.name.c_str());
}

int remove_package(const ListOptions& options, const std::string& package)
{
    return tresk_bwlist_del_zdk(options.list.c_str(), package.c_str(), options.source.type,
                                options.source.name.c_str());
}

Failure failure_of_package(Run& /*run*/, const Heard<int>& answer, const ListOptions& options,
                           const std::string& package)
{
    return is_utf8(package) && is_utf8(options.source.name) ? *failure_of_change(answer.result) : not_utf8();
}

void add_list_and_source(CLI::App& command, ListOptions& options)
{
    add_list(command, options.list, {"white", "black"});
    add_source_options(command, options.source);
}

constexpr EditFamily<ListOptions> kFamily = {"package", "PACKAGE", "Names of packages", failure_of_package,
                                             nullptr};

constexpr std::array kEdits = {
    Edit<ListOptions>{"add", "Put packages on a list", add_package, "listed", nullptr, add_list_and_source},
    Edit<ListOptions>{"remove", "Take packages off a list", remove_package, "unlisted", nullptr,
                      add_list_and_source},
};

// --- looking packages up ---

/// The library takes a policy that cannot be opened for an empty one; a missing one is no more than that.
bool is_locked()
{
    return ::access(kPolicy.file, R_OK) != 0 && errno != ENOENT;
}

int look_up_in_one(const ListOptions& options, const std::string& package)
{
    return options.source.given
               ? _bwlist_independence_select_by_rpm_name(options.list.c_str(), package.c_str(),
                                                         options.source.type, options.source.name.c_str())
               : _bwlist_unite_select_by_rpm_name(options.list.c_str(), package.c_str());
}

int look_up_in_both(const std::string& package)
{
    return tresk_bwlist_select_by_rpm_name_zdk(kBothLists, package.c_str(), kAnySource, nullptr);
}

void look_up(Run& run, const ListOptions& options)
{
    const bool both = options.list == kBothLists;
    if (both && options.source.given) {
        throw CLI::ValidationError("LIST", "bwlist excludes --source and --source-type");
    }
    Table& table = run.table("packages", {both ? "white_only" : "listed", "package"});
    for (const std::string& package : options.subjects) {
        const int answer =
            run.ask([&] { return both ? look_up_in_both(package) : look_up_in_one(options, package); });
        if (answer < 0 || is_locked()) {
            run.fail(failure_of_reading(kPolicy));
            return;
        }
        table.rows.push_back({both ? answer == kWhiteOnly : answer != 0, package});
    }
}

void add_lookup(CLI::App& bwlist, Run& run)
{
    const auto options = std::make_shared<ListOptions>();
    CLI::App* const command = add_command(bwlist, run, "lookup", "Ask whether packages are on a list",
                                          [&run, options] { look_up(run, *options); });
    add_list(*command, options->list, {"white", "black", kBothLists});
    command->add_option("PACKAGE", options->subjects, "Names of packages")->required();
    add_source_options(*command, options->source);
}

// --- the sources' switches ---

struct Distinction {
    Source source;
    std::optional<int> value;
};

void show_distinction(Run& run, const Source& source)
{
    Table& table = run.table("distinctions", {"value", "source_type", "source"});
    const int answer =
        run.ask([&] { return tresk_bwlist_get_root_distinguish_zdk(source.type, source.name.c_str()); });
    if (auto failure = failure_of_query(answer)) {
        run.fail(is_utf8(source.name) ? *failure : not_utf8());
    } else {
        table.rows.push_back({answer, source.type, source.name});
    }
}

void set_distinction(Run& run, int value, const Source& source)
{
    change(run, {"value", "source_type", "source"}, {value, source.type, source.name},
           [&] { return tresk_bwlist_set_root_distinguish_zdk(value, source.type, source.name.c_str()); });
}

void clear_lists(Run& run, const Source& source)
{
    change(run, {"lists", "source_type", "source"}, {"cleared", source.type, source.name},
           [&] { return tresk_bwlist_clear_policy_zdk(source.type, source.name.c_str()); });
}

void add_switches(CLI::App& bwlist, Run& run)
{
    const auto cleared = std::make_shared<Source>();
    add_source_options(*add_command(bwlist, run, "clear", "Take all packages of a source off the lists",
                                    [&run, cleared] { clear_lists(run, *cleared); }),
                       *cleared)
        ->required()
        ->option_text("N REQUIRED");

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

void add_bwlist_commands(CLI::App& app, Run& run)
{
    CLI::App* const bwlist = add_group(app, "bwlist", "Black and white lists of packages");
    add_edits(*bwlist, run, kFamily, kEdits);
    add_lookup(*bwlist, run);
    add_switches(*bwlist, run);
}

} // namespace tresk::ctl
