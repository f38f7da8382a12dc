// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/naive_xml.h"

#include <unistd.h>

namespace tresk::test {

namespace {

PolicyKind programs(const Naive& naive, const std::string& file)
{
    std::string setting = std::to_string(user_distinguish);
    if (naive.keeps(Rule::SettingIsCutToNineBytes) && setting.size() > 9) {
        setting.resize(9);
    }
    return {"tresk_root", file, "<?xml version=\"1.0\"?>\n<tresk_root user_dist=\"" + setting + "\"/>\n"};
}

constexpr char kProgramsFile[] = "/etc/tresk/netctl/netctl.xml";
constexpr char kPackagesFile[] = "/etc/tresk/netctl/netctl_pkg.xml";

/// The first group that is read at or after @group, null for none.
xmlNode* next_group(const Naive& naive, xmlNode* group, const std::uint32_t* uid)
{
    for (; group != nullptr; group = group->next) {
        if (group->type != XML_ELEMENT_NODE) {
            continue;
        }
        if (naive.keeps(Rule::UserElement) && !is_element(group, "tresk_user")) {
            continue;
        }
        if (naive.keeps(Rule::UserAttributeFirst) && !is_first_attribute(naive, group, "userID")) {
            continue;
        }
        const Text user = attribute(group, "userID");
        if (!user) {
            continue;
        }
        const bool other = uid != nullptr && static_cast<std::uint32_t>(number(naive, *user)) != *uid;
        if (user_distinguish != 0 && other && naive.keeps(Rule::OtherUsersAreSkipped)) {
            continue;
        }
        if (user_distinguish == 0 && other && !naive.keeps(Rule::DistinctionOffReadsAll)) {
            continue;
        }
        return group;
    }
    return nullptr;
}

/// The group to read after @group.
xmlNode* group_after(const Naive& naive, const xmlNode* group, const std::uint32_t* uid)
{
    const bool only_one = uid != nullptr && user_distinguish != 0;
    if (only_one && naive.keeps(Rule::FirstGroupOfUserAlone)) {
        return nullptr;
    }
    return next_group(naive, group->next, uid);
}

/// The node's identity, where it may be read at all.
Text identity(const Naive& naive, xmlNode* node, const char* name)
{
    if (node->type != XML_ELEMENT_NODE || (naive.keeps(Rule::NodeName) && !is_element(node, "tresk_node"))) {
        return std::nullopt;
    }
    if (!is_first_attribute(naive, node, name)) {
        return std::nullopt;
    }
    const Text value = attribute(node, name);
    return value && fits(naive, *value) ? value : std::nullopt;
}

struct Parts {
    Text type;
    Text hash;
    Text name;
    Text ico;
    Text desktop;
    Text server_type;
    Text path;
};

Parts parts_of(const Naive& naive, xmlNode* node)
{
    return {child_text(naive, node, "type"),    child_text(naive, node, "hash"),
            child_text(naive, node, "name"),    child_text(naive, node, "ico"),
            child_text(naive, node, "desktop"), child_text(naive, node, "server_type"),
            child_text(naive, node, "path")};
}

bool complete(const Naive& naive, const Parts& parts)
{
    return (parts.hash || !naive.keeps(Rule::HashIsRequired)) &&
           (parts.type || !naive.keeps(Rule::TypeIsRequired));
}

std::string or_unknown(const Naive& naive, const Text& text)
{
    return text.value_or(naive.keeps(Rule::MissingTextIsUnknown) ? "unknown" : "");
}

template <class Record>
void fill_basis(const Naive& naive, Record& record, const std::string& path, const Parts& parts)
{
    copy_text(record.path, path, 4095);
    copy_text(record.hash, parts.hash.value_or(""), naive.keeps(Rule::HashIsCut) ? 64 : 63);
    record.type = number(naive, parts.type.value_or(""));
}

template <class Record>
void fill_presentation(const Naive& naive, Record& record, const Parts& parts)
{
    copy_text(record.ico, or_unknown(naive, parts.ico), naive.keeps(Rule::IconIsCut) ? 4095 : 4094);
    record.server_type = number(naive, parts.server_type.value_or("0"));
}

template <class Record>
void fill_desktop(const Naive& naive, Record& record, const Parts& parts)
{
    copy_text(record.desktop, or_unknown(naive, parts.desktop),
              naive.keeps(Rule::DesktopIsCut) ? 4095 : 4094);
}

void fill(const Naive& naive, netctl_node_data& record, const std::string& path, const Parts& parts)
{
    fill_basis(naive, record, path, parts);
}

void fill(const Naive& naive, netctl_node_info& record, const std::string& path, const Parts& parts)
{
    fill_basis(naive, record, path, parts);
    fill_presentation(naive, record, parts);
    copy_text(record.name, or_unknown(naive, parts.name), naive.keeps(Rule::NameIsCut) ? 255 : 254);
}

void fill(const Naive& naive, netctl_ext_node_info& record, const std::string& path, const Parts& parts)
{
    fill_basis(naive, record, path, parts);
    fill_presentation(naive, record, parts);
    fill_desktop(naive, record, parts);
    copy_text(record.name, or_unknown(naive, parts.name), naive.keeps(Rule::NameIsCut) ? 255 : 254);
}

void fill(const Naive& naive, netctl_pkg_node_info& record, const std::string& package, const Parts& parts)
{
    copy_text(record.pkg, package, 4095);
    record.type = number(naive, parts.type.value_or(""));
    fill_presentation(naive, record, parts);
    fill_desktop(naive, record, parts);
}

void fill(const Naive& naive, netctl_pkg_path_node_info& record, const std::string& package,
          const Parts& parts)
{
    copy_text(record.pkg, package, 4095);
    copy_text(record.path, or_unknown(naive, parts.path), 4095);
    record.type = number(naive, parts.type.value_or(""));
    fill_presentation(naive, record, parts);
    fill_desktop(naive, record, parts);
}

template <class Record>
Record made(const Naive& naive, const std::string& key, const Parts& parts)
{
    Record record = {};
    fill(naive, record, key, parts);
    return record;
}

template <class Record>
Listing<Record> all_programs(Naive& naive, const std::uint32_t* uid, const std::string& file,
                             const char* function)
{
    const NaiveDocument document(naive, file, programs(naive, file), function);
    if (document.root() == nullptr) {
        return {};
    }
    Listing<Record> listing{true, {}};
    for (xmlNode* group = next_group(naive, document.root()->children, uid); group != nullptr;
         group = group_after(naive, group, uid)) {
        for (xmlNode* node = group->children; node != nullptr; node = node->next) {
            const Text path = identity(naive, node, "path");
            if (!path) {
                continue;
            }
            const Parts parts = parts_of(naive, node);
            if (complete(naive, parts)) {
                listing.records.push_back(made<Record>(naive, *path, parts));
            }
        }
    }
    return listing;
}

/// What a reader of one node looks for.
struct Wanted {
    const char* attribute;
    std::string value;
    bool program = false; ///< its record has a field for the program, which a longer one does not name
};

bool is_wanted(const Naive& naive, xmlNode* node, const Wanted& wanted)
{
    if (identity(naive, node, wanted.attribute) != wanted.value) {
        return false;
    }
    const bool long_program = wanted.program && child_text(naive, node, "path").value_or("").size() > 4095;
    return !long_program || !naive.keeps(Rule::LongProgramIsLeftOut);
}

/// The first wanted node in a group.
xmlNode* node_of(const Naive& naive, xmlNode* group, const Wanted& wanted)
{
    for (xmlNode* node = group->children; node != nullptr; node = node->next) {
        if (is_wanted(naive, node, wanted) &&
            (naive.keeps(Rule::FirstNodeDecides) || child_text(naive, node, "type"))) {
            return node;
        }
    }
    return nullptr;
}

xmlNode* deciding_node(const Naive& naive, xmlNode* root, std::uint32_t uid, const Wanted& wanted)
{
    for (xmlNode* group = next_group(naive, root->children, &uid); group != nullptr;
         group = group_after(naive, group, &uid)) {
        xmlNode* node = node_of(naive, group, wanted);
        if (node != nullptr || !naive.keeps(Rule::SearchGoesOnToNextUser)) {
            return node;
        }
    }
    return nullptr;
}

template <class Record>
std::optional<Record> one_program(Naive& naive, std::uint32_t uid, const std::string& path,
                                  const char* function)
{
    const NaiveDocument document(naive, kProgramsFile, programs(naive, kProgramsFile), function);
    if (document.root() == nullptr) {
        return std::nullopt;
    }
    xmlNode* node = deciding_node(naive, document.root(), uid, {"path", path});
    if (node == nullptr) {
        return std::nullopt;
    }
    const Parts parts = parts_of(naive, node);
    if (!complete(naive, parts)) {
        return std::nullopt;
    }
    return made<Record>(naive, path, parts);
}

bool program_is_missing(const Naive& naive, xmlNode* node)
{
    bool missing = false;
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (is_child(naive, child, "path")) {
            const bool absent = ::access(text_of(naive, child).c_str(), F_OK) != 0;
            missing = naive.keeps(Rule::EveryProgramIsTested) ? missing || absent : absent;
        }
    }
    return missing && naive.keeps(Rule::MissingProgramDropsRule);
}

bool has_program_field(const netctl_pkg_node_info&)
{
    return false;
}

bool has_program_field(const netctl_pkg_path_node_info&)
{
    return true;
}

template <class Record>
std::optional<Record> one_package(Naive& naive, std::uint32_t uid, const std::string& package,
                                  const char* function)
{
    const NaiveDocument document(naive, kPackagesFile, programs(naive, kPackagesFile), function);
    if (document.root() == nullptr) {
        return std::nullopt;
    }
    xmlNode* node = deciding_node(naive, document.root(), uid, {"pkg", package, has_program_field(Record())});
    if (node == nullptr || node->children == nullptr) {
        return std::nullopt;
    }
    const Parts parts = parts_of(naive, node);
    if (!parts.type && naive.keeps(Rule::TypeIsRequired)) {
        return std::nullopt;
    }
    if (!naive.keeps(Rule::SingleRuleIsNotTested) && program_is_missing(naive, node)) {
        return std::nullopt;
    }
    return made<Record>(naive, package, parts);
}

/// The general form's name, or the wrapper's where that rule is broken.
const char* said(const Naive& naive, const char* function)
{
    return naive.keeps(Rule::GeneralFormIsNamed) ? function : "a wrapper";
}

} // namespace

Listing<netctl_node_data> naive_netctl_all(Naive& naive, const std::string& file)
{
    return all_programs<netctl_node_data>(naive, nullptr, file,
                                          said(naive, "tresk_netctl_read_all_data_inner"));
}

Listing<netctl_node_info> naive_netctl_users(Naive& naive, std::uint32_t uid, const std::string& file)
{
    return all_programs<netctl_node_info>(naive, &uid, file,
                                          said(naive, "tresk_netctl_read_all_data_with_uid_inner"));
}

Listing<netctl_ext_node_info> naive_netctl_ext_users(Naive& naive, std::uint32_t uid, const std::string& file)
{
    return all_programs<netctl_ext_node_info>(naive, &uid, file,
                                              said(naive, "tresk_netctl_ext_read_all_data_with_uid_inner"));
}

std::optional<netctl_node_info> naive_netctl_node(Naive& naive, std::uint32_t uid, const std::string& path)
{
    return one_program<netctl_node_info>(naive, uid, path, "tresk_netctl_read_node_with_uid");
}

std::optional<netctl_ext_node_info> naive_netctl_ext_node(Naive& naive, std::uint32_t uid,
                                                          const std::string& path)
{
    return one_program<netctl_ext_node_info>(naive, uid, path, "tresk_netctl_ext_read_node_with_uid");
}

int naive_netctl_distinction(Naive& naive)
{
    const NaiveDocument document(naive, kProgramsFile, programs(naive, kProgramsFile),
                                 "tresk_netctl_get_user_distinguish");
    if (document.root() == nullptr) {
        return -1;
    }
    const Text value = attribute(document.root(), "user_dist");
    if (!value) {
        return -1;
    }
    if (naive.keeps(Rule::SettingIsFirstAttribute) &&
        !is_first_attribute(naive, document.root(), "user_dist")) {
        return -1;
    }
    const std::int32_t setting = number(naive, *value);
    user_distinguish = naive.keeps(Rule::SettingIsOneOrZero) ? (setting != 0 ? 1 : 0) : setting;
    return user_distinguish;
}

Listing<netctl_pkg_node_info> naive_netctl_packages(Naive& naive, std::uint32_t uid, const std::string& file)
{
    const NaiveDocument document(naive, file, programs(naive, file),
                                 said(naive, "tresk_netctl_pkg_read_all_data_with_uid_inner"));
    if (document.root() == nullptr) {
        return {};
    }
    Listing<netctl_pkg_node_info> listing{true, {}};
    for (xmlNode* group = next_group(naive, document.root()->children, &uid); group != nullptr;
         group = group_after(naive, group, &uid)) {
        for (xmlNode* node = group->children; node != nullptr; node = node->next) {
            const Text package = identity(naive, node, "pkg");
            if (!package || program_is_missing(naive, node)) {
                continue;
            }
            const Parts parts = parts_of(naive, node);
            if (parts.type || !naive.keeps(Rule::TypeIsRequired)) {
                listing.records.push_back(made<netctl_pkg_node_info>(naive, *package, parts));
            }
        }
    }
    return listing;
}

std::optional<netctl_pkg_node_info> naive_netctl_package(Naive& naive, std::uint32_t uid,
                                                         const std::string& package)
{
    return one_package<netctl_pkg_node_info>(naive, uid, package, "tresk_netctl_pkg_read_node_with_uid");
}

std::optional<netctl_pkg_path_node_info> naive_netctl_package_path(Naive& naive, std::uint32_t uid,
                                                                   const std::string& package)
{
    return one_package<netctl_pkg_path_node_info>(naive, uid, package,
                                                  "tresk_netctl_pkg_path_read_node_with_uid");
}

} // namespace tresk::test
