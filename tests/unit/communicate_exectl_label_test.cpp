// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tresk_extend.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace tresk::test {

namespace {

constexpr std::pair<const char*, int> kKnown[] = {
    {"verified", 1}, {"original", 2}, {"mesoft", 3}, {"trusted", 4}, {"parent", 6}, {"script", 7},
};

TEST(ExectlLabelTest, EveryKnownLabelHasItsNumber)
{
    for (const auto& [label, number] : kKnown) {
        EXPECT_EQ(tresk_convert_exectl_label_to_label_type(label), number) << label;
    }
}

TEST(ExectlLabelTest, OtherTextsAreFive)
{
    for (const char* label : {"", " ", "unknown", "5", "none", "VERIFIED", "Script", "\xFF"}) {
        EXPECT_EQ(tresk_convert_exectl_label_to_label_type(label), 5) << label;
    }
}

TEST(ExectlLabelTest, WholeLabelIsCompared)
{
    for (const auto& [label, number] : kKnown) {
        const std::string text = label;
        for (const std::string& other :
             {text + " ", " " + text, text + "\n", text + "x", text.substr(0, text.size() - 1)}) {
            EXPECT_EQ(tresk_convert_exectl_label_to_label_type(other.c_str()), 5) << other;
        }
    }
}

TEST(ExectlLabelTest, NullIsNoLabel)
{
    EXPECT_EQ(tresk_convert_exectl_label_to_label_type(nullptr), 5);
}

} // namespace

} // namespace tresk::test
