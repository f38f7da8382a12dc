// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input chooses a notification and its message (bytes, a NUL), the step that fails, if any, and the bytes
// of the kernel module's answer. What is sent is the message and nothing else, the call is 0 wherever an
// answer came, and what is logged of the answer is its text.
#include "communicate/kernel_message.h"
#include "fuzz/support/fake_channel.h"
#include "fuzz/support/target.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <array>
#include <cerrno>
#include <cstring>

namespace tresk::fuzz {

namespace {

using test::framework;

constexpr std::size_t kHeaderBytes = 16;
constexpr std::size_t kMessageBytes = 1016;

/// What a notification has in its message.
struct Notification {
    int (*send)(std::uint32_t type, const std::string& text, std::uint32_t value);
    std::string (*content)(const std::string& text, std::uint32_t value);
};

std::string hash_content(const std::string& text, std::uint32_t value)
{
    constexpr std::size_t most = 65;
    constexpr std::size_t bytes = 72;
    std::string content(reinterpret_cast<const char*>(&value), sizeof(value));
    content += text.substr(0, most);
    content.resize(bytes);
    return content;
}

std::string text_content(const std::string& text, std::uint32_t /*value*/)
{
    return text;
}

const std::array kNotifications = {
    Notification{[](std::uint32_t type, const std::string& text, std::uint32_t value) {
                     return tresk_hash_communicate_with_kernel(type, text.c_str(), value);
                 },
                 hash_content},
    Notification{[](std::uint32_t type, const std::string& text, std::uint32_t value) {
                     return tresk_netctl_communicate_with_kernel(type, text.c_str(), value);
                 },
                 hash_content},
    Notification{[](std::uint32_t type, const std::string& text, std::uint32_t /*value*/) {
                     return tresk_devctl_communicate_with_kernel(type, text.data(),
                                                                 static_cast<std::uint32_t>(text.size()));
                 },
                 text_content},
    Notification{[](std::uint32_t type, const std::string& text, std::uint32_t /*value*/) {
                     return tresk_kmod_communicate_with_kernel_sm(type, text.c_str());
                 },
                 text_content},
    Notification{[](std::uint32_t type, const std::string& text, std::uint32_t /*value*/) {
                     return tresk_pblk_communicate_with_kernel(type, text.c_str());
                 },
                 [](const std::string& text, std::uint32_t /*value*/) { return text.substr(0, 65); }},
};

void break_a_step(Pieces& pieces)
{
    FakeChannel& channel = fake_channel();
    channel = {};
    constexpr std::size_t steps = 16;
    switch (pieces.below(steps)) {
    case 1:
        channel.socket_error = EPROTONOSUPPORT;
        break;
    case 2:
        channel.bind_error = EADDRINUSE;
        break;
    case 3:
        channel.send_error = ECONNREFUSED;
        break;
    case 4:
        channel.receive_error = EAGAIN;
        break;
    default:
        break;
    }
}

bool is_broken()
{
    const FakeChannel& channel = fake_channel();
    return (channel.socket_error | channel.bind_error | channel.send_error | channel.receive_error) != 0;
}

/// The answer's text: from behind the header, up to a NUL, the payload's end, or as many bytes as came.
std::string expected_text(const std::string& answer)
{
    const std::string message = answer.substr(0, kMessageBytes);
    const std::string payload = message.substr(std::min(kHeaderBytes, message.size()));
    return payload.substr(0, std::min(payload.find('\0'), kPayloadBytes));
}

void check_sent(const std::string& content, std::uint32_t type)
{
    const FakeChannel& channel = fake_channel();
    TRESK_REQUIRE(channel.sent_times == 1 && channel.sent.size() == kMessageBytes);
    KernelMessage message;
    std::memcpy(&message, channel.sent.data(), sizeof(message));
    TRESK_REQUIRE(message.header.nlmsg_len == kMessageBytes);
    TRESK_REQUIRE(message.header.nlmsg_type == static_cast<std::uint16_t>(type));
    TRESK_REQUIRE(message.header.nlmsg_flags == 0 && message.header.nlmsg_seq == 0);
    std::string expected = content;
    expected.resize(kPayloadBytes);
    TRESK_REQUIRE(channel.sent.substr(kHeaderBytes) == expected);
}

void check_log()
{
    const std::string text = expected_text(fake_channel().answer);
    const bool agreed = text == "succeeded";
    TRESK_REQUIRE(framework().logs.size() == (agreed ? 0U : 1U));
    if (!agreed) {
        TRESK_REQUIRE(framework().logs.front().text ==
                      "tresk_communicate_with_kernel: Got response: " + text + "\n");
    }
}

} // namespace

void set_up() {}

void run(std::string_view input)
{
    framework().reset();
    Pieces pieces(input);
    const Notification& notification = kNotifications[pieces.below(kNotifications.size())];
    break_a_step(pieces);
    const auto type = static_cast<std::uint32_t>(pieces.number());
    const auto value = static_cast<std::uint32_t>(pieces.number());
    const std::string text = pieces.text();
    fake_channel().answer = pieces.rest();
    const std::string content = notification.content(text, value);
    // Message type 8 of modules asks for a permission that there is none of, and type 20 of process blocking
    // asks the policy; more than fits ends the process.
    if (type == 8 || type == 20 || content.size() > kPayloadBytes) {
        return;
    }
    const int result = notification.send(type, text, value);
    TRESK_REQUIRE(result == (is_broken() ? -1 : 0));
    if (is_broken()) {
        TRESK_REQUIRE(framework().logs.size() == 1);
        return;
    }
    check_sent(content, type);
    check_log();
}

} // namespace tresk::fuzz
