// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the library makes of a kernel that refuses, answers something else, or says nothing.
#include "tests/kernel/channel_fixture.h"
#include "tresk_extend.h"

#include <linux/netlink.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <thread>

namespace tresk::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

int notify()
{
    return tresk_hash_communicate_with_kernel(7, kHash.c_str(), 1);
}

struct TimedResult {
    int result;
    Clock::duration time;
};

TimedResult timed_notify()
{
    const auto start = Clock::now();
    const int result = notify();
    return {result, Clock::now() - start};
}

/// The call ended by its own time-out. What a busy machine adds to a second is bounded for want of a better
/// reason than that a second time-out would show.
void expect_one_second(Clock::duration time)
{
    EXPECT_GE(time, milliseconds(1000));
    EXPECT_LT(time, milliseconds(1900));
}

constexpr char kNoAnswer[] =
    "tresk_communicate_with_kernel: recvfrom failed: Resource temporarily unavailable\n";

// --- answers ---

struct Reply {
    const char* name;
    std::string parameters; ///< of the kernel module
    std::string text;       ///< as the library reads it
};

void PrintTo(const Reply& reply, std::ostream* out)
{
    *out << reply.name;
}

class RefusalTest : public ChannelTest, public testing::WithParamInterface<Reply> {};

TEST_P(RefusalTest, IsLoggedAndSuccessAllTheSame)
{
    load(GetParam().parameters);
    EXPECT_EQ(notify(), 0);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: Got response: " + GetParam().text + "\n");
    EXPECT_EQ(only_record().bytes.size(), 1016U);
}

const std::string kFullOfY(1000, 'y');

const std::array kRefusals = {
    Reply{"Failed", "answer=failed", "failed"},
    Reply{"SeveralWords", "answer=\"permission denied\"", "permission denied"},
    Reply{"OtherCase", "answer=Succeeded", "Succeeded"},
    Reply{"Beginning", "answer=succeede", "succeede"},
    Reply{"SucceededAndMore", "answer=succeeded!", "succeeded!"},
    Reply{"Conversions", "answer=100%s%n", "100%s%n"},
    Reply{"NoText", "answer=\"\"", ""},
    Reply{"NoTextBeforeBytes", "answer=\"\" fill=1", ""},
    Reply{"FullPayloadWithoutNul", "answer=" + kFullOfY, kFullOfY},
    Reply{"LongerThanAMessage", "fill=1 answer_bytes=1500 answer=" + kFullOfY, kFullOfY},
    Reply{"MuchLongerThanAMessage", "fill=1 answer_bytes=8000 answer=" + kFullOfY, kFullOfY},
    Reply{"EmptyDatagram", "answer_bytes=0", ""},
    Reply{"OneByte", "answer_bytes=1", ""},
    Reply{"PartOfAHeader", "answer_bytes=10", ""},
    Reply{"HeaderAlone", "answer_bytes=16", ""},
    Reply{"FourBytesOfText", "answer_bytes=20 answer=failed", "fail"},
    // Netlink's own form: the code, then the header of the message that it is about, whose length ends the
    // text.
    Reply{"OperationNotPermitted", "error=-1", "\xFF\xFF\xFF\xFF\xF8\x03"},
    Reply{"NoSuchProcess", "error=-3", "\xFD\xFF\xFF\xFF\xF8\x03"},
    Reply{"Acknowledgement", "error=0", ""},
};

INSTANTIATE_TEST_SUITE_P(, RefusalTest, testing::ValuesIn(kRefusals),
                         [](const auto& row) { return std::string(row.param.name); });

class AgreementTest : public ChannelTest, public testing::WithParamInterface<Reply> {};

TEST_P(AgreementTest, IsNotLogged)
{
    load(GetParam().parameters);
    EXPECT_EQ(notify(), 0);
    expect_no_log();
    EXPECT_EQ(only_record().bytes.size(), 1016U);
}

const std::array kAgreements = {
    Reply{"Succeeded", "", {}},
    Reply{"WithoutTheBytesBehindIt", "answer_bytes=25", {}},
    Reply{"WithOtherBytesBehindItsNul", "fill=1", {}},
    Reply{"InALongDatagram", "fill=1 answer_bytes=4000", {}},
    Reply{"AfterThreeTenthsOfASecond", "delay_ms=300", {}},
};

INSTANTIATE_TEST_SUITE_P(, AgreementTest, testing::ValuesIn(kAgreements),
                         [](const auto& row) { return std::string(row.param.name); });

// --- no answer ---

class SilentKernelTest : public ChannelTest {};

TEST_F(SilentKernelTest, CallEndsAfterItsSecond)
{
    load("silent=1");
    const TimedResult call = timed_notify();
    EXPECT_EQ(call.result, -1);
    expect_one_second(call.time);
    EXPECT_EQ(only_log(), kNoAnswer);
    EXPECT_EQ(only_record().bytes.size(), 1016U);
}

TEST_F(SilentKernelTest, NextCallIsAnsweredAgain)
{
    load("silent=1");
    EXPECT_EQ(notify(), -1);
    kernel().set("silent", "0");
    const TimedResult call = timed_notify();
    EXPECT_EQ(call.result, 0);
    EXPECT_LT(call.time, seconds(1));
    EXPECT_EQ(records().size(), 2U);
}

TEST_F(SilentKernelTest, SixteenThreadsWaitTheSameSecond)
{
    load("silent=1");
    const auto start = Clock::now();
    std::vector<std::thread> threads;
    for (int i = 0; i < 16; ++i) {
        threads.emplace_back([] {
            const TimedResult call = timed_notify();
            EXPECT_EQ(call.result, -1);
            EXPECT_GE(call.time, seconds(1));
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_LT(Clock::now() - start, seconds(8)); // one after the other they would need sixteen
    EXPECT_EQ(records().size(), 16U);
}

TEST_F(SilentKernelTest, AnswerThatComesTooLateIsTheNextCallsIfThatWaits)
{
    load("delay_ms=1300 answer=late");
    const TimedResult first = timed_notify();
    EXPECT_EQ(first.result, -1);
    expect_one_second(first.time);
    kernel().set("silent", "1");
    EXPECT_EQ(notify(), 0);
    ASSERT_EQ(log_lines().size(), 2U);
    EXPECT_EQ(log_lines().front().text, kNoAnswer);
    EXPECT_EQ(log_lines().back().text, "tresk_communicate_with_kernel: Got response: late\n");
}

void do_nothing(int /*signal*/) {}

TEST_F(SilentKernelTest, SignalHandlerEndsTheWaitAndTheMessageIsOutAllTheSame)
{
    struct sigaction action = {};
    action.sa_handler = do_nothing;
    action.sa_flags = SA_RESTART;
    ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    load("silent=1");
    std::atomic<bool> ended = false;
    std::thread waiting([&] {
        EXPECT_EQ(notify(), -1);
        ended = true;
    });
    // The message may be out before its sender waits, so one signal could come too early.
    while (!ended) {
        if (!records().empty()) {
            ::pthread_kill(waiting.native_handle(), SIGUSR1);
        }
        std::this_thread::yield();
    }
    waiting.join();
    EXPECT_EQ(only_record().bytes.size(), 1016U);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: recvfrom failed: Interrupted system call\n");
}

// --- a port that is taken ---

TEST_F(SilentKernelTest, PortThatAnotherSocketOfTheThreadHasIsNotShared)
{
    load();
    const int socket = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, 27);
    ASSERT_GE(socket, 0);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = own_thread_id();
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(notify(), -1);
    EXPECT_EQ(only_log(),
              "tresk_communicate_with_kernel: can't bind sockfd with sockaddr_nl: Address already in use\n");
    EXPECT_FALSE(kernel().unload());
    ::close(socket);
    EXPECT_EQ(notify(), 0);
    EXPECT_EQ(records().size(), 1U);
}

} // namespace

} // namespace tresk::test
