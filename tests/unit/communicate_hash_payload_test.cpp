// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/hash_payload.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace tresk::test {

namespace {

std::string bytes(const HashPayload& payload)
{
    return {payload.begin(), payload.end()};
}

std::string zeros(std::size_t count)
{
    std::string text;
    text.resize(count);
    return text;
}

std::string word(std::uint32_t value)
{
    std::string text = zeros(sizeof(value));
    std::memcpy(text.data(), &value, sizeof(value));
    return text;
}

/// Distinct neighbours, so that a shifted or cut text shows.
std::string characters(std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += static_cast<char>('a' + i % 26);
    }
    return text;
}

std::string payload_of(std::size_t hash_characters)
{
    return bytes(make_hash_payload(characters(hash_characters).c_str(), 0x01020304));
}

TEST(HashPayloadTest, EmptyHashLeavesEverythingBehindTheValueZero)
{
    EXPECT_EQ(payload_of(0), word(0x01020304) + zeros(68));
}

TEST(HashPayloadTest, OneCharacterStandsAtByteFour)
{
    EXPECT_EQ(payload_of(1), word(0x01020304) + "a" + zeros(67));
}

TEST(HashPayloadTest, ShortHashIsFilledUpWithZeros)
{
    EXPECT_EQ(payload_of(63), word(0x01020304) + characters(63) + zeros(5));
}

TEST(HashPayloadTest, WholeHashFillsItsFieldAndLeavesTheLastWordZero)
{
    EXPECT_EQ(payload_of(64), word(0x01020304) + characters(64) + zeros(4));
}

TEST(HashPayloadTest, SixtyFifthCharacterGoesIntoTheLastWordsFirstByte)
{
    EXPECT_EQ(payload_of(65), word(0x01020304) + characters(65) + zeros(3));
}

TEST(HashPayloadTest, CharactersBehindTheSixtyFifthAreNotSent)
{
    EXPECT_EQ(payload_of(66), payload_of(65));
    EXPECT_EQ(payload_of(200), payload_of(65));
}

TEST(HashPayloadTest, ValueKeepsAllItsBits)
{
    EXPECT_EQ(bytes(make_hash_payload("", 0xFFFFFFFF)), std::string(4, '\xFF') + zeros(68));
    EXPECT_EQ(bytes(make_hash_payload("", 0)), zeros(72));
}

} // namespace

} // namespace tresk::test
