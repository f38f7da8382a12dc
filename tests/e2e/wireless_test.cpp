// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "wireless": the permitted networks.
#include "tests/e2e/treskctl_test.h"

#include <gmock/gmock.h>

namespace tresk::test {

namespace {

using ::testing::HasSubstr;

class WirelessTest : public TreskctlTest {};

TEST_F(WirelessTest, AddedNetworksAreListed)
{
    EXPECT_EQ(treskctl({"wireless", "add", "office", "two words"}),
              succeeded("RESULT     NAME\npermitted  office\npermitted  two words\n"));
    EXPECT_EQ(treskctl({"wireless", "list"}), succeeded("NAME\noffice\ntwo words\n"));
}

TEST_F(WirelessTest, RemovedNetworksAreNot)
{
    treskctl({"wireless", "add", "office", "home"});
    EXPECT_EQ(treskctl({"wireless", "remove", "office"}), succeeded("RESULT   NAME\nremoved  office\n"));
    EXPECT_EQ(treskctl({"wireless", "list"}), succeeded("NAME\nhome\n"));
}

TEST_F(WirelessTest, AnEmptyListIsNoFailure)
{
    EXPECT_EQ(treskctl({"wireless", "list"}), succeeded("NAME\n"));
}

TEST_F(WirelessTest, NamesMayHoldAnyBytes)
{
    treskctl({"wireless", "add", "a\xff"});
    EXPECT_EQ(treskctl({"wireless", "list"}), succeeded("NAME\na\\xff\n"));
}

TEST_F(WirelessTest, ARefusalPointsToTheLogAndIsThatNamesAlone)
{
    treskctl({"wireless", "add", "office"});
    EXPECT_EQ(
        treskctl({"wireless", "add", "office", "home"}),
        (Outcome{
            1, "RESULT     NAME\npermitted  home\n",
            "treskctl: wireless add: office: the library refused; the framework's log has the reason\n"}));
}

TEST_F(WirelessTest, ANameThatWouldBeRegisteredEmptyIsWrongUsage)
{
    const std::string longest(126, 'n');
    EXPECT_EQ(treskctl({"wireless", "add", longest}).exit_status, 0);
    EXPECT_EQ(treskctl({"wireless", "list"}), succeeded("NAME\n" + longest + "\n"));
    const Outcome outcome = treskctl({"wireless", "add", longest + "n"});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: NAME: longer than 126 bytes\n"));
}

} // namespace

} // namespace tresk::test
