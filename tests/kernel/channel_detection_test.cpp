// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Which protocol a process speaks, found out from the kernel's own list of sockets.
#include "tests/kernel/channel_fixture.h"
#include "tresk_extend.h"

#include <cstdlib>

namespace tresk::test {

namespace {

class DetectionTest : public ChannelTest {
  protected:
    void SetUp() override
    {
        ChannelTest::SetUp();
        static int tests = 0;
        ASSERT_EQ(++tests, 1) << "run each of these tests in a process of its own";
    }

    static int notify() { return tresk_hash_communicate_with_kernel(7, kHash.c_str(), 1); }
};

constexpr char kNoProtocol[] =
    "tresk_communicate_with_kernel: can't create netlink socket: Protocol not supported\n";

TEST_F(DetectionTest, NothingStandsBetweenTheLibraryAndTheKernel)
{
    EXPECT_EQ(std::getenv("LD_PRELOAD"), nullptr);
    const std::string maps = read_file("/proc/self/maps").value_or("");
    EXPECT_NE(maps.find("libtresk_extend.so.0"), std::string::npos);
    EXPECT_NE(maps.find("libtresk_log.so.0"), std::string::npos);
    EXPECT_EQ(maps.find("standin_netlink"), std::string::npos);
}

TEST_F(DetectionTest, KernelWithoutTheModuleHasNoSuchProtocol)
{
    EXPECT_EQ(notify(), -1);
    EXPECT_EQ(only_log(), kNoProtocol);
}

TEST_F(DetectionTest, ModuleOnProtocol27IsSpokenToThere)
{
    load_on("27");
    EXPECT_EQ(notify(), 0);
    EXPECT_EQ(only_record().protocol, 27);
    expect_no_log();
}

TEST_F(DetectionTest, ModuleOnProtocol26IsSpokenToThere)
{
    load_on("26");
    EXPECT_EQ(notify(), 0);
    EXPECT_EQ(only_record().protocol, 26);
    expect_no_log();
}

TEST_F(DetectionTest, Protocol26IsTakenWhereTheKernelListsBoth)
{
    load_on("27,26");
    EXPECT_EQ(notify(), 0);
    EXPECT_EQ(only_record().protocol, 26);
}

TEST_F(DetectionTest, OtherProtocolsAreNoneOfItsOwn)
{
    load_on("25,28");
    EXPECT_EQ(notify(), -1);
    EXPECT_EQ(only_log(), kNoProtocol);
    expect_nothing_sent();
}

TEST_F(DetectionTest, ModuleThatComesLaterOnProtocol26IsNotFound)
{
    EXPECT_EQ(notify(), -1);
    load_on("26");
    EXPECT_EQ(notify(), -1);
    EXPECT_EQ(log_lines().size(), 2U);
    expect_nothing_sent();
}

TEST_F(DetectionTest, ModuleThatComesLaterOnProtocol27IsSpokenTo)
{
    EXPECT_EQ(notify(), -1);
    load_on("27");
    EXPECT_EQ(notify(), 0);
    EXPECT_EQ(only_record().protocol, 27);
}

TEST_F(DetectionTest, ModuleThatIsLoadedAnewIsSpokenTo)
{
    load_on("26");
    EXPECT_EQ(notify(), 0);
    load_on("26");
    EXPECT_EQ(notify(), 0);
    EXPECT_EQ(only_record().protocol, 26);
}

} // namespace

} // namespace tresk::test
