// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The checks themselves: a writer that does everything wrong has to be noticed, one that does all right must
// not.
#include "tests/crash/operation.h"
#include "tests/support/temp_dir.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>

namespace tresk::test {
namespace {

constexpr std::string_view kNew = "the new content";

bool write_all(const std::string& file, std::string_view content, int flags)
{
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC | flags, 0644);
    const bool written =
        descriptor >= 0 && ::write(descriptor, content.data(), content.size()) == std::ssize(content);
    ::close(descriptor);
    return written;
}

class CrashHarness : public ::testing::Test {
  protected:
    [[nodiscard]] Operation operation(std::function<bool(const std::string&)> write) const
    {
        const std::string file = folder / "file";
        const auto is_draft = [](const std::string& name) { return name == "draft"; };
        return {"a writer",
                [=, this] {
                    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
                        std::filesystem::remove(entry.path());
                    }
                    write_file(file, "the old content");
                },
                [=] { return write(file); },
                [=, this] { return files_below({folder.path()}, std::not_fn(is_draft)); },
                [=, this] { return files_below({folder.path()}, is_draft); }};
    }

    TempDir folder;
};

bool replace(const std::string& file)
{
    const std::string draft = std::filesystem::path(file).parent_path() / "draft";
    if (write_all(draft, kNew, O_CREAT | O_TRUNC) && std::rename(draft.c_str(), file.c_str()) == 0) {
        return true;
    }
    ::unlink(draft.c_str());
    return false;
}

bool overwrite(const std::string& file)
{
    return write_all(file, kNew, O_TRUNC);
}

bool append_in_pieces(const std::string& file)
{
    return write_all(file, "one", O_APPEND) && write_all(file, "two", O_APPEND);
}

/// Fails for ever once a draft was left behind.
bool replace_once(const std::string& file)
{
    const std::string draft = std::filesystem::path(file).parent_path() / "draft";
    return write_all(draft, kNew, O_CREAT | O_EXCL) && std::rename(draft.c_str(), file.c_str()) == 0;
}

bool report_nothing(const std::string& file)
{
    replace(file);
    return true;
}

bool report_too_late(const std::string& file)
{
    return replace(file) && write_all(file + ".log", "done", O_CREAT);
}

bool keep_the_draft(const std::string& file)
{
    const std::string draft = std::filesystem::path(file).parent_path() / "draft";
    return write_all(draft, kNew, O_CREAT | O_TRUNC) && std::rename(draft.c_str(), file.c_str()) == 0;
}

TEST_F(CrashHarness, HasNoObjectionToAFileThatIsReplaced)
{
    const Tally killed = kill_at_each_call(operation(replace));
    EXPECT_THAT(killed.objections, ::testing::IsEmpty());
    EXPECT_EQ(killed.runs, 4U); // open, write, close, rename
    EXPECT_EQ(killed.found_old, 4U);
    EXPECT_EQ(killed.left_drafts, 3U);
    EXPECT_THAT(limit_file_size(operation(replace), {0, 5, kNew.size() - 1}).objections,
                ::testing::IsEmpty());
    if (can_refuse()) {
        const Tally refused = refuse_each_call(operation(replace), ENOSPC);
        EXPECT_THAT(refused.objections, ::testing::IsEmpty());
        EXPECT_EQ(refused.runs, 3U);
        EXPECT_EQ(refused.found_old, 3U);
    }
}

TEST_F(CrashHarness, NoticesAFileThatIsOverwritten)
{
    EXPECT_THAT(kill_at_each_call(operation(overwrite)).objections, ::testing::Not(::testing::IsEmpty()));
    EXPECT_THAT(limit_file_size(operation(overwrite), {5}).objections, ::testing::Not(::testing::IsEmpty()));
}

TEST_F(CrashHarness, NoticesAChangeInTwoSteps)
{
    EXPECT_THAT(kill_at_each_call(operation(append_in_pieces)).objections,
                ::testing::Not(::testing::IsEmpty()));
}

TEST_F(CrashHarness, NoticesADraftInTheWayOfTheNextRun)
{
    EXPECT_THAT(kill_at_each_call(operation(replace_once)).objections, ::testing::Not(::testing::IsEmpty()));
}

TEST_F(CrashHarness, NoticesAFailureThatIsNotReported)
{
    EXPECT_THAT(limit_file_size(operation(report_nothing), {5}).objections,
                ::testing::Not(::testing::IsEmpty()));
}

TEST_F(CrashHarness, NoticesAFailureThatIsReportedTooLate)
{
    if (!can_refuse()) {
        GTEST_SKIP() << "system calls cannot be refused on this machine";
    }
    EXPECT_THAT(refuse_each_call(operation(report_too_late), ENOSPC).objections,
                ::testing::Not(::testing::IsEmpty()));
}

TEST_F(CrashHarness, NoticesADraftThatAFailureLeaves)
{
    EXPECT_THAT(limit_file_size(operation(keep_the_draft), {5}).objections,
                ::testing::Not(::testing::IsEmpty()));
}

TEST_F(CrashHarness, NoticesAnOperationThatDoesNothing)
{
    EXPECT_THAT(kill_at_each_call(operation([](const std::string&) { return true; })).objections,
                ::testing::Not(::testing::IsEmpty()));
}

} // namespace
} // namespace tresk::test
