// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/bwlist_files.h"

#include <libxml/xmlerror.h>

#include <cstdlib>
#include <filesystem>

namespace tresk::test {

namespace {

void say_nothing(void*, const char*, ...) {}

} // namespace

std::string entry(std::string_view package)
{
    return entry_with(package, R"(data_source_type="1" data_source_name="s")");
}

std::string entry_with(std::string_view package, std::string_view attributes)
{
    std::string text = "<tresk_node rpm_name=\"";
    return text.append(package).append("\" ").append(attributes) + "/>";
}

std::string list_of(std::string_view name, std::string_view entries)
{
    std::string text = "<tresk_bwlist bw_value=\"";
    return text.append(name).append("\">").append(entries) + "</tresk_bwlist>";
}

void write_policy(std::string_view lists)
{
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<tresk_root>";
    write_file(kPolicyFile, document.append(lists) + "</tresk_root>\n");
}

void BwlistFilesTest::SetUp()
{
    ASSERT_NE(std::getenv("TRESK_STANDIN_STATE"), nullptr)
        << "runs in the sandbox alone: it clears the policy";
    FrameworkTest::SetUp();
    std::filesystem::remove_all("/etc/tresk/bwlist");
    std::filesystem::create_directories("/etc/tresk/bwlist");
    xmlSetGenericErrorFunc(nullptr, say_nothing);
    xmlResetLastError();
}

void BwlistFilesTest::TearDown()
{
    xmlSetGenericErrorFunc(nullptr, nullptr);
}

} // namespace tresk::test
