// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/hash_payload.h"

#include <cstddef>
#include <cstring>

namespace tresk {

namespace {

constexpr std::size_t kHashOffset = 4;
constexpr std::size_t kMostCharacters = 65;
static_assert(kHashOffset + kMostCharacters <= sizeof(HashPayload));

} // namespace

HashPayload make_hash_payload(const char* hash, std::uint32_t value) noexcept
{
    HashPayload payload{};
    std::memcpy(payload.data(), &value, sizeof(value));
    std::memcpy(payload.data() + kHashOffset, hash, ::strnlen(hash, kMostCharacters));
    return payload;
}

} // namespace tresk
