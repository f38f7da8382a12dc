// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/default_policy.h"
#include "common/handles.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <iterator>
#include <string_view>

namespace tresk::test {

namespace {

/// The system call that fails with EIO, by its name; empty for none.
std::string_view failing_call;

bool fails(std::string_view call)
{
    if (call != failing_call) {
        return false;
    }
    errno = EIO;
    return true;
}

constexpr char kEmptyPolicy[] = "<?xml version=\"1.0\"?>\n<ppro_root/>\n";

mode_t mode_of(const std::filesystem::path& file)
{
    struct stat status = {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0);
    return status.st_mode & 07777U;
}

std::ptrdiff_t files_in(const std::filesystem::path& folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

class DefaultPolicy : public ::testing::Test {
  protected:
    void create() const { create_default_policy(file.c_str(), {"ppro_root"}); }

    TempDir folder;
    std::filesystem::path file = folder / "policy.xml";
};

TEST_F(DefaultPolicy, IsADocumentWithTheRootAlone)
{
    create();
    EXPECT_EQ(read_file(file), kEmptyPolicy);
    EXPECT_EQ(files_in(folder.path()), 1);
}

TEST_F(DefaultPolicy, HasMode0644WhateverTheUmask)
{
    const mode_t before = ::umask(0077);
    create();
    ::umask(0);
    create_default_policy((folder / "other.xml").c_str(), {"ppro_root"});
    ::umask(before);
    EXPECT_EQ(mode_of(file), 0644U);
    EXPECT_EQ(mode_of(folder / "other.xml"), 0644U);
}

TEST_F(DefaultPolicy, FillsAnEmptyFile)
{
    write_file(file, "");
    create();
    EXPECT_EQ(read_file(file), kEmptyPolicy);
    EXPECT_EQ(files_in(folder.path()), 1);
}

TEST_F(DefaultPolicy, NeverReplacesAFileThatHoldsSomething)
{
    for (const char* content : {"<ppro_root><a/></ppro_root>", "garbage", "\n"}) {
        write_file(file, content);
        create();
        EXPECT_EQ(read_file(file), content);
    }
    EXPECT_EQ(files_in(folder.path()), 1);
}

TEST_F(DefaultPolicy, MakesNoDirectory)
{
    create_default_policy((folder / "none/policy.xml").c_str(), {"ppro_root"});
    EXPECT_EQ(files_in(folder.path()), 0);
}

TEST_F(DefaultPolicy, LeavesADirectoryOfThatName)
{
    std::filesystem::create_directory(file);
    create();
    EXPECT_TRUE(std::filesystem::is_directory(file));
    EXPECT_EQ(files_in(folder.path()), 1);
    EXPECT_EQ(files_in(file), 0);
}

TEST_F(DefaultPolicy, LeavesAllAsItIsWithoutADescriptor)
{
    write_file(folder / "other.xml", "");
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    const std::string missing = file;
    const std::string empty = folder / "other.xml";
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    // Nothing of the fixture in between: a sanitizer that looks at its type needs descriptors itself.
    create_default_policy(missing.c_str(), {"ppro_root"});
    create_default_policy(empty.c_str(), {"ppro_root"});
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(read_file(file), std::nullopt);
    EXPECT_EQ(read_file(folder / "other.xml"), "");
}

TEST_F(DefaultPolicy, GivesTheRootAnAttributeWhereThereIsOne)
{
    create_default_policy(file.c_str(), {"tresk_root", "user_dist", "1"});
    EXPECT_EQ(read_file(file), "<?xml version=\"1.0\"?>\n<tresk_root user_dist=\"1\"/>\n");
}

TEST_F(DefaultPolicy, LeavesAPipeOfThatName)
{
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    const Descriptor reader(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_TRUE(reader);
    create();
    char byte = 0;
    EXPECT_EQ(::read(reader.get(), &byte, 1), 0); // nobody wrote, nobody writes any more
    EXPECT_TRUE(std::filesystem::is_fifo(file));
    EXPECT_EQ(files_in(folder.path()), 1);
}

/// A test at whose end all system calls work again.
class DefaultPolicyWithout : public DefaultPolicy, public ::testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override { failing_call = GetParam(); }

    void TearDown() override { failing_call = {}; }
};

constexpr auto by_call = [](const auto& row) { return std::string(row.param); };

using NewPolicyWithout = DefaultPolicyWithout;
INSTANTIATE_TEST_SUITE_P(Call, NewPolicyWithout, ::testing::Values("fchmod", "fsync"), by_call);

TEST_P(NewPolicyWithout, LeavesNothingBehind)
{
    create();
    EXPECT_EQ(files_in(folder.path()), 0);
}

using EmptyPolicyWithout = DefaultPolicyWithout;
INSTANTIATE_TEST_SUITE_P(Call, EmptyPolicyWithout, ::testing::Values("fstat"), by_call);

TEST_P(EmptyPolicyWithout, LeavesTheFileAsItIs)
{
    write_file(file, "");
    create();
    EXPECT_EQ(read_file(file), "");
}

/// A file system of one page, which a file fills.
class FullDisk : public ::testing::Test {
  protected:
    void SetUp() override
    {
        ASSERT_EQ(::mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=4k"), 0) << ::strerror(errno);
        write_file(folder / "filler", std::string(4096, 'x'));
    }

    void TearDown() override { ::umount2(folder.path().c_str(), MNT_DETACH); }

    TempDir folder;
    std::filesystem::path file = folder / "policy.xml";
};

TEST_F(FullDisk, LeavesNoHalfFileBehind)
{
    create_default_policy(file.c_str(), {"ppro_root"});
    EXPECT_EQ(read_file(file), std::nullopt);
    EXPECT_EQ(files_in(folder.path()), 1);
}

TEST_F(FullDisk, LeavesAnEmptyFileEmpty)
{
    write_file(file, "");
    create_default_policy(file.c_str(), {"ppro_root"});
    EXPECT_EQ(read_file(file), "");
    EXPECT_EQ(files_in(folder.path()), 2);
}

TEST_F(FullDisk, IsFilledOnceThereIsRoom)
{
    create_default_policy(file.c_str(), {"ppro_root"});
    std::filesystem::remove(folder / "filler");
    create_default_policy(file.c_str(), {"ppro_root"});
    EXPECT_EQ(read_file(file), kEmptyPolicy);
}

} // namespace

} // namespace tresk::test

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_fchmod(int file, mode_t mode);
int __real_fsync(int file);
int __real_fstat(int file, struct stat* status);
int __wrap_fchmod(int file, mode_t mode);
int __wrap_fsync(int file);
int __wrap_fstat(int file, struct stat* status);

int __wrap_fchmod(int file, mode_t mode)
{
    return tresk::test::fails("fchmod") ? -1 : __real_fchmod(file, mode);
}

int __wrap_fsync(int file)
{
    return tresk::test::fails("fsync") ? -1 : __real_fsync(file);
}

int __wrap_fstat(int file, struct stat* status)
{
    return tresk::test::fails("fstat") ? -1 : __real_fstat(file, status);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
