// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/data_path.h"
#include "tests/support/framework_double.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace tresk::test {

namespace {

using Pair = std::pair<std::string, std::string>;

/// Where both forms of a path name the same file, and both folders are bound from "/data"; what the
/// framework was asked is written down.
class DataPath : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        framework().path_is_same = [this](const char* a, const char* b) {
            same_questions.emplace_back(a, b);
            return same_answer;
        };
        framework().path_is_mount_bind = [this](const char* source, const char* target) {
            bind_questions.emplace_back(source, target);
            return bind_answer;
        };
    }

    static std::string shortened(const std::string& path)
    {
        const Malloced<char> copy(::strdup(path.c_str()));
        shorten_data_path(copy.get());
        return copy.get();
    }

    int same_answer = 1;
    int bind_answer = 1;
    std::vector<Pair> same_questions;
    std::vector<Pair> bind_questions;
};

// --- the long form made short ---

TEST_F(DataPath, ShortensPathsBelowHomeAndRoot)
{
    EXPECT_EQ(shortened("/data/home/u/a"), "/home/u/a");
    EXPECT_EQ(shortened("/data/root/a"), "/root/a");
    EXPECT_EQ(same_questions,
              (std::vector<Pair>{{"/data/home/u/a", "/home/u/a"}, {"/data/root/a", "/root/a"}}));
}

TEST_F(DataPath, ShortensByPrefixAlone)
{
    EXPECT_EQ(shortened("/data/homework"), "/homework");
    EXPECT_EQ(shortened("/data/home"), "/home");
}

TEST_F(DataPath, LeavesOtherPathsWithoutAsking)
{
    for (const char* path : {"/data/usr/a", "/home/u/a", "/data", "/data/", "/data/hom", "/database/home/a",
                             "/x/data/home/a", "", "data/home/a"}) {
        EXPECT_EQ(shortened(path), path);
    }
    EXPECT_EQ(same_questions, std::vector<Pair>());
}

TEST_F(DataPath, LeavesAPathWhoseFormsNameTwoFiles)
{
    for (const int answer : {0, -1, 2}) {
        same_answer = answer;
        EXPECT_EQ(shortened("/data/home/u/a"), "/data/home/u/a");
    }
}

TEST_F(DataPath, ShortFormHoldsAtMost4095Bytes)
{
    const std::string longest = "/home/" + std::string(4095 - 6, 'a');
    EXPECT_EQ(shortened("/data" + longest), longest);
    EXPECT_EQ(shortened("/data" + longest + "b"), longest);
}

TEST_F(DataPath, ShortFormHoldsAsManyBytesAsItsUserKeeps)
{
    const Malloced<char> path(::strdup("/data/home/abcdef"));
    shorten_data_path(path.get(), 8);
    EXPECT_STREQ(path.get(), "/home/ab");
}

TEST_F(DataPath, ShortFormEndsBetweenTwoCharacters)
{
    const Malloced<char> path(::strdup("/data/home/a\u00e4b"));
    shorten_data_path(path.get(), 8);
    EXPECT_STREQ(path.get(), "/home/a");
}

TEST_F(DataPath, WithoutDataIsThePlaceBehindIt)
{
    const char* path = "/data/home/u/a";
    EXPECT_EQ(without_data(path), path + 5);
    EXPECT_EQ(same_questions, (std::vector<Pair>{{"/data/home/u/a", "/home/u/a"}}));
}

TEST_F(DataPath, WithoutDataIsThePathWhereItsFormsNameTwoFiles)
{
    const char* path = "/data/root/a";
    for (const int answer : {0, -1, 2}) {
        same_answer = answer;
        EXPECT_EQ(without_data(path), path);
    }
}

TEST_F(DataPath, WithoutDataIsAnotherPathWithoutAsking)
{
    for (const char* path : {"/data/usr/a", "/home/u/a", "/data", "", "data/home/a"}) {
        EXPECT_EQ(without_data(path), path);
    }
    EXPECT_EQ(same_questions, std::vector<Pair>());
}

// --- the form that is stored ---

constexpr char kSource[] = "module";

TEST_F(DataPath, StoredFormIsMadeAbsoluteAndThenShort)
{
    framework().get_absolute_path = [](const char* path) {
        return ::strdup((std::string("/data/home/") + path).c_str());
    };
    EXPECT_STREQ(stored_path(kSource, "a").get(), "/home/a");
    EXPECT_EQ(same_questions, (std::vector<Pair>{{"/data/home/a", "/home/a"}}));
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(DataPath, StoredFormOfAPathThatCannotBeMadeAbsoluteIsNoneAndThatIsTold)
{
    framework().get_absolute_path = [](const char*) -> char* {
        errno = ELOOP;
        return nullptr;
    };
    EXPECT_EQ(stored_path(kSource, "a/%s"), nullptr);
    EXPECT_EQ(errno, ELOOP);
    EXPECT_TRUE(same_questions.empty());
    const std::string text = std::string("faile to get absolute path: ") + std::strerror(ELOOP);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].level, 3);
    EXPECT_EQ(framework().logs[0].subject, "a/%s");
    EXPECT_EQ(framework().logs[0].source, kSource);
    EXPECT_EQ(framework().logs[0].text, text);
    ASSERT_EQ(framework().errors.size(), 1U);
    EXPECT_EQ(framework().errors[0].code, -1011);
    EXPECT_EQ(framework().errors[0].subject, "a/%s");
    EXPECT_EQ(framework().errors[0].text, text);
}

// --- the key for look-ups ---

TEST_F(DataPath, LookupKeyOfABoundPathIsItsLongForm)
{
    EXPECT_EQ(lookup_key("/home/u/a"), "/data/home/u/a");
    EXPECT_EQ(lookup_key("/root/a"), "/data/root/a");
    EXPECT_EQ(bind_questions, (std::vector<Pair>{{"/data", "/home"}, {"/data", "/root"}}));
}

TEST_F(DataPath, LookupKeyGoesByPrefixAlone)
{
    EXPECT_EQ(lookup_key("/homework"), "/data/homework");
}

TEST_F(DataPath, LookupKeyOfAnUnboundPathIsThePath)
{
    for (const int answer : {0, -1, 2}) {
        bind_answer = answer;
        EXPECT_EQ(lookup_key("/home/u/a"), "/home/u/a");
    }
}

TEST_F(DataPath, LookupKeyOfAnotherPathIsThePathWithoutAsking)
{
    for (const char* path : {"/usr/bin/a", "/data/home/u/a", "/hom", "", "home/a"}) {
        EXPECT_EQ(lookup_key(path), path);
    }
    EXPECT_EQ(bind_questions, std::vector<Pair>());
}

TEST_F(DataPath, LookupKeyHoldsAtMost4096Bytes)
{
    const std::string rest(4096 - 11, 'a');
    EXPECT_EQ(lookup_key(("/home/" + rest).c_str()), "/data/home/" + rest);
    EXPECT_EQ(lookup_key(("/home/" + rest + "b").c_str()), "/data/home/" + rest);
}

// --- absolute paths ---

TEST_F(DataPath, AbsolutePathIsTheFrameworks)
{
    framework().get_absolute_path = [](const char* path) {
        return ::strdup((std::string("/x/") + path).c_str());
    };
    EXPECT_STREQ(absolute_path("a").get(), "/x/a");
}

TEST_F(DataPath, AbsolutePathKeepsTheCauseOfAFailure)
{
    framework().get_absolute_path = [](const char*) -> char* {
        errno = ENAMETOOLONG;
        return nullptr;
    };
    EXPECT_EQ(absolute_path("a"), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(DataPath, AbsolutePathOfNullIsEinvalWithoutAsking)
{
    bool asked = false;
    framework().get_absolute_path = [&](const char*) -> char* {
        asked = true;
        return nullptr;
    };
    errno = 0;
    EXPECT_EQ(absolute_path(nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_FALSE(asked);
}

} // namespace

} // namespace tresk::test
