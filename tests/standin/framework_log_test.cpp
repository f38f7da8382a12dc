// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/framework.h"
#include "tests/standin/framework_scene.h"
#include "tests/support/capture.h"

#include <algorithm>
#include <cerrno>
#include <thread>
#include <vector>

namespace {

using FrameworkLog = tresk::test::FrameworkScene;

TEST_F(FrameworkLog, WritesOneLineWithEveryField)
{
    tresk_log_v2(3, 1, 0, "subject", "tresk_ppro", 123, "%s: %d", "failed", 7);
    EXPECT_EQ(read("log"), "log level=3 subject=subject source=tresk_ppro:123 text=failed: 7\n");
}

TEST_F(FrameworkLog, WritesTheOlderCallWithoutASource)
{
    tresk_log(1, 0, "old", "text");
    EXPECT_EQ(read("log"), "log level=1 subject=old text=text\n");
}

TEST_F(FrameworkLog, RecordsErrors)
{
    tresk_set_error(-1011, "/usr/bin/a", "no such: %s", "b");
    EXPECT_EQ(read("log"), "error code=-1011 subject=/usr/bin/a text=no such: b\n");
}

TEST_F(FrameworkLog, LeavesTheTextOfANullFormatOut)
{
    const char* const none = nullptr;
    tresk_set_error(-1, nullptr, none);
    EXPECT_EQ(read("log"), "error code=-1 subject=-\n");
}

TEST_F(FrameworkLog, TellsAnEmptyTextFromNone)
{
    tresk_set_error(-1, "", "%s", "");
    EXPECT_EQ(read("log"), "error code=-1 subject= text=\n");
}

TEST_F(FrameworkLog, EscapesWhatWouldBreakALine)
{
    tresk_set_error(-1, "a b\n-", "%s", "tab\tfeed\nescape\x1b back\\slash \xc3\xa4");
    EXPECT_EQ(read("log"),
              "error code=-1 subject=a\\x20b\\n- text=tab\\tfeed\\nescape\\x1b back\\\\slash \xc3\xa4\n");
}

TEST_F(FrameworkLog, TellsADashSubjectFromANullOne)
{
    tresk_set_error(-1, "-", "x");
    EXPECT_EQ(read("log"), "error code=-1 subject=\\x2d text=x\n");
}

TEST_F(FrameworkLog, KeepsErrno)
{
    ::setenv("TRESK_STANDIN_LOG", "/nonexistent/log", 1);
    tresk::test::captured_stderr([] {
        errno = ENOTDIR;
        tresk_log_v2(3, 1, 0, "s", "f", 1, "%s", "t");
        EXPECT_EQ(errno, ENOTDIR);
    });
}

TEST_F(FrameworkLog, GoesToStandardErrorWithoutAFile)
{
    ::unsetenv("TRESK_STANDIN_LOG");
    const std::string written = tresk::test::captured_stderr([] { tresk_set_error(-2, "s", "%s", "t"); });
    EXPECT_EQ(written, "error code=-2 subject=s text=t\n");
}

TEST_F(FrameworkLog, NeverMixesLinesOfSeveralThreads)
{
    constexpr int LINES = 200;
    const std::string text(2000, 'x');
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int line = 0; line < LINES; ++line) {
                tresk_set_error(-1, "s", "%s", text.c_str());
            }
        });
    }
    std::ranges::for_each(threads, &std::thread::join);
    std::istringstream lines{read("log")};
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_EQ(line, "error code=-1 subject=s text=" + text);
    }
    EXPECT_EQ(count, 4 * LINES);
}

} // namespace
