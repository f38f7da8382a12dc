// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/kernel_message.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tresk {

namespace {

void require_that_fits(int data_bytes)
{
    if (data_bytes < 0 || data_bytes > static_cast<int>(kPayloadBytes)) {
        std::fprintf(stderr, "tresk_communicate_with_kernel: %d bytes do not fit the payload of %zu\n",
                     data_bytes, kPayloadBytes);
        std::abort();
    }
}

} // namespace

void fill_message(KernelMessage& message, int type, std::uint32_t sender, const void* data, int data_bytes)
{
    require_that_fits(data_bytes);
    message.header.nlmsg_len = sizeof(message);
    message.header.nlmsg_type = static_cast<std::uint16_t>(type);
    message.header.nlmsg_pid = sender;
    std::memcpy(message.payload.data(), data, static_cast<std::size_t>(data_bytes));
}

ReplyText reply_text(const KernelMessage& message, std::size_t received)
{
    ReplyText text{};
    const std::size_t limit = std::min(received, kPayloadBytes);
    std::memcpy(text.data(), message.payload.data(), ::strnlen(message.payload.data(), limit));
    return text;
}

} // namespace tresk
