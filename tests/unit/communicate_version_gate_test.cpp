// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/version_gate.h"
#include "tests/support/framework_double.h"

#include <cstring>

namespace tresk::test {

namespace {

struct Version {
    const char* text;
    bool too_old;
};

void PrintTo(const Version& version, std::ostream* out)
{
    *out << '"' << version.text << '"';
}

class VersionTextTest : public testing::TestWithParam<Version> {};

TEST_P(VersionTextTest, IsReadAsOneLeadingNumber)
{
    EXPECT_EQ(is_too_old(GetParam().text), GetParam().too_old);
}

INSTANTIATE_TEST_SUITE_P(, VersionTextTest,
                         testing::Values(Version{"4.1", true}, Version{"4.10", true},
                                         Version{"4.19", true}, // no lists of counters
                                         Version{"4.1999", true}, Version{"4.2", false},
                                         Version{"4.20", false}, Version{"4.2.1", false},
                                         Version{"4.2-rc1", false}, Version{" 4.2", false},
                                         Version{"5", false}, Version{"5.0", false}, Version{"5.10", false},
                                         Version{"10.0", false}, Version{"4", true}, Version{"4.1.9", true},
                                         Version{"-5", true}, Version{"4,3", true}, Version{"", true},
                                         Version{"garbage", true}, Version{"v5.0", true}));

class VersionGateTest : public FrameworkTest {
  protected:
    void answer(const char* text)
    {
        framework().version_get = [this, text](int kind, char** version) {
            asked_kind_ = kind;
            *version = ::strdup(text);
            return 0;
        };
    }

    int asked_kind_ = -1;
};

constexpr VersionGate kGate = {42, "too old\n"};

TEST_F(VersionGateTest, AsksForItsOwnKind)
{
    answer("5.0");
    EXPECT_TRUE(passes(kGate, "function"));
    EXPECT_EQ(asked_kind_, 42);
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(VersionGateTest, RefusesAnOldVersionWithItsMessage)
{
    answer("4.1");
    EXPECT_FALSE(passes({8, "too old\n"}, "function"));
    ASSERT_EQ(framework().logs.size(), 1U);
    const LogLine& line = framework().logs.front();
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.subject, "function");
    EXPECT_EQ(line.source, "tresk_communicate");
    EXPECT_EQ(line.text, "too old\n");
    EXPECT_TRUE(framework().errors.empty());
}

TEST_F(VersionGateTest, UnknownVersionPasses)
{
    EXPECT_TRUE(passes(kGate, "function"));
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(VersionGateTest, TextCountsAlsoWhereTheFrameworkReportsAFailure)
{
    framework().version_get = [](int, char** version) {
        *version = ::strdup("4.0");
        return -1;
    };
    EXPECT_FALSE(passes({6, "too old\n"}, "function"));
}

TEST_F(VersionGateTest, FailureWithoutATextPasses)
{
    framework().version_get = [](int, char**) { return -1; };
    EXPECT_TRUE(passes(kGate, "function"));
}

TEST_F(VersionGateTest, EmptyTextIsRefused)
{
    answer("");
    EXPECT_FALSE(passes({6, "too old\n"}, "function"));
}

TEST(PproVersionGateTest, HasKindSixAndItsOwnMessage)
{
    EXPECT_EQ(kPproVersionGate.kind, 6);
    EXPECT_STREQ(kPproVersionGate.refusal,
                 "current kernel version not support ppro function, please update kernel version\n");
}

} // namespace

} // namespace tresk::test
