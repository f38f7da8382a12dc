// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/kernel/peer.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

using namespace tresk::standin;
using std::chrono::milliseconds;

/// A client of its own socket, bound to this thread's id as the library's is.
class Client {
  public:
    explicit Client(std::uint32_t peer) : socket_{::socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK)}
    {
        peer_.nl_family = AF_NETLINK;
        peer_.nl_pid = peer;
        sockaddr_nl own = {};
        own.nl_family = AF_NETLINK;
        own.nl_pid = static_cast<std::uint32_t>(::gettid());
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<sockaddr*>(&own), sizeof(own)), 0);
    }

    void send(std::uint16_t type) const
    {
        KernelMessage message = {};
        message.header.nlmsg_len = MESSAGE_SIZE;
        message.header.nlmsg_type = type;
        EXPECT_EQ(::sendto(socket_.get(), &message, sizeof(message), 0,
                           reinterpret_cast<const sockaddr*>(&peer_), sizeof(peer_)),
                  ssize_t{MESSAGE_SIZE});
    }

    [[nodiscard]] bool has_answer(milliseconds limit) const
    {
        pollfd file{socket_.get(), POLLIN, 0};
        return ::poll(&file, 1, static_cast<int>(limit.count())) == 1;
    }

    [[nodiscard]] std::string answer() const
    {
        if (!has_answer(milliseconds{10000})) {
            return "none";
        }
        std::string datagram(4096, '\0');
        const ssize_t length = ::recv(socket_.get(), datagram.data(), datagram.size(), 0);
        datagram.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        return datagram;
    }

  private:
    tresk::Descriptor socket_;
    sockaddr_nl peer_ = {};
};

TEST(KernelPeer, AnswersEachMessage)
{
    const PeerThread peer;
    const Client client{peer.port()};
    client.send(10);
    EXPECT_EQ(client.answer(), encode({}));
    client.send(20);
    EXPECT_EQ(client.answer(), encode({}));
}

TEST(KernelPeer, RemembersWhatItWasTold)
{
    const PeerThread peer;
    const Client client{peer.port()};
    client.send(10);
    ASSERT_TRUE(peer.wait_for(1));
    const std::vector<Received> received = peer.received();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].message.header.nlmsg_type, 10);
    EXPECT_EQ(received[0].length, MESSAGE_SIZE);
    EXPECT_EQ(received[0].port, static_cast<std::uint32_t>(::gettid()));
}

TEST(KernelPeer, AnswersAsScripted)
{
    const PeerThread peer{[](const Received& received) {
        return Answer{.text = std::to_string(received.message.header.nlmsg_type)};
    }};
    const Client client{peer.port()};
    client.send(77);
    EXPECT_EQ(client.answer(), encode({.text = "77"}));
}

TEST(KernelPeer, AnswersOthersWhileOneAnswerIsDelayed)
{
    const PeerThread peer{[](const Received& received) {
        const bool late = received.message.header.nlmsg_type == 1;
        return Answer{.text = late ? "late" : "soon", .delay = milliseconds{late ? 200 : 0}};
    }};
    const Client client{peer.port()};
    const auto start = std::chrono::steady_clock::now();
    client.send(1);
    client.send(2);
    EXPECT_EQ(client.answer(), encode({.text = "soon"}));
    EXPECT_EQ(client.answer(), encode({.text = "late"}));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds{200});
}

TEST(KernelPeer, KeepsSilentWhenAsked)
{
    const PeerThread peer{
        [](const Received& received) { return Answer{.silent = received.message.header.nlmsg_type == 1}; }};
    const Client client{peer.port()};
    client.send(1);
    client.send(2);
    EXPECT_EQ(client.answer(), encode({}));
    EXPECT_EQ(peer.received().size(), 2U);
    EXPECT_FALSE(client.has_answer(milliseconds{0}));
}

TEST(KernelPeer, HasAPortOfItsOwn)
{
    const PeerThread one;
    const PeerThread two;
    EXPECT_NE(one.port(), two.port());
    EXPECT_GE(one.port(), 0x40000000U);
}

} // namespace
