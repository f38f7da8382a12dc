// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/ppro_files.h"

#include <libxml/xmlerror.h>

#include <filesystem>

namespace tresk::test {

namespace {

void say_nothing(void*, const char*, ...) {}

Record values(const ppro_node_info& record)
{
    return {record.path, record.hash, record.type};
}

} // namespace

std::ostream& operator<<(std::ostream& out, const Record& record)
{
    return out << '{' << record.path << ", " << record.hash << ", " << record.type << '}';
}

Listing list(const std::function<ppro_node_info*(int*)>& reader)
{
    Listing listing;
    const Malloced<ppro_node_info> records(reader(&listing.count));
    listing.null = records == nullptr;
    for (int i = 0; records && i < listing.count; ++i) {
        listing.records.push_back(values(records.get()[i]));
    }
    return listing;
}

std::optional<Record> one(ppro_node_info* record)
{
    const Malloced<ppro_node_info> owner(record);
    return record == nullptr ? std::nullopt : std::optional<Record>(values(*record));
}

std::string policy(std::string_view nodes)
{
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ppro_root>";
    document += nodes;
    return document + "</ppro_root>\n";
}

void write_policy(std::string_view nodes)
{
    write_file(kPolicyFile, policy(nodes));
}

std::string node(std::string_view path, std::string_view hash, std::string_view type,
                 std::string_view attributes)
{
    std::string text = "<ppro_node path=\"";
    text.append(path).append("\" ").append(attributes);
    text.append("><hash>").append(hash).append("</hash><type>").append(type).append("</type></ppro_node>");
    return text;
}

void PproFilesTest::SetUp()
{
    ASSERT_NE(std::getenv("TRESK_STANDIN_STATE"), nullptr)
        << "runs in the sandbox alone: it clears the policy";
    FrameworkTest::SetUp();
    std::filesystem::remove_all("/etc/tresk/ppro");
    std::filesystem::create_directories("/etc/tresk/ppro");
    xmlSetGenericErrorFunc(nullptr, say_nothing);
}

void PproFilesTest::TearDown()
{
    xmlSetGenericErrorFunc(nullptr, nullptr);
}

} // namespace tresk::test
