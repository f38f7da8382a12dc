// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The content of a message about a hash:
//
//   offset  size  field
//        0     4  value   the caller's, in the machine's byte order
//        4    64  hash    text without terminator, zero-filled
//       68     4  zero
//
// A 65th character of the hash goes into byte 68, as the module has always been sent it; more is not sent.
#ifndef TRESK_COMMUNICATE_HASH_PAYLOAD_H
#define TRESK_COMMUNICATE_HASH_PAYLOAD_H

#include <array>
#include <cstdint>

namespace tresk {

using HashPayload = std::array<unsigned char, 72>;

HashPayload make_hash_payload(const char* hash, std::uint32_t value) noexcept;

} // namespace tresk

#endif
