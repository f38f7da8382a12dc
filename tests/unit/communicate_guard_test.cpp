// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/shared_hash_guard.h"
#include "tests/support/framework_double.h"

#include <cstdlib>
#include <string>
#include <tuple>

namespace tresk::test {

namespace {

/// What a family's look-ups answer, and what they were asked. The guard takes plain functions.
struct Family {
    bool exists = false;
    int found = 0;
    int count_result = 0;
    std::vector<std::string> asked;
};

Family family;

bool family_exists(const HashedEntry& entry)
{
    family.asked.push_back(std::string("exists ") + entry.hash + " " + std::to_string(entry.mode) + " " +
                           entry.data_source);
    return family.exists;
}

int family_count(const char* hash, int* count)
{
    family.asked.push_back(std::string("count ") + hash + " from " + std::to_string(*count));
    *count += family.found;
    return family.count_result;
}

constexpr SharedHashGuard kGuard = {20, family_exists, family_count, "counting %s failed!\n"};
constexpr HashedEntry kEntry = {"abc", 7, "source"};

class SharedHashGuardTest : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        family = {};
    }
};

class SharedHashVerdictTest : public SharedHashGuardTest,
                              public testing::WithParamInterface<std::tuple<bool, int, bool>> {};

TEST_P(SharedHashVerdictTest, FollowsTheTable)
{
    const auto [exists, found, sends] = GetParam();
    family.exists = exists;
    family.found = found;
    EXPECT_EQ(may_send(exists, found), sends);
    EXPECT_EQ(ask_guard(kGuard, 20, "function", kEntry), sends ? Verdict::send : Verdict::keep_quiet);
    EXPECT_TRUE(framework().logs.empty());
}

INSTANTIATE_TEST_SUITE_P(, SharedHashVerdictTest,
                         testing::Values(std::tuple(false, 0, true), std::tuple(false, 1, false),
                                         std::tuple(false, 2, false), std::tuple(false, 3, false),
                                         std::tuple(true, 0, false), std::tuple(true, 1, true),
                                         std::tuple(true, 2, false), std::tuple(true, 3, false)));

TEST_F(SharedHashGuardTest, LooksUpFirstAndCountsFromZero)
{
    ask_guard(kGuard, 20, "function", kEntry);
    EXPECT_EQ(family.asked, (std::vector<std::string>{"exists abc 7 source", "count abc from 0"}));
}

TEST_F(SharedHashGuardTest, FailedCountIsLoggedUnderTheFunctionsName)
{
    for (const bool exists : {false, true}) {
        family = {.exists = exists, .found = 1, .count_result = -1, .asked = {}};
        framework().reset();
        EXPECT_EQ(ask_guard(kGuard, 20, "function", kEntry), Verdict::failed);
        ASSERT_EQ(framework().logs.size(), 1U);
        EXPECT_EQ(framework().logs.front().level, 3);
        EXPECT_EQ(framework().logs.front().subject, "function");
        EXPECT_EQ(framework().logs.front().source, "tresk_communicate");
        EXPECT_EQ(framework().logs.front().text, "counting abc failed!\n");
    }
}

TEST_F(SharedHashGuardTest, PositiveCountResultIsAFailureToo)
{
    family.count_result = 1;
    EXPECT_EQ(ask_guard(kGuard, 20, "function", kEntry), Verdict::failed);
}

TEST_F(SharedHashGuardTest, OtherTypesAreSentUnasked)
{
    family.count_result = -1;
    EXPECT_EQ(ask_guard(kGuard, 10, "function", kEntry), Verdict::send);
    EXPECT_EQ(ask_guard(kGuard, 20 + 0x10000, "function", kEntry), Verdict::send);
    EXPECT_TRUE(family.asked.empty());
}

struct Record {
    int member;
};

Record* reads_a_record(const char* hash, int mode, const char* data_source)
{
    const bool told = std::string(hash) == "abc" && mode == 7 && std::string(data_source) == "source";
    return told ? static_cast<Record*>(std::calloc(1, sizeof(Record))) : nullptr;
}

Record* reads_nothing(const char*, int, const char*)
{
    return nullptr;
}

// The address sanitizer's leak check sees that the record is released.
TEST(EntryExistsTest, IsWhetherTheReaderFindsARecord)
{
    EXPECT_TRUE(entry_exists<reads_a_record>(kEntry));
    EXPECT_FALSE(entry_exists<reads_nothing>(kEntry));
}

} // namespace

} // namespace tresk::test
