// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The names by which policies may know what a user asks about.
#include "tests/support/temp_dir.h"
#include "treskctl/policy/subject.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace tresk::ctl {

namespace {

using test::TempDir;
using test::write_file;

TEST(SubjectTest, AWordWithoutASlashIsAName)
{
    const Subject subject("coreutils", "");
    EXPECT_FALSE(subject.is_path());
    EXPECT_TRUE(subject.is_named("coreutils"));
    EXPECT_FALSE(subject.is_named("core"));
    EXPECT_FALSE(subject.is_at("coreutils"));
    EXPECT_EQ(subject.file(), std::nullopt);
}

TEST(SubjectTest, APathIsNoName)
{
    EXPECT_FALSE(Subject("/bin/sh", "").is_named("/bin/sh"));
}

TEST(SubjectTest, AFileIsMetThroughLinksOfBothSides)
{
    const TempDir folder;
    const std::string file = std::filesystem::canonical(folder.path()) / "file";
    write_file(file, "");
    const std::string link = folder / "link";
    const std::string other = folder / "other";
    ASSERT_EQ(::symlink("file", link.c_str()), 0);
    ASSERT_EQ(::symlink("file", other.c_str()), 0);
    const Subject subject(link, "");
    EXPECT_EQ(subject.file(), file);
    EXPECT_TRUE(subject.is_at(link));
    EXPECT_TRUE(subject.is_at(file));
    EXPECT_TRUE(subject.is_at(other));
    EXPECT_FALSE(subject.is_at(file + "2"));
}

TEST(SubjectTest, AFileThatIsGoneIsMetByItsName)
{
    const Subject subject("/nobody/has//../this", "");
    EXPECT_EQ(subject.file(), std::nullopt);
    EXPECT_TRUE(subject.is_at("/nobody/this"));
    EXPECT_TRUE(subject.is_at("/nobody/has//../this"));
}

TEST(SubjectTest, BoundFoldersHaveBothNames)
{
    const TempDir root;
    write_file(root / "data/home/joe/tool", "");
    ASSERT_EQ(::symlink("data/home", (root / "home").c_str()), 0);
    EXPECT_TRUE(Subject("/home/joe/tool", root.path()).is_at("/data/home/joe/tool"));
    EXPECT_TRUE(Subject("/data/home/joe/tool", root.path()).is_at("/home/joe/tool"));
    EXPECT_FALSE(Subject("/homely", root.path()).is_at("/data/homely"));
}

TEST(SubjectTest, FoldersThatAreNotBoundAreTwo)
{
    const TempDir root;
    write_file(root / "data/home/joe/tool", "");
    write_file(root / "home/joe/tool", "");
    EXPECT_FALSE(Subject("/home/joe/tool", root.path()).is_at("/data/home/joe/tool"));
}

TEST(SubjectTest, BelowAnotherRootNoLinkIsFollowed)
{
    const TempDir root;
    write_file(root / "opt/file", "");
    ASSERT_EQ(::symlink("file", (root / "opt/link").c_str()), 0);
    const Subject subject("/opt/link", root.path());
    EXPECT_EQ(subject.file(), "/opt/link");
    EXPECT_FALSE(subject.is_at("/opt/file"));
}

} // namespace

} // namespace tresk::ctl
