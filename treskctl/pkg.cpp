// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "pkg": the packages under network control.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/edit.h"
#include "treskctl/netctl_rules.h"

namespace tresk::ctl {

namespace {

constexpr Policy kPolicy = {"/etc/tresk/netctl/netctl_pkg.xml",
                            "the file is no network control policy of packages"};

// --- edits ---

struct PackageOptions : RuleOptions {
    std::optional<std::string> path;
};

int add_package(const PackageOptions& o, const std::string& package)
{
    return tresk_netctl_pkg_add(o.uid, package.c_str(), o.type, o.ico.c_str(), o.desktop.value_or("").c_str(),
                                o.server_type);
}

int update_package(const PackageOptions& o, const std::string& package)
{
    const std::string desktop = o.desktop.value_or("");
    return o.path ? tresk_netctl_pkg_path_update(o.uid, package.c_str(), o.path->c_str(), o.type,
                                                 o.ico.c_str(), desktop.c_str(), o.server_type)
                  : tresk_netctl_pkg_update(o.uid, package.c_str(), o.type, o.ico.c_str(), desktop.c_str(),
                                            o.server_type);
}

int remove_package(const PackageOptions& options, const std::string& package)
{
    return tresk_netctl_pkg_remove(options.uid, package.c_str());
}

Failure failure_of_package(Run& run, const Heard<int>& answer, const PackageOptions& options,
                           const std::string& package)
{
    return failure_of_edit(run, answer,
                           {package, options.ico, options.desktop.value_or(""), options.path.value_or("")});
}

void add_package_options(CLI::App& command, PackageOptions& options)
{
    add_rule_options(command, options);
}

void add_package_and_path_options(CLI::App& command, PackageOptions& options)
{
    add_rule_options(command, options);
    add_optional_text(command, "--path", options.path,
                      "A program file of the package; the scene library is not asked then", "PATH");
}

void add_user(CLI::App& command, PackageOptions& options)
{
    add_uid_option(command, options.uid);
}

constexpr EditFamily<PackageOptions> kFamily = {"package", "PACKAGE", "Names of packages", failure_of_package,
                                                nullptr};

constexpr std::array kEdits = {
    Edit<PackageOptions>{"add", "Put packages under network control", add_package, "controlled", nullptr,
                         add_package_options},
    Edit<PackageOptions>{"update", "Replace the rules of packages", update_package, "updated", nullptr,
                         add_package_and_path_options},
    Edit<PackageOptions>{"remove", "End packages' network control", remove_package, "released", nullptr,
                         add_user},
};

// --- questions ---

struct Question {
    std::uint32_t uid = 0;
    std::string package;
};

const View<netctl_pkg_node_info> kView = {
    {"type", "server_type", "ico", "desktop", "package"}, [](const netctl_pkg_node_info& rule) {
        return Row{rule.type, rule.server_type, rule.ico, rule.desktop, rule.pkg};
    }};

const View<netctl_pkg_path_node_info> kViewWithPath = {
    {"type", "server_type", "ico", "desktop", "path", "package"}, [](const netctl_pkg_path_node_info& rule) {
        return Row{rule.type, rule.server_type, rule.ico, rule.desktop, rule.path, rule.pkg};
    }};

/// The array reader for @uid.
auto reader_for(std::uint32_t uid)
{
    return [uid](std::uint32_t* count) { return tresk_netctl_pkg_read_all_data_with_uid(uid, count); };
}

void list_packages(Run& run, const Question& question)
{
    list_records<std::uint32_t>(run, kPolicy, kView, learn_distinction(run), reader_for(question.uid));
}

void show_package(Run& run, const Question& question)
{
    const bool ready = learn_distinction(run) &&
                       read_records<std::uint32_t>(run, kPolicy, reader_for(question.uid)).has_value();
    show_record(run, kViewWithPath, ready,
                [&] {
                    return Malloced<netctl_pkg_path_node_info>(
                        tresk_netctl_pkg_path_read_node_with_uid(question.uid, question.package.c_str()));
                },
                {Cause::NotFound, "not under network control", {}, question.package});
}

/// The library does not tell a refused name from a query that could not be run.
void show_installed(Run& run, const std::vector<std::string>& packages)
{
    Table& table = run.table("packages", {"installed", "package"});
    for (const std::string& package : packages) {
        const int answer = run.ask([&] { return check_pkg_is_install(package.c_str()); });
        if (answer < 0) {
            run.fail({Cause::NoAnswer,
                      "the name has a character that a shell would act on, or the packages could not be "
                      "listed; the framework's log has the reason",
                      answer, package});
        } else {
            table.rows.push_back({answer != 0, package});
        }
    }
}

void add_questions(CLI::App& pkg, Run& run)
{
    const auto list = std::make_shared<Question>();
    add_uid_option(*add_command(pkg, run, "list", "List the packages of a user whose program files exist",
                                [&run, list] { list_packages(run, *list); }),
                   list->uid);

    const auto show = std::make_shared<Question>();
    CLI::App* const shower = add_command(pkg, run, "show", "Show one package's rule and its program file",
                                         [&run, show] { show_package(run, *show); });
    shower->add_option("PACKAGE", show->package, "The package's name")->required();
    add_uid_option(*shower, show->uid);

    const auto packages = std::make_shared<std::vector<std::string>>();
    add_command(pkg, run, "installed", "Ask whether packages are installed",
                [&run, packages] { show_installed(run, *packages); })
        ->add_option("PACKAGE", *packages, "Names of packages, without versions")
        ->required();
}

} // namespace

void add_pkg_commands(CLI::App& app, Run& run)
{
    CLI::App* const pkg = add_group(app, "pkg", "Network control of packages");
    add_questions(*pkg, run);
    add_edits(*pkg, run, kFamily, kEdits);
}

} // namespace tresk::ctl
