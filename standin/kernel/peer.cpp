// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/kernel/peer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <system_error>

namespace tresk::standin {

namespace {

constexpr std::size_t HASH_OFFSET = 4;
constexpr std::size_t HASH_SIZE = 64;
/// Clients bind their thread's id, which is never this large.
constexpr std::uint32_t FIRST_PORT = 0x40000000;
constexpr std::uint32_t PORTS = 0x10000000;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error{errno, std::generic_category(), what};
}

sockaddr_nl address_of(std::uint32_t port)
{
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_pid = port;
    return address;
}

bool bind_port(int socket, std::uint32_t port)
{
    const sockaddr_nl address = address_of(port);
    return ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

/// Binds the first free port from one on that differs from process to process.
std::uint32_t bind_free_port(int socket)
{
    std::uint32_t offset = static_cast<std::uint32_t>(::getpid()) % PORTS;
    while (!bind_port(socket, FIRST_PORT + offset)) {
        if (errno != EADDRINUSE) {
            fail("netlink bind");
        }
        offset = (offset + 1) % PORTS;
    }
    return FIRST_PORT + offset;
}

std::string hex(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 3> digits;
        std::snprintf(digits.data(), digits.size(), "%02x",
                      static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += digits.data();
    }
    return text;
}

/// The text up to a NUL, as one word.
std::string word(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes.substr(0, bytes.find('\0'))) {
        if (std::isgraph(static_cast<unsigned char>(byte)) != 0 && byte != '\\') {
            text += byte;
        } else {
            text += "\\x" + hex({&byte, 1});
        }
    }
    return text;
}

std::string_view without_zeros_at_end(std::string_view bytes)
{
    const std::size_t last = bytes.find_last_not_of('\0');
    return bytes.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

} // namespace

std::string encode(const Answer& answer)
{
    const std::size_t size = answer.size.value_or(MESSAGE_SIZE);
    KernelMessage message = {};
    message.header.nlmsg_len = static_cast<std::uint32_t>(std::max(size, MESSAGE_SIZE));
    answer.text.copy(message.payload.data(), message.payload.size());
    std::string datagram(sizeof(message), '\0');
    std::memcpy(datagram.data(), &message, sizeof(message));
    if (size > MESSAGE_SIZE) {
        datagram.resize(sizeof(nlmsghdr));
    }
    datagram.resize(size, 'x');
    return datagram;
}

std::string describe(const Received& received)
{
    const nlmsghdr& header = received.message.header;
    const std::string_view payload{received.message.payload.data(), PAYLOAD_SIZE};
    std::uint32_t value = 0;
    std::memcpy(&value, payload.data(), sizeof(value));
    return "type=" + std::to_string(header.nlmsg_type) + " flags=" + std::to_string(header.nlmsg_flags) +
           " seq=" + std::to_string(header.nlmsg_seq) + " pid=" + std::to_string(header.nlmsg_pid) +
           " port=" + std::to_string(received.port) + " length=" + std::to_string(header.nlmsg_len) +
           " received=" + std::to_string(received.length) + " value=" + std::to_string(value) +
           " hash=" + word(payload.substr(HASH_OFFSET, HASH_SIZE)) + " text=" + word(payload) +
           " payload=" + hex(without_zeros_at_end(payload));
}

KernelPeer::KernelPeer() : socket_{::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK)}
{
    if (!socket_) {
        fail("netlink socket");
    }
    port_ = bind_free_port(socket_.get());
}

void KernelPeer::serve_once(const Answerer& answer, int wakeup)
{
    std::array<pollfd, 2> files{{{socket_.get(), POLLIN, 0}, {wakeup, POLLIN, 0}}};
    if (::poll(files.data(), files.size(), milliseconds_to_next()) < 0 && errno != EINTR) {
        fail("poll");
    }
    if ((files[0].revents & POLLIN) != 0) {
        receive(answer);
    }
    send_due();
}

int KernelPeer::milliseconds_to_next() const
{
    if (pending_.empty()) {
        return -1;
    }
    const auto next = std::ranges::min_element(pending_, {}, &Pending::due)->due;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT32_MAX));
}

void KernelPeer::receive(const Answerer& answer)
{
    Received received;
    sockaddr_nl sender = {};
    socklen_t sender_length = sizeof(sender);
    const ssize_t length =
        ::recvfrom(socket_.get(), &received.message, sizeof(received.message), MSG_TRUNC | MSG_DONTWAIT,
                   reinterpret_cast<sockaddr*>(&sender), &sender_length);
    if (length < 0) {
        if (errno != EAGAIN && errno != EINTR && errno != ENOBUFS) {
            fail("netlink receive");
        }
        return;
    }
    received.length = static_cast<std::size_t>(length);
    received.port = sender.nl_pid;
    const Answer reply = answer(received);
    if (!reply.silent) {
        pending_.push_back({Clock::now() + reply.delay, received.port, encode(reply)});
    }
}

/// A client that does not wait any longer is no failure of the peer; neither is a kernel that carries no
/// empty datagram.
void KernelPeer::send_due()
{
    const auto now = Clock::now();
    std::erase_if(pending_, [&](const Pending& answer) {
        if (answer.due > now) {
            return false;
        }
        const sockaddr_nl address = address_of(answer.port);
        if (::sendto(socket_.get(), answer.datagram.data(), answer.datagram.size(), MSG_DONTWAIT,
                     reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0) {
            std::perror("kernel peer: answer not sent");
        }
        return true;
    });
}

PeerThread::PeerThread(KernelPeer::Answerer answer)
    : answer_{std::move(answer)}, wakeup_{::eventfd(0, EFD_CLOEXEC)}
{
    thread_ = std::thread{[this] {
        while (!stopping_) {
            peer_.serve_once([this](const Received& message) { return record_and_answer(message); },
                             wakeup_.get());
        }
    }};
}

PeerThread::~PeerThread()
{
    stopping_ = true;
    ::eventfd_write(wakeup_.get(), 1);
    thread_.join();
}

std::vector<Received> PeerThread::received() const
{
    const std::lock_guard lock{mutex_};
    return received_;
}

bool PeerThread::wait_for(std::size_t count, std::chrono::milliseconds limit) const
{
    std::unique_lock lock{mutex_};
    return arrived_.wait_for(lock, limit, [&] { return received_.size() >= count; });
}

Answer PeerThread::record_and_answer(const Received& received)
{
    {
        const std::lock_guard lock{mutex_};
        received_.push_back(received);
    }
    arrived_.notify_all();
    return answer_(received);
}

} // namespace tresk::standin
