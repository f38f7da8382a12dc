// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The message that goes to the kernel module and comes back from it, always whole:
//
//   offset  size  field
//        0     4  nlmsg_len     1016, however long the content is
//        4     2  nlmsg_type    what the message is about; the module's numbers
//        6     2  nlmsg_flags   0
//        8     4  nlmsg_seq     0
//       12     4  nlmsg_pid     the sender's thread id, which is also its port
//       16  1000  payload       the content, then zeros; in an answer a text
#ifndef TRESK_COMMUNICATE_KERNEL_MESSAGE_H
#define TRESK_COMMUNICATE_KERNEL_MESSAGE_H

#include <linux/netlink.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace tresk {

inline constexpr std::size_t kPayloadBytes = 1000;

struct KernelMessage {
    nlmsghdr header;
    std::array<char, kPayloadBytes> payload;
};

static_assert(sizeof(KernelMessage) == 1016);
static_assert(offsetof(KernelMessage, payload) == 16);

/// Fills @message, which holds zeros. Ends the process where @data_bytes is negative or more than the payload
/// holds: a caller that got that wrong would tell the kernel about something else.
void fill_message(KernelMessage& message, int type, std::uint32_t sender, const void* data, int data_bytes);

/// An answer's text, NUL-terminated.
using ReplyText = std::array<char, kPayloadBytes + 1>;

/// The text of @message, of which @received bytes came: up to a NUL, the payload's end, or as many bytes as
/// came. That number counts the header, so zeros behind a short answer, not its length, end its text.
ReplyText reply_text(const KernelMessage& message, std::size_t received);

} // namespace tresk

#endif
