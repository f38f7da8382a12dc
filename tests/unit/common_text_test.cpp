// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace tresk {

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

// --- copies into fields ---

template <std::size_t N>
struct Field {
    Field() { std::fill(std::begin(bytes), std::end(bytes), 'x'); }

    [[nodiscard]] std::string all() const { return {bytes, N}; }

    char bytes[N];
};

TEST(CopyBytes, FillsTheRestOfTheFieldWithZeros)
{
    Field<8> field;
    copy_bytes(field.bytes, "abc");
    EXPECT_EQ(field.all(), "abc\0\0\0\0\0"s);
}

TEST(CopyBytes, KeepsATextThatFitsExactly)
{
    Field<4> field;
    copy_bytes(field.bytes, "abc");
    EXPECT_EQ(field.all(), "abc\0"s);
}

TEST(CopyBytes, CutsALongerTextByBytes)
{
    Field<4> field;
    copy_bytes(field.bytes, "abcd");
    EXPECT_EQ(field.all(), "abc\0"s);
    copy_bytes(field.bytes, "ab\u00e4"); // its second byte does not fit
    EXPECT_EQ(field.all(), "ab\xc3\0"s);
}

TEST(CopyBytes, CopiesNothingOfAnEmptyText)
{
    Field<4> field;
    copy_bytes(field.bytes, "");
    EXPECT_EQ(field.all(), std::string(4, '\0'));
    copy_bytes(field.bytes, std::string_view());
    EXPECT_EQ(field.all(), std::string(4, '\0'));
}

TEST(CopyBytes, LeavesRoomForNothingInAFieldOfOneByte)
{
    Field<1> field;
    copy_bytes(field.bytes, "a");
    EXPECT_EQ(field.all(), "\0"s);
}

TEST(CopyBytes, ReadsNoFurtherThanTheView)
{
    Field<8> field;
    copy_bytes(field.bytes, std::string_view("abcdef").substr(1, 3));
    EXPECT_EQ(field.all(), "bcd\0\0\0\0\0"s);
}

/// The bounded copy below refuses with an error what it thinks too long; none of these lengths may be.
class CopyOfEveryLength : public ::testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(Around, CopyOfEveryLength,
                         ::testing::Values(0, 1, 63, 64, 65, 4094, 4095, 4096, 4097, 8192, 1'000'000));

TEST_P(CopyOfEveryLength, IsNeverRefused)
{
    const std::string text(GetParam(), 'a');
    const auto path = std::make_unique<Field<4096>>();
    copy_bytes(path->bytes, text);
    const std::size_t kept = std::min<std::size_t>(text.size(), 4095);
    EXPECT_EQ(path->all(), text.substr(0, kept) + std::string(4096 - kept, '\0'));

    Field<65> hash;
    copy_bytes(hash.bytes, text);
    const std::size_t hash_kept = std::min<std::size_t>(text.size(), 64);
    EXPECT_EQ(hash.all(), text.substr(0, hash_kept) + std::string(65 - hash_kept, '\0'));
}

TEST(Fits, CountsTheTerminator)
{
    EXPECT_TRUE(fits("", 1));
    EXPECT_TRUE(fits("abc", 4));
    EXPECT_FALSE(fits("abc", 3));
    EXPECT_FALSE(fits("", 0));
}

// --- cuts between characters ---

struct Cut {
    const char* label;
    std::string text;
    std::size_t max_bytes;
    std::string kept;
};

std::ostream& operator<<(std::ostream& out, const Cut& cut)
{
    return out << cut.label;
}

const Cut kCuts[] = {
    {"Empty", "", 0, ""},
    {"EmptyWithRoom", "", 5, ""},
    {"NoRoom", "abc", 0, ""},
    {"ExactFit", "abc", 3, "abc"},
    {"Ascii", "abcdef", 3, "abc"},
    {"TwoBytesWhole", "a\u00e4b", 3, "a\u00e4"},
    {"TwoBytesHalf", "a\u00e4b", 2, "a"},
    {"ThreeBytesWhole", "a\u20acb", 4, "a\u20ac"},
    {"ThreeBytesTwoThirds", "a\u20acb", 3, "a"},
    {"ThreeBytesOneThird", "a\u20acb", 2, "a"},
    {"FourBytesWhole", "a\U0001F600b", 5, "a\U0001F600"},
    {"FourBytesThreeQuarters", "a\U0001F600b", 4, "a"},
    {"FourBytesHalf", "a\U0001F600b", 3, "a"},
    {"FourBytesOneQuarter", "a\U0001F600b", 2, "a"},
    {"NoRoomForTheFirstCharacter", "\U0001F600b", 3, ""},
    {"ManyContinuationBytes", std::string(10, '\x80'), 6, std::string(6, '\x80')},
    {"TextAfterInvalidBytes", "\xff\xff\xffxyz", 4, "\xff\xff\xffx"},
};

class CutToCharacters : public ::testing::TestWithParam<Cut> {};

INSTANTIATE_TEST_SUITE_P(Each, CutToCharacters, ::testing::ValuesIn(kCuts),
                         [](const auto& test) { return test.param.label; });

TEST_P(CutToCharacters, KeepsWholeCharacters)
{
    EXPECT_EQ(cut_to_characters(GetParam().text, GetParam().max_bytes), GetParam().kept);
}

TEST(CutToCharactersOfValidText, IsAlwaysValidAndAsLongAsPossible)
{
    std::string text;
    for (int i = 0; i < 40; ++i) {
        text += "a\u00e4\u20ac\U0001F600";
    }
    for (std::size_t max = 0; max <= text.size(); ++max) {
        const std::string_view kept = cut_to_characters(text, max);
        EXPECT_TRUE(is_dbus_text(kept)) << max;
        EXPECT_LE(kept.size(), max);
        EXPECT_GT(kept.size() + 4, max);
    }
}

// --- texts for the bus ---

TEST(IsDbusText, TakesValidUtf8)
{
    for (const std::string_view text :
         {""sv, "/usr/bin/a"sv, "\u00e4\u20ac\U0001F600"sv, "line\nfeed\x01"sv}) {
        EXPECT_TRUE(is_dbus_text(text)) << text;
    }
}

TEST(IsDbusText, RefusesWhatIsNotUtf8)
{
    for (const std::string_view text : {"\xff"sv, "\xc3"sv, "\xe2\x82"sv, "\xc0\x80"sv, "\xed\xa0\x80"sv,
                                        "\xf4\x90\x80\x80"sv, "a\x80"sv}) {
        EXPECT_FALSE(is_dbus_text(text)) << text;
    }
}

TEST(IsDbusText, RefusesANulInside)
{
    EXPECT_FALSE(is_dbus_text("a\0b"sv));
}

// --- numbers ---

struct Number {
    std::string_view text;
    std::int32_t value;
};

TEST(ToInt32, ReadsTheLeadingNumber)
{
    const Number numbers[] = {
        {"0", 0},
        {"7", 7},
        {"-7", -7},
        {"+7", 7},
        {"  \t\n7", 7},
        {"7 8", 7},
        {"7abc", 7},
        {"007", 7},
        {"0x10", 0},
        {"- 7", 0},
        {"", 0},
        {"abc", 0},
        {" ", 0},
        {"--7", 0},
        {"7.9", 7},
        {"999999999", 999999999},
        {"1234567890", 1234567890},
        {"12345678x", 12345678},
        {"2147483647", 2147483647},
        {"-2147483648", INT32_MIN},
    };
    for (const Number& number : numbers) {
        EXPECT_EQ(to_int32(number.text), number.value) << '"' << number.text << '"';
    }
}

TEST(ToInt32, CutsWhatDoesNotFitTo32Bits)
{
    const Number numbers[] = {
        {"2147483648", INT32_MIN},
        {"4294967295", -1},
        {"4294967296", 0},
        {"4294967303", 7},
        {"-2147483649", INT32_MAX},
        {"9223372036854775807", -1},
        {"99999999999999999999", -1}, // the largest long
        {"-99999999999999999999", 0}, // the smallest long
    };
    for (const Number& number : numbers) {
        EXPECT_EQ(to_int32(number.text), number.value) << number.text;
    }
}

TEST(ToInt32, ReadsNoFurtherThanTheView)
{
    EXPECT_EQ(to_int32(std::string_view("12345").substr(0, 2)), 12);
}

} // namespace

} // namespace tresk
