// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/netctl_edit.h"

namespace tresk::test {

namespace {

class EveryNetctlEdit : public NetctlEditTest {};

INSTANTIATE_TEST_SUITE_P(Edits, EveryNetctlEdit, ::testing::ValuesIn(netctl_edits()), by_function);

TEST_P(EveryNetctlEdit, TellsTheServiceItsArguments)
{
    EXPECT_EQ(edit(), 0);
    expect_was_told({});
    EXPECT_TRUE(framework().logs.empty());
    EXPECT_TRUE(framework().errors.empty());
}

TEST_P(EveryNetctlEdit, SendsNumbersOfAnySize)
{
    const NetctlArguments least = {.uid = 0, .type = -2147483647 - 1, .server_type = 2147483647};
    EXPECT_EQ(edit(least), 0);
    expect_was_told(least);
    service.forget_calls();
    const NetctlArguments most = {.uid = 4294967295U, .type = 2147483647, .server_type = -2147483647 - 1};
    EXPECT_EQ(edit(most), 0);
    expect_was_told(most);
}

TEST_P(EveryNetctlEdit, ReturnsTheServicesAnswer)
{
    for (const int answer : {1, -3, -1012, 2147483647}) {
        service.answer(GetParam().function, "(int32 " + std::to_string(answer) + ",)");
        EXPECT_EQ(edit(), answer);
    }
    service.answer(GetParam().function, "(int32 12, 'and more')");
    EXPECT_EQ(edit(), 12);
}

TEST_P(EveryNetctlEdit, AsksTheSceneBeforeTheService)
{
    service.on_call(GetParam().function, [] { framework().note("service"); });
    EXPECT_EQ(edit(), 0);
    std::vector<std::string> wanted = {"service"};
    if (GetParam().scene != nullptr) {
        wanted.insert(wanted.begin(), std::string("scene ") + GetParam().scene);
    }
    EXPECT_EQ(framework().order, wanted);
}

TEST_P(EveryNetctlEdit, LeavesTheUserDistinctionAlone)
{
    for (const std::int32_t setting : {1, 0}) {
        user_distinguish = setting;
        EXPECT_EQ(edit({.uid = 5}), 0);
        EXPECT_EQ(user_distinguish, setting);
    }
}

TEST_P(EveryNetctlEdit, WorksAgainAfterTheBusWasRestarted)
{
    EXPECT_EQ(edit(), 0);
    bus.restart();
    const ScriptedService next(bus.address());
    EXPECT_EQ(edit(), 0);
    EXPECT_EQ(next.calls(), std::vector<ServiceCall>{sent(GetParam(), {})});
}

class NetctlProgramOfPackage : public ServiceTest {};

TEST_F(NetctlProgramOfPackage, CannotBeAdded)
{
    const int connections = connections_so_far();
    EXPECT_EQ(tresk_netctl_pkg_path_add(), -1000);
    EXPECT_EQ(connections_so_far(), connections + 1) << "the bus was touched";
    EXPECT_TRUE(framework().order.empty());
}

} // namespace

} // namespace tresk::test
