// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/netctl_files.h"

#include <libxml/xmlerror.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace tresk::test {

namespace {

void say_nothing(void*, const char*, ...) {}

template <class Record>
Values values_of(const Record& record)
{
    Values values;
    values.type = std::to_string(record.type);
    if constexpr (requires { record.pkg; }) {
        values.identity = record.pkg;
        if constexpr (requires { record.path; }) {
            values.path = record.path;
        }
    } else {
        values.identity = record.path;
        values.hash = record.hash;
    }
    if constexpr (requires { record.name; }) {
        values.name = record.name;
    }
    if constexpr (requires { record.ico; }) {
        values.ico = record.ico;
        values.server_type = std::to_string(record.server_type);
    }
    if constexpr (requires { record.desktop; }) {
        values.desktop = record.desktop;
    }
    return values;
}

/// Calls an array reader with a counter that shows whether it was written.
template <class Count, class Read>
Listing list(const Read& read)
{
    Listing listing;
    Count count = kUnwritten;
    const auto* records = read(&count);
    listing.null = records == nullptr;
    listing.count = count;
    for (Count i = 0; records != nullptr && i < count; ++i) {
        listing.records.push_back(values_of(records[i]));
    }
    ::free(const_cast<void*>(static_cast<const void*>(records)));
    return listing;
}

template <class Record>
Listing one(Record* record)
{
    const Malloced<Record> owner(record);
    Listing listing;
    listing.null = record == nullptr;
    if (record != nullptr) {
        listing.records.push_back(values_of(*record));
    }
    return listing;
}

std::int32_t as_signed(std::uint32_t uid)
{
    return static_cast<std::int32_t>(uid);
}

const std::vector<Reader> kReaders = {
    {"All", "tresk_netctl_read_all_data_inner", kPrograms, "path", "th", false, false, false,
     [](const Query&) {
         return list<std::uint32_t>([](std::uint32_t* count) { return tresk_netctl_read_all_data(count); });
     }},
    {"AllInner", "tresk_netctl_read_all_data_inner", kPrograms, "path", "th", false, false, true,
     [](const Query& query) {
         return list<std::uint32_t>([&query](std::uint32_t* count) {
             return tresk_netctl_read_all_data_inner(query.file.c_str(), count);
         });
     }},
    {"WithUid", "tresk_netctl_read_all_data_with_uid_inner", kPrograms, "path", "thnis", false, true, false,
     [](const Query& query) {
         return list<std::uint32_t>([&query](std::uint32_t* count) {
             return tresk_netctl_read_all_data_with_uid(query.uid, count);
         });
     }},
    {"WithUidInner", "tresk_netctl_read_all_data_with_uid_inner", kPrograms, "path", "thnis", false, true,
     true,
     [](const Query& query) {
         return list<std::uint32_t>([&query](std::uint32_t* count) {
             return tresk_netctl_read_all_data_with_uid_inner(as_signed(query.uid), query.file.c_str(),
                                                              count);
         });
     }},
    {"ExtWithUid", "tresk_netctl_ext_read_all_data_with_uid_inner", kPrograms, "path", "thnids", false, true,
     false,
     [](const Query& query) {
         return list<std::int32_t>([&query](std::int32_t* count) {
             return tresk_netctl_ext_read_all_data_with_uid(query.uid, count);
         });
     }},
    {"ExtWithUidInner", "tresk_netctl_ext_read_all_data_with_uid_inner", kPrograms, "path", "thnids", false,
     true, true,
     [](const Query& query) {
         return list<std::int32_t>([&query](std::int32_t* count) {
             return tresk_netctl_ext_read_all_data_with_uid_inner(as_signed(query.uid), query.file.c_str(),
                                                                  count);
         });
     }},
    {"Node", "tresk_netctl_read_node_with_uid", kPrograms, "path", "thnis", true, true, false,
     [](const Query& query) {
         return one(tresk_netctl_read_node_with_uid(query.uid, query.identity.c_str()));
     }},
    {"ExtNode", "tresk_netctl_ext_read_node_with_uid", kPrograms, "path", "thnids", true, true, false,
     [](const Query& query) {
         return one(tresk_netctl_ext_read_node_with_uid(query.uid, query.identity.c_str()));
     }},
    {"Pkg", "tresk_netctl_pkg_read_all_data_with_uid_inner", kPackages, "pkg", "tids", false, true, false,
     [](const Query& query) {
         return list<std::uint32_t>([&query](std::uint32_t* count) {
             return tresk_netctl_pkg_read_all_data_with_uid(query.uid, count);
         });
     }},
    {"PkgInner", "tresk_netctl_pkg_read_all_data_with_uid_inner", kPackages, "pkg", "tids", false, true, true,
     [](const Query& query) {
         return list<std::uint32_t>([&query](std::uint32_t* count) {
             return tresk_netctl_pkg_read_all_data_with_uid_inner(query.uid, query.file.c_str(), count);
         });
     }},
    {"PkgNode", "tresk_netctl_pkg_read_node_with_uid", kPackages, "pkg", "tids", true, true, false,
     [](const Query& query) {
         return one(tresk_netctl_pkg_read_node_with_uid(query.uid, query.identity.c_str()));
     }},
    {"PkgPathNode", "tresk_netctl_pkg_path_read_node_with_uid", kPackages, "pkg", "tpids", true, true, false,
     [](const Query& query) {
         return one(tresk_netctl_pkg_path_read_node_with_uid(query.uid, query.identity.c_str()));
     }},
};

/// @text with every @from in it replaced.
std::string replaced(std::string_view text, std::string_view from, std::string_view to)
{
    std::string result;
    for (std::size_t at = text.find(from); at != std::string_view::npos; at = text.find(from)) {
        result.append(text.substr(0, at)).append(to);
        text.remove_prefix(at + from.size());
    }
    return result.append(text);
}

} // namespace

std::ostream& operator<<(std::ostream& out, const Values& values)
{
    return out << '{' << values.identity << ", type " << values.type << ", hash " << values.hash << ", name "
               << values.name << ", path " << values.path << ", ico " << values.ico << ", desktop "
               << values.desktop << ", server_type " << values.server_type << '}';
}

std::ostream& operator<<(std::ostream& out, const Reader& reader)
{
    return out << reader.name;
}

std::vector<std::string> Listing::names() const
{
    std::vector<std::string> names;
    std::transform(records.begin(), records.end(), std::back_inserter(names),
                   [](const Values& values) { return values.identity; });
    return names;
}

Values Reader::visible(Values values) const
{
    const std::string_view shown = fields;
    const std::pair<char, std::string Values::*> all[] = {
        {'t', &Values::type}, {'h', &Values::hash},    {'n', &Values::name},       {'p', &Values::path},
        {'i', &Values::ico},  {'d', &Values::desktop}, {'s', &Values::server_type}};
    for (const auto& [letter, field] : all) {
        if (shown.find(letter) == std::string_view::npos) {
            values.*field = "-";
        }
    }
    return values;
}

const std::vector<Reader>& readers()
{
    return kReaders;
}

std::vector<Reader> readers_that(const std::function<bool(const Reader&)>& chosen)
{
    std::vector<Reader> found;
    std::copy_if(kReaders.begin(), kReaders.end(), std::back_inserter(found), chosen);
    return found;
}

std::string document(std::string_view users, std::string_view identity)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<tresk_root user_dist=\"0\">";
    return text + replaced(users, "@name", identity) + "</tresk_root>\n";
}

std::string user(std::string_view nodes, std::string_view id)
{
    std::string text = "<tresk_user userID=\"";
    return text.append(id).append("\">").append(nodes) + "</tresk_user>";
}

std::string node(std::string_view identity, std::string_view type)
{
    const std::string text(type);
    return node_with(identity, "<type>" + text +
                                   "</type><hash>h</hash><name>N</name><path>/</path><ico>I</ico>"
                                   "<desktop>D</desktop><server_type>5</server_type>");
}

std::string node_with(std::string_view identity, std::string_view children)
{
    std::string text = "<tresk_node @name=\"";
    return text.append(identity).append("\">").append(children) + "</tresk_node>";
}

void write_policies(std::string_view users)
{
    write_file(kPrograms, document(users, "path"));
    write_file(kPackages, document(users, "pkg"));
}

std::string empty_policy(std::string_view setting)
{
    return "<?xml version=\"1.0\"?>\n<tresk_root user_dist=\"" + std::string(setting) + "\"/>\n";
}

void NetctlFilesTest::SetUp()
{
    ASSERT_NE(std::getenv("TRESK_STANDIN_STATE"), nullptr)
        << "runs in the sandbox alone: it clears the policy";
    FrameworkTest::SetUp();
    std::filesystem::remove_all("/etc/tresk/netctl");
    std::filesystem::create_directories("/etc/tresk/netctl");
    user_distinguish = 0;
    xmlSetGenericErrorFunc(nullptr, say_nothing);
}

void NetctlFilesTest::TearDown()
{
    xmlSetGenericErrorFunc(nullptr, nullptr);
    user_distinguish = 0;
}

void NetctlReaderTest::expect_failure(const Listing& listing)
{
    EXPECT_TRUE(listing.null);
    EXPECT_EQ(listing.count, kUnwritten);
}

void NetctlReaderTest::expect_nothing(const Listing& listing)
{
    EXPECT_TRUE(listing.null);
    EXPECT_EQ(listing.count, GetParam().single ? kUnwritten : 0);
}

} // namespace tresk::test
