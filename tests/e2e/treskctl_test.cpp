// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/e2e/treskctl_test.h"

#include "tests/support/policy_files.h"

#include <cstdlib>

namespace tresk::test {

namespace {

Invocation invocation_of(const Words& arguments)
{
    Invocation invocation{{TRESKCTL_PROGRAM}, {}, {}};
    invocation.words.insert(invocation.words.end(), arguments.begin(), arguments.end());
    return invocation;
}

} // namespace

void TreskctlTest::SetUp()
{
    ASSERT_NE(std::getenv("TRESK_STANDIN_STATE"), nullptr) << "these tests run inside of the sandbox";
}

Outcome TreskctlTest::treskctl(const Words& arguments)
{
    return run_program(invocation_of(arguments));
}

Outcome TreskctlTest::treskctl_with_input(const std::string& input, const Words& arguments)
{
    Invocation invocation = invocation_of(arguments);
    invocation.input = input;
    return run_program(invocation);
}

Outcome TreskctlTest::treskctl_without_bus(const Words& arguments)
{
    Invocation invocation = invocation_of(arguments);
    invocation.environment = {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nobody/listens"}};
    return run_program(invocation);
}

std::string TreskctlTest::state_file(const std::string& name)
{
    return std::string(std::getenv("TRESK_STANDIN_STATE")) + "/" + name;
}

std::string TreskctlTest::read_state(const std::string& name)
{
    return read_file(state_file(name)).value_or("");
}

void TreskctlTest::write_state(const std::string& name, const std::string& content)
{
    write_file(state_file(name), content);
}

void TreskctlTest::refuse(const std::string& method, const std::string& error)
{
    write_state("service-faults", method + " error " + error + " refused by the test\n");
}

bool TreskctlTest::service_was_asked(const std::string& call)
{
    return read_state("service.log").find(" " + call + " -> ") != std::string::npos;
}

void TreskctlTest::write_policy(const std::string& content)
{
    write_file(kPolicy, content);
}

std::string TreskctlTest::read_policy()
{
    return read_file(kPolicy).value_or("");
}

nlohmann::json parsed(const std::string& text)
{
    auto document = nlohmann::json::parse(text, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << text;
    return document.is_discarded() ? nlohmann::json() : document;
}

Outcome succeeded(const std::string& output)
{
    return {0, output, ""};
}

} // namespace tresk::test
