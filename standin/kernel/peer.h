// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The stand-in for the kernel module: a NETLINK_USERSOCK socket that receives the messages meant for the
// module and answers each. One message, in both directions:
//
//   offset  size  field
//        0    16  netlink header
//       16  1000  payload, zero-filled behind its content
//
// KernelPeer is the exchange itself, for a program's main loop; PeerThread runs one on a thread, for tests.
#ifndef TRESK_STANDIN_KERNEL_PEER_H
#define TRESK_STANDIN_KERNEL_PEER_H

#include "common/handles.h"

#include <linux/netlink.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tresk::standin {

constexpr std::size_t PAYLOAD_SIZE = 1000;

struct KernelMessage {
    nlmsghdr header;
    std::array<char, PAYLOAD_SIZE> payload;
};

constexpr std::size_t MESSAGE_SIZE = sizeof(nlmsghdr) + PAYLOAD_SIZE;
static_assert(sizeof(KernelMessage) == MESSAGE_SIZE);

/// A message as it arrived.
struct Received {
    KernelMessage message = {};
    /// Bytes of the datagram; more or less than a message where the sender made it so.
    std::size_t length = 0;
    /// The sender's port.
    std::uint32_t port = 0;
};

/// What the peer says to one message.
struct Answer {
    std::string text = "succeeded";
    std::chrono::milliseconds delay{0};
    bool silent = false;
    /// The datagram's size where it is not a message's: a smaller one cuts the message, in a greater one
    /// every byte behind the header is an "x".
    std::optional<std::size_t> size = std::nullopt;
};

/// The datagram that carries @answer.
std::string encode(const Answer& answer);

/// One line about a message, without a line feed:
/// "type=10 flags=0 seq=0 pid=71 port=71 length=1016 received=1016 value=1 hash=H text=T payload=HEX".
/// "value" is the payload's first word, "hash" its text from byte 4 to 67, "text" its text from byte 0, each
/// up to a NUL and with everything but graphic characters and the backslash as \xNN; "payload" is
/// hexadecimal, without the zeros at its end.
std::string describe(const Received& received);

class KernelPeer {
  public:
    using Answerer = std::function<Answer(const Received&)>;

    /// Opens the socket. Throws std::system_error.
    KernelPeer();

    /// The port to be told to the preload library. Never a thread's id, which the clients bind.
    [[nodiscard]] std::uint32_t port() const { return port_; }

    /// Waits until a message came, an answer is due or @wakeup is readable, and does what is to do.
    /// @answer is called for each message. Throws std::system_error when the socket fails.
    void serve_once(const Answerer& answer, int wakeup = -1);

  private:
    using Clock = std::chrono::steady_clock;

    struct Pending {
        Clock::time_point due;
        std::uint32_t port;
        std::string datagram;
    };

    [[nodiscard]] int milliseconds_to_next() const;
    void receive(const Answerer& answer);
    void send_due();

    Descriptor socket_;
    std::uint32_t port_ = 0;
    std::vector<Pending> pending_;
};

/// A peer on a thread of its own, which ends with this object.
class PeerThread {
  public:
    explicit PeerThread(KernelPeer::Answerer answer = [](const Received&) { return Answer{}; });
    PeerThread(const PeerThread&) = delete;
    PeerThread& operator=(const PeerThread&) = delete;
    PeerThread(PeerThread&&) = delete;
    PeerThread& operator=(PeerThread&&) = delete;
    ~PeerThread();

    [[nodiscard]] std::uint32_t port() const { return peer_.port(); }

    /// What came so far.
    [[nodiscard]] std::vector<Received> received() const;
    /// Waits until @count messages came; false when they did not within @limit.
    bool wait_for(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds{10}) const;

  private:
    Answer record_and_answer(const Received& received);

    KernelPeer peer_;
    KernelPeer::Answerer answer_;
    Descriptor wakeup_;
    std::atomic<bool> stopping_{false};
    mutable std::mutex mutex_;
    mutable std::condition_variable arrived_;
    std::vector<Received> received_;
    std::thread thread_;
};

} // namespace tresk::standin

#endif
