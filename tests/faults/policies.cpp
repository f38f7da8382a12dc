// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/policies.h"

#include "tests/support/policy_files.h"
#include "tests/unit/devctl_database.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace tresk::test {

namespace {

/// A policy whose readers make it where it is missing, and what they make.
struct Policy {
    const char* file;
    const char* empty;
};

constexpr Policy kPolicies[] = {
    {kPproFile, "<?xml version=\"1.0\"?>\n<ppro_root/>\n"},
    {kPblkFile, "<?xml version=\"1.0\"?>\n<pblk_root/>\n"},
    {kNetctlFile, "<?xml version=\"1.0\"?>\n<tresk_root user_dist=\"0\"/>\n"},
    {kPackagesFile, "<?xml version=\"1.0\"?>\n<tresk_root user_dist=\"0\"/>\n"},
};

/// With an entity, so that a text is put together from pieces.
std::string document(const std::string& root, const std::string& attributes, const std::string& content)
{
    return "<!DOCTYPE " + root + " [<!ENTITY e \"text\">]><" + root + attributes + ">" + content + "</" +
           root + ">";
}

std::string node(const std::string& name, const std::string& attributes, const std::string& children)
{
    return "<" + name + " " + attributes + ">" + children + "</" + name + ">";
}

std::string ppro_node(const std::string& path, const std::string& hash, const std::string& type,
                      const std::string& qualifier)
{
    return node("ppro_node", "path=\"" + path + "\" " + qualifier,
                "<hash>" + hash + "</hash><type>" + type + "</type>");
}

std::string pblk_node(const std::string& path, const std::string& hash, const std::string& type,
                      const std::string& name)
{
    return node("pblk_node",
                "path=\"" + path + "\" data_source_type=\"" + type + "\" data_source_name=\"" + name + "\"",
                "<hash>" + hash + "</hash>");
}

std::string netctl_node(const std::string& identity, const std::string& value)
{
    return node("tresk_node", identity + "=\"" + value + "\"",
                "<hash>h&e;</hash><type>3</type><path>/etc/tresk/netctl/netctl.xml</path>");
}

std::string package(const std::string& name)
{
    return node("tresk_node", "rpm_name=\"" + name + "\" data_source_type=\"1\" data_source_name=\"s\"", "");
}

void write_ppro()
{
    const std::string source = std::string("data_source_name=\"") + kSource + "\"";
    write_file(kPproFile, document("ppro_root", "",
                                   ppro_node("/a", "ha", "1", source) + ppro_node("/b", "hb", "2", source) +
                                       ppro_node("/c", "a&e;c", "3", source) +
                                       ppro_node("/s", "hs", "4", "sm_status=\"1\"")));
    write_file("/etc/tresk/ppro/ppro.conf", "action=kill\naction=log\n");
    write_file("/etc/tresk/ppro/ppro_blacklist", "/first\n/usr/bin/a\n");
}

void write_pblk()
{
    write_file(kPblkFile,
               document("pblk_root", "",
                        pblk_node("/a", "ha", "5", kSource) + pblk_node("/b", "hb", "5", kSource) +
                            pblk_node("/c", "a&e;c", "5", kSource) + pblk_node("/u", "hu", "1", "")));
}

void write_netctl()
{
    for (const auto& [file, identity] : {std::pair(kNetctlFile, "path"), std::pair(kPackagesFile, "pkg")}) {
        const std::string nodes =
            netctl_node(identity, "/a") + netctl_node(identity, "/b") + netctl_node(identity, "/c");
        write_file(file,
                   document("tresk_root", " user_dist=\"1\"", node("tresk_user", "userID=\"1000\"", nodes)));
    }
}

void write_bwlist()
{
    write_file(
        "/etc/tresk/bwlist/bwlist.xml",
        document("tresk_root", "",
                 node("tresk_bwlist", "bw_value=\"white\"", package("a p&e;")) +
                     node("tresk_bwlist", "bw_value=\"black\"", package("another")) +
                     node("tresk_bwlist", "bw_value=\"white\"", package("a package of the white list"))));
}

void write_devices()
{
    std::filesystem::remove(kDatabaseFile);
    Database database;
    database.run(kCreateTable);
    for (const char* number : {"1", "2", "3"}) {
        database.add("datetime('now', '-" + std::string(number) + " day')", "'note'", number);
    }
}

/// A package manager that knows one package.
void write_package_tools()
{
    write_file("/data/tools/rpm", "#!/bin/sh\necho package-1.0\n");
    std::filesystem::permissions("/data/tools/rpm", std::filesystem::perms(0755));
    static const std::string path = [] {
        const char* others = std::getenv("PATH");
        return "/data/tools:" + std::string(others == nullptr ? "" : others);
    }();
    ::setenv("PATH", path.c_str(), 1);
}

bool is_known(const std::filesystem::path& file)
{
    const bool policy = std::any_of(std::begin(kPolicies), std::end(kPolicies),
                                    [&](const Policy& one) { return file == one.file; });
    return policy || file == "/etc/tresk/ppro/ppro.conf" || file == "/etc/tresk/ppro/ppro_blacklist";
}

bool folder_holds_known_files_alone(const std::filesystem::path& folder)
{
    const std::filesystem::directory_iterator files(folder);
    return std::all_of(begin(files), end(files), [](const auto& file) { return is_known(file.path()); });
}

} // namespace

void write_policies()
{
    if (std::getenv("TRESK_STANDIN_STATE") == nullptr) {
        throw std::logic_error("runs in the sandbox alone: it writes policies");
    }
    ::setenv("TZ", "UTC", 1);
    write_ppro();
    write_pblk();
    write_netctl();
    write_bwlist();
    write_devices();
    write_package_tools();
}

void remove_policies()
{
    for (const Policy& policy : kPolicies) {
        const std::filesystem::path folder = std::filesystem::path(policy.file).parent_path();
        for (const auto& file : std::filesystem::directory_iterator(folder)) {
            if (file.path().native().starts_with(policy.file)) {
                std::filesystem::remove(file.path());
            }
        }
    }
}

bool policies_are_whole_or_missing(bool leftovers)
{
    return std::all_of(std::begin(kPolicies), std::end(kPolicies), [leftovers](const Policy& policy) {
        const auto content = read_file(policy.file);
        return (!content || *content == policy.empty) &&
               (leftovers ||
                folder_holds_known_files_alone(std::filesystem::path(policy.file).parent_path()));
    });
}

} // namespace tresk::test
