// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/netctl_edit.h"

namespace tresk::test {

namespace {

class FailingNetctlEdit : public NetctlEditTest {};

INSTANTIATE_TEST_SUITE_P(Edits, FailingNetctlEdit, ::testing::ValuesIn(netctl_edits()), by_function);

TEST_P(FailingNetctlEdit, ReturnsMinusOneForAnErrorOfTheService)
{
    service.fail(GetParam().function, "MERON.TRESK.NETCTL.ERR", "not so, %s");
    EXPECT_EQ(edit(), -1);
    EXPECT_EQ(only_error().code, -1012);
    EXPECT_EQ(only_error().text, "not so, %s");
    expect_was_told({});
}

TEST_P(FailingNetctlEdit, ReturnsMinusOneForTheServicesOwnOk)
{
    service.fail(GetParam().function, "MERON.TRESK.OK", "fine");
    EXPECT_EQ(edit(), -1);
    EXPECT_TRUE(framework().errors.empty());
    EXPECT_TRUE(framework().logs.empty());
}

TEST_P(FailingNetctlEdit, ReturnsMinusOneWhenTheServiceDies)
{
    service.die_on(GetParam().function);
    EXPECT_EQ(edit(), -1);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_P(FailingNetctlEdit, ReturnsMinusOneForAnAnswerThatIsNoInteger)
{
    for (const char* reply : {"()", "('5',)", "(uint32 5,)", "(int64 5,)"}) {
        framework().reset();
        service.answer(GetParam().function, reply);
        EXPECT_EQ(edit(), -1) << reply;
        EXPECT_EQ(only_error().code, -1011) << reply;
        EXPECT_EQ(framework().logs.size(), 1U) << reply;
    }
}

class NetctlEditWithoutService : public BusTest, public ::testing::WithParamInterface<NetctlEdit> {};

INSTANTIATE_TEST_SUITE_P(Edits, NetctlEditWithoutService, ::testing::ValuesIn(netctl_edits()), by_function);

TEST_P(NetctlEditWithoutService, ReturnsMinusOne)
{
    EXPECT_EQ(GetParam().call({}), -1);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_P(NetctlEditWithoutService, ReturnsMinusOneWithoutABus)
{
    bus.stop();
    EXPECT_EQ(GetParam().call({}), -1);
    expect_interface_error_was_told();
}

} // namespace

} // namespace tresk::test
