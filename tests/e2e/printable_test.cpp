// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/printable.h"

#include <gtest/gtest.h>

using namespace tresk::ctl;

TEST(Printable, LeavesLettersOfAllScriptsAsTheyAre)
{
    EXPECT_EQ(printable("/opt/a b \"c\" ä€𝄞"), "/opt/a b \"c\" ä€𝄞");
}

TEST(Printable, EscapesControlBytesAndTheBackslash)
{
    EXPECT_EQ(printable("a\nb\tc\rd\033[2Je\\f\177"), "a\\nb\\tc\\x0dd\\x1b[2Je\\\\f\\x7f");
}

TEST(Printable, EscapesNulInTheMiddle)
{
    EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
}

TEST(Printable, EscapesC1ControlsByteByByte)
{
    EXPECT_EQ(printable("a\xc2\x9b"
                        "2J"),
              "a\\xc2\\x9b2J");
}

TEST(Printable, EscapesDirectionMarksAndLineSeparators)
{
    EXPECT_EQ(printable("\u202e"), "\\xe2\\x80\\xae");
    EXPECT_EQ(printable("\u2066"), "\\xe2\\x81\\xa6");
    EXPECT_EQ(printable("\u2028"), "\\xe2\\x80\\xa8");
    EXPECT_EQ(printable("\u200f"), "\\xe2\\x80\\x8f");
}

TEST(Printable, EscapesBytesThatAreNotUtf8AndGoesOnBehindThem)
{
    EXPECT_EQ(printable("a\xff"
                        "b"),
              "a\\xffb");
    EXPECT_EQ(printable("\xe2\x82"), "\\xe2\\x82");
    EXPECT_EQ(printable("\xc3("), "\\xc3(");
}

TEST(Utf8, AcceptsTheLastCharacterOfEachLength)
{
    EXPECT_TRUE(is_utf8("\x7f"));
    EXPECT_TRUE(is_utf8("\xdf\xbf"));
    EXPECT_TRUE(is_utf8("\xef\xbf\xbf"));
    EXPECT_TRUE(is_utf8("\xf4\x8f\xbf\xbf"));
    EXPECT_TRUE(is_utf8(""));
}

TEST(Utf8, RefusesOverlongFormsSurrogatesAndWhatLiesBehindTheLastCharacter)
{
    EXPECT_FALSE(is_utf8("\xc0\xaf"));
    EXPECT_FALSE(is_utf8("\xe0\x80\xaf"));
    EXPECT_FALSE(is_utf8("\xf0\x80\x80\xaf"));
    EXPECT_FALSE(is_utf8("\xed\xa0\x80"));
    EXPECT_FALSE(is_utf8("\xf4\x90\x80\x80"));
    EXPECT_FALSE(is_utf8("\x80"));
}

TEST(Utf8, CountsCharacters)
{
    EXPECT_EQ(length_characters("aä€𝄞"), 4U);
}

TEST(PrintableJson, EscapesWhatTerminalsObeyAndLeavesTheRest)
{
    EXPECT_EQ(printable_json("{\n  \"a\": \"\x7f\xc2\x9b\xe2\x80\xae \u00e4\xf0\x9d\x84\x9e\\n\"\n}"),
              "{\n  \"a\": \"\\u007f\\u009b\\u202e \u00e4\xf0\x9d\x84\x9e\\n\"\n}");
}

TEST(Hexadecimal, WritesTwoDigitsForEachByte)
{
    EXPECT_EQ(hexadecimal(std::string_view("\0\x0f\xff", 3)), "000fff");
}
