// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/kernel/channel_fixture.h"

namespace tresk::test {

namespace {

constexpr std::size_t kMessageBytes = 1016;

/// @number's bytes, the lowest first.
std::string little_endian(std::uint32_t number, int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>((number >> (8 * i)) & 0xFFU);
    }
    return text;
}

} // namespace

std::string message_bytes(std::uint16_t type, std::uint32_t thread, const std::string& payload)
{
    const std::string length("\xf8\x03\x00\x00", 4);
    const std::string flags_and_sequence(2 + 4, '\0');
    std::string bytes =
        length + little_endian(type, 2) + flags_and_sequence + little_endian(thread, 4) + payload;
    bytes.resize(kMessageBytes);
    return bytes;
}

void ChannelTest::SetUp()
{
    forget_log_lines();
    write_file("/etc/tresk/ppro/ppro.xml", "<ppro_root></ppro_root>");
    write_file("/etc/tresk/pblk/pblk.xml", "<pblk_root></pblk_root>");
}

void ChannelTest::TearDown()
{
    EXPECT_TRUE(!kernel_ || kernel_->unload()) << "the library left a socket open";
}

void ChannelTest::load(const std::string& parameters)
{
    load_on("27", parameters);
}

void ChannelTest::load_on(const std::string& protocols, const std::string& parameters)
{
    kernel_.reset();
    kernel_.emplace("protocol=" + protocols + " " + parameters);
}

std::vector<KernelRecord> ChannelTest::records() const
{
    return kernel_.value().records();
}

KernelRecord ChannelTest::only_record()
{
    const auto all = records();
    EXPECT_EQ(all.size(), 1U);
    return all.size() == 1 ? all.front() : KernelRecord{};
}

std::string ChannelTest::only_log()
{
    const auto lines = log_lines();
    EXPECT_EQ(lines.size(), 1U);
    if (lines.size() != 1) {
        return "(not one line)";
    }
    EXPECT_EQ(lines.front().level, 3);
    EXPECT_EQ(lines.front().subject, "tresk_communicate_with_kernel");
    EXPECT_EQ(lines.front().source, "tresk_communicate");
    return lines.front().text;
}

} // namespace tresk::test
