// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/capture.h"
#include "tests/unit/devctl_scene.h"

namespace tresk::test {

namespace {

using Calls = std::vector<Told>;

struct NetworkEdit {
    const char* name;
    int (*call)(const char* ssid);
    std::string function;
    std::string verb;
};

std::ostream& operator<<(std::ostream& out, const NetworkEdit& edit)
{
    return out << edit.name;
}

class WirelessEdit : public FrameworkTest, public ::testing::WithParamInterface<NetworkEdit> {
  protected:
    static std::string scene() { return GetParam().verb + "_devctl_by_netcard_name"; }

    static std::string complaint(const std::string& what)
    {
        return GetParam().function + ": failed to " + GetParam().verb + " devctl wilreless policy: " + what +
               "\n";
    }
};

INSTANTIATE_TEST_SUITE_P(Edits, WirelessEdit,
                         ::testing::Values(NetworkEdit{"Add", tresk_devctl_wireless_ctl_add,
                                                       "tresk_devctl_wireless_ctl_add", "add"},
                                           NetworkEdit{"Del", tresk_devctl_wireless_ctl_del,
                                                       "tresk_devctl_wireless_ctl_del", "remove"}),
                         by_name);

TEST_P(WirelessEdit, TellsTheSceneTheName)
{
    for (const std::size_t length : {0U, 1U, 125U, 126U}) {
        framework().reset();
        const std::string name(length, 'n');
        EXPECT_EQ(GetParam().call(name.c_str()), 0);
        EXPECT_EQ(told_to_scene(), (Calls{{scene(), network_bytes(name)}}));
        expect_nothing_logged();
    }
}

TEST_P(WirelessEdit, TellsTheSceneANameThatIsNoText)
{
    EXPECT_EQ(GetParam().call("\xFF\x01%s"), 0);
    EXPECT_EQ(told_to_scene(), (Calls{{scene(), network_bytes("\xFF\x01%s")}}));
}

TEST_P(WirelessEdit, TellsTheSceneAnEmptyNameInPlaceOf127Bytes)
{
    const std::string name(127, 'n');
    const std::string printed = captured_stderr([&] { EXPECT_EQ(GetParam().call(name.c_str()), 0); });
    EXPECT_EQ(told_to_scene(), (Calls{{scene(), network_bytes("")}}));
    expect_nothing_logged();
    EXPECT_EQ(printed, "");
}

TEST_P(WirelessEdit, RefusesNamesFrom128BytesOn)
{
    for (const std::size_t length : {128U, 129U, 100'000U}) {
        framework().reset();
        EXPECT_EQ(GetParam().call(std::string(length, 'n').c_str()), -1);
        expect_logged(GetParam().function, complaint("ssid too long"));
        EXPECT_TRUE(told_to_scene().empty());
    }
}

TEST_P(WirelessEdit, LooksAtNoMoreThan128Bytes)
{
    const std::vector<char> unterminated(128, 'n');
    EXPECT_EQ(GetParam().call(unterminated.data()), -1);
    expect_logged(GetParam().function, complaint("ssid too long"));
}

TEST_P(WirelessEdit, RefusesANullName)
{
    EXPECT_EQ(GetParam().call(nullptr), -1);
    expect_logged(GetParam().function, complaint("ssid is null"));
    EXPECT_TRUE(told_to_scene().empty());
}

TEST_P(WirelessEdit, TellsTheScenesAnswer)
{
    for (const int answer : {-1, 1, -2, -100}) {
        framework().reset();
        framework().scene_results["tresk_scene_" + scene()] = answer;
        EXPECT_EQ(GetParam().call("net"), -1);
        expect_logged(GetParam().function, complaint("ret=" + std::to_string(answer)));
    }
}

} // namespace

} // namespace tresk::test
