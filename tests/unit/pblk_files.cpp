// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/pblk_files.h"

#include <libxml/xmlerror.h>

#include <cstdlib>
#include <filesystem>

namespace tresk::test {

namespace {

void say_nothing(void*, const char*, ...) {}

Record values(const pblk_node_info& record)
{
    return {record.path, record.hash};
}

Listing single(pblk_node_info* record)
{
    Listing listing;
    const std::optional<Record> found = one(record);
    listing.null = !found;
    if (found) {
        listing.records.push_back(*found);
    }
    return listing;
}

constexpr char kFile[] = "tresk_pblk_read_all_data_with_file";
constexpr char kFileZdk[] = "tresk_pblk_read_all_data_with_file_zdk";
constexpr char kPathZdk[] = "tresk_pblk_read_node_with_path_zdk";
constexpr char kHashZdk[] = "tresk_pblk_read_node_with_hash_zdk";

const std::vector<Reader> kReaders = {
    {"All", kFile, false, false, true,
     [](const Query&) { return list([](int* count) { return tresk_pblk_read_all_data(count); }); }},
    {"File", kFile, false, true, true,
     [](const Query& query) {
         return list([&](int* count) { return tresk_pblk_read_all_data_with_file(query.file, count); });
     }},
    {"AllZdk", kFileZdk, false, false, false,
     [](const Query& query) {
         return list([&](int* count) { return tresk_pblk_read_all_data_zdk(query.type, query.name, count); });
     }},
    {"FileZdk", kFileZdk, false, true, false,
     [](const Query& query) {
         return list([&](int* count) {
             return tresk_pblk_read_all_data_with_file_zdk(query.file, query.type, query.name, count);
         });
     }},
    {"Path", kPathZdk, true, false, true,
     [](const Query& query) { return single(tresk_pblk_read_node_with_path(query.path)); }},
    {"PathZdk", kPathZdk, true, false, true,
     [](const Query& query) {
         return single(tresk_pblk_read_node_with_path_zdk(query.path, query.type, query.name));
     }},
    {"HashZdk", kHashZdk, true, false, true,
     [](const Query& query) {
         return single(tresk_pblk_read_node_with_hash_zdk(query.hash, query.type, query.name));
     }},
};

} // namespace

std::ostream& operator<<(std::ostream& out, const Record& record)
{
    return out << '{' << record.path << ", " << record.hash << '}';
}

std::ostream& operator<<(std::ostream& out, const Reader& reader)
{
    return out << reader.name;
}

Listing list(const std::function<pblk_node_info*(int*)>& reader)
{
    Listing listing;
    const Malloced<pblk_node_info> records(reader(&listing.count));
    listing.null = records == nullptr;
    for (int i = 0; records && i < listing.count; ++i) {
        listing.records.push_back(values(records.get()[i]));
    }
    return listing;
}

std::optional<Record> one(pblk_node_info* record)
{
    const Malloced<pblk_node_info> owner(record);
    return record == nullptr ? std::nullopt : std::optional<Record>(values(*record));
}

const std::vector<Reader>& readers()
{
    return kReaders;
}

std::string policy(std::string_view nodes)
{
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<pblk_root>";
    return document.append(nodes) + "</pblk_root>\n";
}

void write_policy(std::string_view nodes)
{
    write_file(kPolicyFile, policy(nodes));
}

std::string node(std::string_view path, std::string_view hash, std::string_view attributes)
{
    std::string text = "<pblk_node path=\"";
    text.append(path).append("\" ").append(attributes).append("><hash>");
    return text.append(hash) + "</hash></pblk_node>";
}

void PblkFilesTest::SetUp()
{
    ASSERT_NE(std::getenv("TRESK_STANDIN_STATE"), nullptr)
        << "runs in the sandbox alone: it clears the policy";
    FrameworkTest::SetUp();
    std::filesystem::remove_all("/etc/tresk/pblk");
    std::filesystem::create_directories("/etc/tresk/pblk");
    xmlSetGenericErrorFunc(nullptr, say_nothing);
}

void PblkFilesTest::TearDown()
{
    xmlSetGenericErrorFunc(nullptr, nullptr);
}

void PblkReaderTest::expect_failure(const Listing& listing)
{
    EXPECT_TRUE(listing.null);
    EXPECT_EQ(listing.count, kUnwritten);
}

void PblkReaderTest::expect_nothing(const Listing& listing)
{
    EXPECT_TRUE(listing.null);
    EXPECT_EQ(listing.count, GetParam().single ? kUnwritten : 0);
}

} // namespace tresk::test
