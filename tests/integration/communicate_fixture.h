// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TESTS_INTEGRATION_COMMUNICATE_FIXTURE_H
#define TRESK_TESTS_INTEGRATION_COMMUNICATE_FIXTURE_H

#include "standin/kernel/peer.h"
#include "tests/integration/communicate_system_calls.h"
#include "tests/support/framework_double.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <string>

namespace tresk::test {

inline std::uint32_t own_thread_id()
{
    return static_cast<std::uint32_t>(::syscall(SYS_gettid));
}

inline void set_kernel_port(std::uint32_t port)
{
    ::setenv("TRESK_STANDIN_KERNEL_PORT", std::to_string(port).c_str(), 1);
}

inline std::string payload_of(const standin::Received& received)
{
    return {received.message.payload.begin(), received.message.payload.end()};
}

/// Puts zeros behind @content up to the size of a message's payload.
inline std::string padded(std::string content)
{
    content.resize(standin::PAYLOAD_SIZE);
    return content;
}

/// A test without a kernel peer.
class ChannelTest : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        system_calls() = {};
        ::unsetenv("TRESK_STANDIN_KERNEL_PORT");
    }

    /// The one diagnostic of the channel so far, which must be at the level of failures.
    static std::string only_log()
    {
        const auto& logs = framework().logs;
        EXPECT_EQ(logs.size(), 1U);
        if (logs.size() != 1) {
            return "(not one line)";
        }
        EXPECT_EQ(logs.front().level, 3);
        EXPECT_EQ(logs.front().subject, "tresk_communicate_with_kernel");
        EXPECT_EQ(logs.front().source, "tresk_communicate");
        EXPECT_TRUE(framework().errors.empty());
        return logs.front().text;
    }
};

/// A test with a peer that gives one answer to every message: "succeeded" where the test sets no other.
class PeerTest : public ChannelTest {
  protected:
    void SetUp() override
    {
        ChannelTest::SetUp();
        set_kernel_port(peer_.port());
    }

    void set_answer(const standin::Answer& answer)
    {
        const std::lock_guard lock(answering_);
        answer_ = answer;
    }

    /// The only message that was sent.
    standin::Received only_message()
    {
        const auto received = peer_.received();
        EXPECT_EQ(received.size(), 1U);
        return received.empty() ? standin::Received{} : received.front();
    }

  private:
    standin::Answer answer()
    {
        const std::lock_guard lock(answering_);
        return answer_;
    }

    std::mutex answering_;
    standin::Answer answer_;

  protected:
    standin::PeerThread peer_{[this](const standin::Received&) { return answer(); }};
};

} // namespace tresk::test

#endif
