// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Which protocol a process speaks, decided at its first exchange. Each test needs a process of its own.
#include "communicate/kernel_channel.h"
#include "tests/integration/communicate_fixture.h"
#include "tests/support/capture.h"

namespace tresk::test {

namespace {

constexpr char kPipeline[] = "/usr/bin/cat /proc/net/netlink | awk '{print $2}' | grep -wc 26";

class DetectionTest : public ChannelTest {
  protected:
    void SetUp() override
    {
        ChannelTest::SetUp();
        static int tests = 0;
        ASSERT_EQ(++tests, 1) << "run each of these tests in a process of its own, as ctest does";
    }

    static void set_kernel_protocol(const char* protocol)
    {
        ::setenv("TRESK_STANDIN_KERNEL_PROTOCOL", protocol, 1);
    }

    /// The protocol of the exchange that is made; whether it succeeds does not matter.
    static int protocol_of_an_exchange()
    {
        system_calls().sockets.clear();
        tresk_communicate_with_kernel(1, "", 0);
        EXPECT_EQ(system_calls().sockets.size(), 1U);
        return system_calls().sockets.empty() ? 0 : system_calls().sockets.front().protocol;
    }
};

TEST_F(DetectionTest, RunsThePipelineOnceInAProcess)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(protocol_of_an_exchange(), 27);
    }
    const std::vector<PipelineCall> once = {{kPipeline, "r"}};
    EXPECT_EQ(system_calls().pipelines, once);
}

TEST_F(DetectionTest, ListedSocketOfProtocol26SelectsIt)
{
    set_kernel_protocol("26");
    EXPECT_EQ(protocol_of_an_exchange(), 26);
    EXPECT_EQ(protocol_of_an_exchange(), 26);
    EXPECT_EQ(system_calls().pipelines.size(), 1U);
}

TEST_F(DetectionTest, Protocol26IsSpokenToTheKernelThatListsIt)
{
    set_kernel_protocol("26");
    const standin::PeerThread peer;
    set_kernel_port(peer.port());
    EXPECT_EQ(tresk_communicate_with_kernel(4, "hello", 5), 0);
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_EQ(payload_of(peer.received().front()), padded("hello"));
}

TEST_F(DetectionTest, ListedSocketOfProtocol27LeavesIt)
{
    set_kernel_protocol("27");
    EXPECT_EQ(protocol_of_an_exchange(), 27);
}

TEST_F(DetectionTest, NoListedSocketLeavesProtocol27)
{
    ::unsetenv("TRESK_STANDIN_KERNEL_PROTOCOL");
    EXPECT_EQ(protocol_of_an_exchange(), 27);
}

TEST_F(DetectionTest, KernelThatIsListedLaterIsNotFound)
{
    set_kernel_protocol("27");
    EXPECT_EQ(protocol_of_an_exchange(), 27);
    set_kernel_protocol("26");
    EXPECT_EQ(protocol_of_an_exchange(), 27);
}

TEST_F(DetectionTest, KernelThatGoesAwayLaterIsStillSpokenTo)
{
    set_kernel_protocol("26");
    EXPECT_EQ(protocol_of_an_exchange(), 26);
    set_kernel_protocol("27");
    EXPECT_EQ(protocol_of_an_exchange(), 26);
}

TEST_F(DetectionTest, PipelineThatCannotBeOpenedLeavesProtocol27ForGood)
{
    set_kernel_protocol("26");
    system_calls().pipelines_fail = true;
    EXPECT_EQ(protocol_of_an_exchange(), 27);
    system_calls().pipelines_fail = false;
    EXPECT_EQ(protocol_of_an_exchange(), 27);
    EXPECT_EQ(system_calls().pipelines.size(), 1U);
    for (const LogLine& line : framework().logs) {
        EXPECT_EQ(line.format, "%s: can't create netlink socket: %s\n"); // the detection itself says nothing
    }
}

TEST_F(DetectionTest, PipelineWithoutItsProgramsLeavesProtocol27ForGood)
{
    set_kernel_protocol("26");
    const std::string path = ::getenv("PATH");
    ::setenv("PATH", "/nonexistent", 1);
    captured_stderr([] { EXPECT_EQ(protocol_of_an_exchange(), 27); }); // where the shell complains
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(protocol_of_an_exchange(), 27);
    EXPECT_EQ(system_calls().pipelines.size(), 1U);
}

TEST_F(DetectionTest, NullDataRunsNoDetection)
{
    EXPECT_EQ(tresk_communicate_with_kernel(1, nullptr, 0), -1);
    EXPECT_TRUE(system_calls().pipelines.empty());
    set_kernel_protocol("26");
    EXPECT_EQ(protocol_of_an_exchange(), 26);
}

struct Output {
    const char* name;
    const char* command; ///< stands in for the pipeline
    int protocol;
};

void PrintTo(const Output& output, std::ostream* out)
{
    *out << output.name;
}

class DetectionOutputTest : public DetectionTest, public testing::WithParamInterface<Output> {};

TEST_P(DetectionOutputTest, IsReadTwoCharactersAtATime)
{
    system_calls().other_pipeline = GetParam().command;
    EXPECT_EQ(protocol_of_an_exchange(), GetParam().protocol);
}

INSTANTIATE_TEST_SUITE_P(
    , DetectionOutputTest,
    testing::Values(Output{"None", "printf ''", 27}, Output{"Zero", "printf '0\\n'", 27},
                    Output{"One", "printf '1\\n'", 26}, Output{"TwoDigits", "printf '12\\n'", 26},
                    Output{"ThreeDigits", "printf '100\\n'", 26}, Output{"ZerosFirst", "printf '001\\n'", 26},
                    Output{"NoLineFeed", "printf 3", 26}, Output{"EmptyLineFirst", "printf '\\n5\\n'", 27},
                    Output{"ZeroLineFirst", "printf '0\\n5\\n'", 26},
                    Output{"Negative", "printf -- '-5\\n'", 27}, Output{"Words", "printf 'no\\n'", 27},
                    Output{"FailedPipeline", "printf 1; exit 1", 26}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace

} // namespace tresk::test
