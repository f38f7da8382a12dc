// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Hostile texts through every text argument of every exported function: nothing is run and nothing is written
// but what is named here. A function of the header that takes a text and has no row fails.
#include "common/handles.h"
#include "tests/hostile/calls.h"
#include "tests/hostile/expected_programs.h"
#include "tests/hostile/hostile_texts.h"
#include "tests/hostile/watched.h"
#include "tests/support/policy_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>

namespace tresk::test {

namespace {

namespace fs = std::filesystem;

// --- the table ---

const std::vector<std::string> kFile{"/data/policy.xml"};

const std::vector<Row>& rows()
{
    static const std::vector<Row> table{
        ROW(process_dbus_method, {"/conf", "com.meron.tresk.conf", "tresk_conf_add"}),
        ROW(process_dbus_other_method,
            {"com.meron.tresk", "/conf", "com.meron.tresk.conf", "tresk_conf_add"}),
        ROW(tresk_conf_set),
        ROW(setSelinuxPolicy),
        ROW(tresk_label_set),
        ROW(tresk_protect_set_zdk, {"/usr/bin/env", "readonly"}),
        ROW(tresk_protect_set, {"/usr/bin/env", "readonly"}),
        ROW(tresk_protect_set_sm, {"/usr/bin/env", "readonly"}),
        ROW(tresk_protect_set_for_dir_zdk, {"/data", "readonly"}),
        ROW(tresk_protect_set_for_dir, {"/data", "readonly"}),
        ROW(tresk_protect_set_for_dir_sm, {"/data", "readonly"}),
        ROW(tresk_identify_set, {"/usr/bin/env", "secadm"}),
        ROW(tresk_exectl_set, {"/usr/bin/env", "trusted"}),
        ROW(tresk_check_user_valid),
        ROW(tresk_protect_multi_set),
        ROW(tresk_identify_multi_set),
        ROW(tresk_exectl_multi_set),
        ROW(tresk_exectl_multi_set_for_dpkg),
        ROW(tresk_calc_file_hash_value),
        ROW(tresk_get_file_hash_value),
        ROW(tresk_calc_multi_file_hash_value),
        ROW(tresk_get_multi_file_hash_value),
        ROW(get_kmod_name_from_ko),
        ROW(add_to_kmod_protect),
        ROW(add_to_kmod_protect_sm),
        ROW(add_to_kmod_protect_zdk),
        ROW(remove_from_kmod_protect),
        ROW(remove_from_kmod_protect_sm),
        ROW(remove_from_kmod_protect_zdk),
        ROW(add_kmod_to_kmod_protect),
        ROW(add_kmod_to_kmod_protect_sm),
        ROW(add_kmod_to_kmod_protect_zdk),
        ROW(remove_kmod_from_kmod_protect),
        ROW(remove_kmod_from_kmod_protect_sm),
        ROW(remove_kmod_from_kmod_protect_zdk),
        ROW(check_kmod_in_sm),
        ROW(tresk_xattr_check_kmod_del_from_kernel),
        ROW(tresk_hash_communicate_with_kernel),
        ROW(tresk_netctl_communicate_with_kernel),
        ROW(tresk_pblk_communicate_with_kernel_zdk),
        ROW(tresk_pblk_communicate_with_kernel),
        ROW(tresk_ppro_communicate_with_kernel_zdk),
        ROW(tresk_ppro_communicate_with_kernel),
        ROW(tresk_ppro_communicate_with_kernel_sm),
        ROW(tresk_kmod_communicate_with_kernel_zdk),
        ROW(tresk_kmod_communicate_with_kernel),
        ROW(tresk_kmod_communicate_with_kernel_sm),
        ROW(tresk_devctl_communicate_with_kernel),
        ROW(tresk_convert_exectl_label_to_label_type),
        ROW(tresk_netctl_read_all_data_inner, kFile, true),
        ROW(tresk_netctl_read_all_data_with_uid_inner, kFile, true),
        ROW(tresk_netctl_ext_read_all_data_with_uid_inner, kFile, true),
        ROW(tresk_netctl_read_node_with_uid),
        ROW(tresk_netctl_ext_read_node_with_uid),
        ROW(tresk_netctl_get_path_hash),
        ROW(tresk_netctl_add),
        ROW(tresk_netctl_ext_add),
        ROW(tresk_netctl_update),
        ROW(tresk_netctl_ext_update),
        ROW(tresk_netctl_remove),
        ROW(tresk_netctl_pkg_add),
        ROW(tresk_netctl_pkg_update),
        ROW(tresk_netctl_pkg_path_update),
        ROW(tresk_netctl_pkg_read_all_data_with_uid_inner, kFile, true),
        ROW(tresk_netctl_pkg_read_node_with_uid),
        ROW(tresk_netctl_pkg_path_read_node_with_uid),
        ROW(tresk_netctl_pkg_remove),
        ROW(check_pkg_is_install),
        ROW(check_program_is_exist),
        ROW(tresk_ppro_get_path_hash),
        ROW(tresk_ppro_add_zdk),
        ROW(tresk_ppro_update_zdk),
        ROW(tresk_ppro_remove_zdk),
        ROW(tresk_ppro_add),
        ROW(tresk_ppro_update),
        ROW(tresk_ppro_remove),
        ROW(tresk_ppro_add_sm),
        ROW(tresk_ppro_update_sm),
        ROW(tresk_ppro_remove_sm),
        ROW(tresk_ppro_update_internal),
        ROW(tresk_ppro_remove_internal),
        ROW(tresk_ppro_read_all_data_with_file, kFile, true),
        ROW(tresk_ppro_read_all_data_with_file_sm, kFile, true),
        ROW(tresk_ppro_read_all_data_with_file_zdk, kFile, true),
        ROW(tresk_ppro_read_all_data_zdk),
        ROW(tresk_ppro_read_node_with_path_internal),
        ROW(tresk_ppro_read_node_with_path),
        ROW(tresk_ppro_read_node_with_path_sm),
        ROW(tresk_ppro_read_node_with_path_zdk),
        ROW(tresk_ppro_read_node_with_hash_zdk),
        ROW(tresk_ppro_check_in_sm),
        ROW(tresk_ppro_get_same_node_by_hash),
        ROW(ppro_path_in_blacklist),
        ROW(tresk_get_pid_by_path),
        ROW(tresk_pblk_get_path_hash),
        ROW(tresk_pblk_add_zdk),
        ROW(tresk_pblk_add),
        ROW(tresk_pblk_read_all_data_with_file, kFile, true),
        ROW(tresk_pblk_read_all_data_with_file_zdk, kFile, true),
        ROW(tresk_pblk_read_all_data_zdk),
        ROW(tresk_pblk_read_node_with_path_zdk),
        ROW(tresk_pblk_read_node_with_path),
        ROW(tresk_pblk_read_node_with_hash_zdk),
        ROW(tresk_pblk_get_same_node_by_hash),
        ROW(tresk_pblk_remove_zdk),
        ROW(tresk_pblk_remove),
        ROW(tresk_devctl_add_perm),
        ROW(tresk_devctl_update_perm),
        ROW(tresk_devctl_remove_perm),
        ROW(tresk_devctl_wireless_ctl_add),
        ROW(tresk_devctl_wireless_ctl_del),
        ROW(tresk_devctl_batch_add_perm),
        ROW(tresk_devctl_xdg_insert_record),
        ROW(tresk_bwlist_add_zdk),
        ROW(tresk_bwlist_select_by_rpm_name_zdk),
        ROW(_bwlist_unite_select_by_rpm_name),
        ROW(_bwlist_independence_select_by_rpm_name),
        ROW(tresk_bwlist_get_root_distinguish_zdk),
        ROW(tresk_bwlist_set_root_distinguish_zdk),
        ROW(tresk_bwlist_del_zdk),
        ROW(tresk_bwlist_clear_policy_zdk),
    };
    return table;
}

// --- the table is complete ---

std::string without_comments(const std::string& text)
{
    std::string rest;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t comment = std::min(text.find("/*", at), text.size());
        rest += text.substr(at, comment - at);
        at = comment == text.size() ? comment : text.find("*/", comment) + 2;
    }
    return rest;
}

/// Of each exported function that takes texts, or records that hold some: how many.
std::map<std::string, std::size_t> functions_that_take_texts()
{
    const std::string header = without_comments(read_file(TRESK_HEADER).value());
    const std::string map = without_comments(read_file(TRESK_MAP).value());
    const std::regex symbol(R"(\b(\w+);)");
    const std::regex text(R"(\bconst char \*const \*|\bchar \*(?!\*)|\bconst void \*|\bconst tresk_\w+ \*)");
    std::map<std::string, std::size_t> functions;
    for (std::sregex_iterator name(map.begin(), map.end(), symbol), end; name != end; ++name) {
        const std::string exported = (*name)[1];
        std::smatch declaration;
        if (std::regex_search(header, declaration, std::regex("\\b" + exported + R"(\(([^;]*)\);)"))) {
            const std::string arguments = declaration[1];
            const auto texts =
                std::distance(std::sregex_iterator(arguments.begin(), arguments.end(), text), end);
            if (texts > 0) {
                functions[exported] = static_cast<std::size_t>(texts);
            }
        }
    }
    return functions;
}

TEST(HostileTextsInTheLibrary, HaveARowForEveryFunctionThatTakesTexts)
{
    std::map<std::string, std::size_t> table;
    for (const Row& row : rows()) {
        EXPECT_TRUE(table.emplace(row.symbol, row.texts).second) << row.symbol << " has two rows";
    }
    EXPECT_EQ(table, functions_that_take_texts());
    EXPECT_GT(table.size(), 100U);
}

// --- what they do ---

constexpr const char* kWorkingFolder = "/data/files";

std::string harmless(const Row& row, std::size_t index)
{
    return row.harmless[std::min(index, row.harmless.size() - 1)];
}

void call_with(const Row& row, std::size_t hostile, const std::string& text)
{
    Given given{{}, kRecords};
    for (std::size_t index = 0; index < row.texts; ++index) {
        given.texts.push_back(index == hostile ? text : harmless(row, index));
    }
    row.call(given);
}

/// The kernel's messages have room for so much, and the header says what comes of more.
bool ends_the_process(const Row& row, std::size_t argument, const std::string& text)
{
    constexpr std::size_t kPayload = 1000;
    return argument == 0 && text.size() > kPayload &&
           std::string(row.symbol).starts_with("tresk_kmod_communicate_with_kernel");
}

void call_all(const std::vector<Row>& table)
{
    fs::current_path(kWorkingFolder);
    for (const Row& row : table) {
        for (std::size_t argument = 0; argument < row.texts; ++argument) {
            for (const HostileText& hostile : hostile_texts()) {
                if (!ends_the_process(row, argument, hostile.text)) {
                    call_with(row, argument, hostile.text);
                }
            }
        }
    }
}

std::string state_folder()
{
    return std::getenv("TRESK_STANDIN_STATE");
}

/// The parser complains about every file that is missing; what a sanitizer says goes to a file of its own.
void be_silent()
{
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        const Descriptor file(::open((state_folder() + "/watched.err").c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
        ::dup2(file.get(), stream);
    }
}

/// The end of what the watched process wrote, for a failure's message.
std::string last_words()
{
    const std::string said = read_file(state_folder() + "/watched.err").value_or("");
    constexpr std::size_t kEnough = 2000;
    return said.substr(said.size() - std::min(said.size(), kEnough));
}

/// What the library and the framework's libraries write in the caller's process: the log, the scene, and the
/// policy files that are missing.
bool is_expected(const std::string& file)
{
    static const std::regex expected(
        "/etc/tresk/(ppro/ppro|netctl/netctl|netctl/netctl_pkg|pblk/pblk)\\.xml[^/]*|" + state_folder() +
        "/(framework\\.log|watched\\.err|scene(/[a-z0-9_]+(\\.lock|\\.new)?)?)");
    return std::regex_match(file, expected);
}

std::set<std::string> unexpected(const std::set<std::string>& files)
{
    std::set<std::string> others;
    std::copy_if(files.begin(), files.end(), std::inserter(others, others.end()),
                 [](const std::string& file) { return !is_expected(file); });
    return others;
}

/// The command that a shell was given, behind whatever options.
Words shell_commands(const std::set<Words>& programs)
{
    Words commands;
    for (const Words& words : programs) {
        if (!words.empty() && words.front() == "sh") {
            commands.push_back(words.back());
        }
    }
    return commands;
}

std::set<Words> programs_of_shell(const std::set<Words>& programs)
{
    std::set<Words> others;
    std::copy_if(programs.begin(), programs.end(), std::inserter(others, others.end()),
                 [](const Words& words) { return words.empty() || words.front() != "sh"; });
    return others;
}

/// Every path in the sandbox's own folders and beside them.
std::set<std::string> listing()
{
    std::set<std::string> paths;
    for (const fs::path& folder : {fs::path("/etc/tresk"), fs::path("/data"), fs::path(state_folder())}) {
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            paths.insert(entry.path());
        }
    }
    for (const char* folder : {"/", "/etc", "/tmp"}) {
        const fs::path trap = fs::path(folder) / kTrap;
        if (fs::exists(trap)) {
            paths.insert(trap);
        }
    }
    return paths;
}

/// What the service and the scene keep after all these calls.
bool is_kept(const std::string& path)
{
    static const std::regex kept(
        "/data/(tools|files)(/(awk|cat|grep|dpkg-query))?|/etc/tresk/db(/whlist\\.db)?|"
        "/etc/tresk/bwlist(/bwlist\\.xml)?|/etc/tresk/(ppro|netctl|pblk)|" +
        state_folder() +
        "/([a-z]+\\.err|service\\.log|kernel\\.log|conf|func_status|file_hashes|"
        "selinux_policy|bwlist_distinguish)");
    return is_expected(path) || std::regex_match(path, kept);
}

std::vector<Row> rows_that(bool make_named_file)
{
    std::vector<Row> chosen;
    std::copy_if(rows().begin(), rows().end(), std::back_inserter(chosen),
                 [&](const Row& row) { return row.makes_named_file == make_named_file; });
    return chosen;
}

TEST(HostileTextsInTheLibrary, RunNothingAndWriteNothingOfTheirs)
{
    make_tools();
    fs::create_directories(kWorkingFolder);
    const Watched watched = watch([] {
        be_silent();
        ::setenv("PATH", kTools, 1);
        call_all(rows_that(false));
        // What is harmless gets as far as grep, so that the recorder is seen to record.
        if (check_pkg_is_install("plain-name") != 1) {
            throw std::runtime_error("the package list was not read");
        }
    });
    EXPECT_EQ(watched.status, 0) << last_words();
    EXPECT_EQ(shell_commands(watched.programs),
              (Words{kCountSockets, kListPackages + " | " + kNamesOfPackages,
                     kListPackages + " | grep plain-name | " + kNamesOfPackages}));
    EXPECT_EQ(programs_of_shell(watched.programs), kExpectedPrograms);
    EXPECT_EQ(unexpected(watched.written), std::set<std::string>{});
    EXPECT_EQ(watched.connections, std::set<int>{});
    for (const std::string& path : listing()) {
        EXPECT_TRUE(is_kept(path)) << path;
    }
    RecordProperty("seconds", std::to_string(watched.seconds));
}

/// A policy file that the caller names is made where it is missing: that one, in a folder that is there.
TEST(HostileTextsInTheLibrary, AsNamesOfPolicyFilesMakeThoseFilesAlone)
{
    fs::create_directories(kWorkingFolder);
    const Watched watched = watch([] {
        be_silent();
        call_all(rows_that(true));
    });
    EXPECT_EQ(watched.status, 0) << last_words();
    EXPECT_EQ(watched.programs, std::set<Words>{});
    std::set<std::string> named;
    for (const HostileText& hostile : hostile_texts()) {
        named.insert(hostile.text.starts_with("/") ? hostile.text
                                                   : std::string(kWorkingFolder) + "/" + hostile.text);
    }
    named.insert(kFile.front());
    std::set<std::string> others = unexpected(watched.written);
    for (const std::string& path : named) {
        std::erase_if(others, [&](const std::string& file) {
            return file.starts_with(path) && file.size() < path.size() + 16;
        });
    }
    EXPECT_EQ(others, std::set<std::string>{});
}

TEST(HostileTextsInTheLibrary, OfAModuleThatAreTooLongForTheKernelEndTheProcessAsTheHeaderSays)
{
    for (const Row& row : rows()) {
        for (const HostileText& hostile : hostile_texts()) {
            if (ends_the_process(row, 0, hostile.text)) {
                const Watched watched = watch([&] {
                    be_silent();
                    call_with(row, 0, hostile.text);
                });
                EXPECT_EQ(watched.status, -SIGABRT) << row.symbol << " " << hostile.name;
            }
        }
    }
}

} // namespace

} // namespace tresk::test
