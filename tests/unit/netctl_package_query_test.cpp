// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/capture.h"
#include "tests/support/framework_double.h"
#include "tests/unit/netctl_package_tools.h"
#include "tresk_extend.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>

namespace tresk::test {

namespace {

using Programs = std::vector<std::string>;

constexpr char kRefused[] = "|<>?*&^%$#@!`;'\"";

/// What the next readings of an answer fail with, in order; 0 is a reading that works.
std::vector<int> failures_of_read;

class PackageQuery : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        std::filesystem::current_path(tools.working_folder());
    }

    void TearDown() override { std::filesystem::current_path("/"); }

    static int installed(const std::string& name) { return check_pkg_is_install(name.c_str()); }

    PackageTools tools;
};

constexpr char kRpmList[] = "bash-5.1.8-2.x86_64\ngcc-c++-12-1.x86_64\nlibfoo_bar-0.9-1.noarch\n";

TEST_F(PackageQuery, FindsAnInstalledPackage)
{
    tools.add("rpm", kRpmList);
    EXPECT_EQ(installed("bash"), 1);
    EXPECT_EQ(installed("gcc-c++"), 1);
    EXPECT_EQ(installed("libfoo_bar"), 1);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PackageQuery, FindsWholeNamesAlone)
{
    tools.add("rpm", kRpmList);
    for (const char* name : {"bas", "ash", "bash-5", "bash-5.1.8-2.x86_64", "Bash", "gcc", "x86_64", "b.sh",
                             "bash ", " bash", "bash\t", "bash\r", "zsh"}) {
        EXPECT_EQ(installed(name), 0) << name;
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PackageQuery, GoesOnAfterAnInterruption)
{
    tools.add("rpm", kRpmList);
    failures_of_read = {EINTR, 0, EINTR, EINTR};
    EXPECT_EQ(installed("bash"), 1);
    EXPECT_EQ(failures_of_read, std::vector<int>());
}

TEST_F(PackageQuery, FailsWhereTheAnswerCannotBeReadToItsEnd)
{
    tools.add("rpm", kRpmList);
    for (const std::vector<int>& failures : {std::vector<int>{EIO}, std::vector<int>{0, EIO}}) {
        failures_of_read = failures;
        EXPECT_EQ(installed("bash"), -1);
        EXPECT_EQ(failures_of_read, std::vector<int>());
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PackageQuery, RunsItsThreeProgramsWithTheirArguments)
{
    tools.add("rpm", kRpmList);
    EXPECT_EQ(installed("libfoo_bar.x+y-1"), 0);
    EXPECT_EQ(tools.ran(),
              (Programs{"awk <-F> <-[0-9]> <{print $1}>", "grep <libfoo_bar.x+y-1>", "rpm <-qa>"}));
}

TEST_F(PackageQuery, RefusesEveryCharacterThatIsTheShells)
{
    tools.add("rpm", kRpmList);
    for (const char refused : std::string(kRefused)) {
        for (const std::string& name : {std::string(1, refused), std::string("ba") + refused + "sh"}) {
            framework().reset();
            EXPECT_EQ(installed(name), -1);
            ASSERT_EQ(framework().order, Programs{"log"});
            const LogLine& line = framework().logs[0];
            EXPECT_EQ(line.level, 3);
            EXPECT_EQ(line.subject, "check_pkg_is_install");
            EXPECT_EQ(line.source, "tresk_netctl");
            EXPECT_EQ(line.format, "%s:The pkgname is invalid, pkgname=[%s]");
            EXPECT_EQ(line.text, "check_pkg_is_install:The pkgname is invalid, pkgname=[" + name + "]");
        }
    }
    EXPECT_EQ(tools.ran(), Programs{});
}

TEST_F(PackageQuery, RefusesThemInNamesOfAnyShape)
{
    tools.add("rpm", kRpmList);
    for (const std::string& name :
         {std::string("a\nb;c"), std::string(10'000, 'x') + ";", std::string(" $(ls)")}) {
        EXPECT_EQ(installed(name), -1);
    }
    EXPECT_EQ(tools.ran(), Programs{});
}

TEST_F(PackageQuery, RunsNothingForWhatNoLineCanBe)
{
    tools.add("rpm", kRpmList);
    for (const std::string& name :
         {std::string(""), std::string("bash\n"), std::string("\n"), std::string("a\nbash"),
          std::string(10'000, 'x'), std::string(4095, 'x')}) {
        EXPECT_EQ(installed(name), 0) << name.substr(0, 20);
    }
    EXPECT_EQ(check_pkg_is_install(nullptr), -1);
    EXPECT_EQ(tools.ran(), Programs{});
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PackageQuery, FindsTheLongestNameOfALine)
{
    const std::string name(4094, 'x');
    tools.add("rpm", name + "-1.0\n");
    EXPECT_EQ(installed(name), 1);
    EXPECT_EQ(installed(name.substr(1)), 0);
}

TEST_F(PackageQuery, FindsANameWithAnyOtherByte)
{
    for (int byte = 1; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        if (character == '\n' || std::strchr(kRefused, character) != nullptr) {
            continue;
        }
        const std::string name = std::string("x") + character + "y";
        tools.add("rpm", "other-1\n" + name + "-1.0\n");
        EXPECT_EQ(installed(name), 1) << byte;
        EXPECT_EQ(installed(std::string("x") + character), 0) << byte;
    }
    EXPECT_TRUE(std::filesystem::is_empty(tools.working_folder()));
}

TEST_F(PackageQuery, RunsAndReadsNothingForTheSakeOfItsName)
{
    tools.add("rpm", kRpmList);
    tools.add("touch", "");
    write_file(tools.working_folder() / "b", "a-1\na b-1\n~-1\nbash-1\n");
    for (const char* name : {"a b",
                             "a -r b",
                             "-f b",
                             "-r a",
                             "-v",
                             "--help",
                             "-e a -e b",
                             "a\\",
                             "\\",
                             "()(touch x)",
                             "() {\ttouch x }",
                             "(touch x)",
                             "a)touch x",
                             "{touch,x}",
                             "[a-z]",
                             "~",
                             "~root",
                             "a\tb",
                             "\\\\",
                             "a=b",
                             "if touch x",
                             "\x01",
                             "\x7F",
                             "\xC3\xA9",
                             "\xFF",
                             "a\rtouch x",
                             "a\vb",
                             "a\fb"}) {
        int result = -7;
        EXPECT_EQ(captured_stderr([&] { result = installed(name); }), "") << name;
        EXPECT_EQ(result, 0) << name;
        for (const std::string& program : tools.ran()) {
            EXPECT_TRUE(program == "rpm <-qa>" || program == "awk <-F> <-[0-9]> <{print $1}>" ||
                        program == std::string("grep <") + name + ">")
                << program;
        }
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(tools.working_folder()), {}), 1);
}

TEST_F(PackageQuery, FindsANameWithBlanksWithoutReadingAFile)
{
    tools.add("rpm", "a b-1\n-v-1\na\\-2\n(none)-3\n[x]-4\n~root-5\n");
    for (const char* name : {"a b", "-v", "a\\", "(none)", "[x]", "~root"}) {
        EXPECT_EQ(installed(name), 1) << name;
    }
}

TEST_F(PackageQuery, TakesALineWithoutItsEndForNoWholeLine)
{
    tools.add("rpm", kRpmList);
    tools.add_script("awk", "printf 'zsh\\nbash'");
    EXPECT_EQ(installed("zsh"), 1);
    EXPECT_EQ(installed("bash"), 0);
}

TEST_F(PackageQuery, IsZeroWhereThePackageManagerFails)
{
    tools.add_script("rpm", "exit 3");
    EXPECT_EQ(installed("bash"), 0);
}

TEST_F(PackageQuery, GoesByTheListOfAPackageManagerThatFailsAfterwards)
{
    tools.add_script("rpm", "echo bash-1; exit 3");
    EXPECT_EQ(installed("bash"), 1);
}

TEST_F(PackageQuery, AsksRpmWhereThereIsNoPackageManagerAtAll)
{
    int result = -7;
    const std::string said = captured_stderr([&] { result = installed("bash"); });
    EXPECT_EQ(result, 0);
    EXPECT_NE(said.find("rpm"), std::string::npos) << said;
    EXPECT_EQ(tools.ran(), (Programs{"awk <-F> <-[0-9]> <{print $1}>", "grep <bash>"}));
}

TEST_F(PackageQuery, AsksRpmWhereThereAreBoth)
{
    tools.add("rpm", kRpmList);
    tools.add("dpkg-query", "zsh installed\n");
    EXPECT_EQ(installed("bash"), 1);
    EXPECT_EQ(installed("zsh"), 0);
}

class DpkgQuery : public PackageQuery {
  protected:
    void SetUp() override
    {
        PackageQuery::SetUp();
        tools.add("dpkg-query",
                  "bash installed\nlibc++1 installed\nzsh config-files\nawaited triggers-awaited\n"
                  "pending triggers-pending\nunpacked unpacked\nhalf half-configured\n"
                  "broken half-installed\ngone not-installed\nx-1 installed\nold\n");
    }
};

TEST_F(DpkgQuery, IsAskedWhereThereIsNoRpm)
{
    for (const char* name : {"bash", "libc++1", "x-1"}) {
        EXPECT_EQ(installed(name), 1) << name;
    }
    for (const char* name : {"bas", "ash", "installed", "x", "none", "bash installed"}) {
        EXPECT_EQ(installed(name), 0) << name;
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(DpkgQuery, IsGivenItsArguments)
{
    EXPECT_EQ(installed("bash"), 1);
    EXPECT_EQ(tools.ran(),
              (Programs{"awk <$2 !~ /^(not-installed|half-installed|config-files)$/ {print $1}>",
                        "dpkg-query <-W> <-f> <${Package} ${db:Status-Status}\\n>", "grep <bash>"}));
}

TEST_F(DpkgQuery, FindsNoPackageThatWasRemovedOrNeverCame)
{
    for (const char* name : {"zsh", "broken", "gone"}) {
        EXPECT_EQ(installed(name), 0) << name;
    }
}

TEST_F(DpkgQuery, FindsAPackageThatAwaitsItsConfiguration)
{
    for (const char* name : {"awaited", "pending", "unpacked", "half"}) {
        EXPECT_EQ(installed(name), 1) << name;
    }
}

TEST_F(DpkgQuery, FindsAPackageOfAVersionThatKnowsNoStatus)
{
    EXPECT_EQ(installed("old"), 1);
}

TEST_F(DpkgQuery, IsAskedWhereRpmIsNoProgram)
{
    std::filesystem::create_directory(tools.folder() / "rpm");
    EXPECT_EQ(installed("bash"), 1);
    std::filesystem::remove(tools.folder() / "rpm");
    write_file(tools.folder() / "rpm", "#!/bin/sh\n");
    std::filesystem::permissions(tools.folder() / "rpm", std::filesystem::perms::owner_read);
    EXPECT_EQ(installed("bash"), 1);
}

TEST_F(DpkgQuery, IsNotAskedWhereRpmIsInALaterFolder)
{
    const TempDir later;
    std::filesystem::create_symlink("/bin/false", later / "rpm");
    ::setenv("PATH", (tools.folder().string() + ":/no/such/folder:" + later.path().string()).c_str(), 1);
    EXPECT_EQ(installed("bash"), 0);
}

TEST_F(DpkgQuery, IsNotAskedWhereRpmIsInTheWorkingFolderOfThePath)
{
    std::filesystem::create_symlink("/bin/false", tools.working_folder() / "rpm");
    for (const std::string& path : {tools.folder().string() + ":", ":" + tools.folder().string()}) {
        ::setenv("PATH", path.c_str(), 1);
        EXPECT_EQ(installed("bash"), 0);
    }
    ::setenv("PATH", tools.folder().c_str(), 1);
    EXPECT_EQ(installed("bash"), 1);
}

TEST(RealPackageQuery, KnowsThePackagesOfThisMachine)
{
    if (check_program_is_exist("/usr/bin/dpkg-query") == 0 || check_program_is_exist("/usr/bin/rpm") == 1) {
        GTEST_SKIP() << "no machine with dpkg alone";
    }
    EXPECT_EQ(check_pkg_is_install("dpkg"), 1);
    EXPECT_EQ(check_pkg_is_install("dpk"), 0);
    const PackageTools tools; // restores the search path
    ::unsetenv("PATH");       // a shell then searches the standard folders
    EXPECT_EQ(check_pkg_is_install("dpkg"), 1);
}

TEST_F(PackageQuery, SaysWhichCommandCouldNotRun)
{
    tools.add("rpm", kRpmList);
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 3;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const int result = installed("bash");
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(result, -1);
    ASSERT_EQ(framework().order, Programs{"log"});
    const LogLine& line = framework().logs[0];
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.subject, "check_pkg_is_install");
    EXPECT_EQ(line.source, "tresk_netctl");
    EXPECT_EQ(line.format, "%s: popen is error, cmd = [%s]");
    EXPECT_EQ(line.text, "check_pkg_is_install: popen is error, cmd = [rpm -qa | grep bash | "
                         "awk -F '-[0-9]' '{print $1}']");
}

TEST_F(PackageQuery, LeavesNoChildAndNoDescriptorBehind)
{
    tools.add("rpm", kRpmList);
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const std::ptrdiff_t before = descriptors();
    for (const char* name : {"bash", "zsh", "a b"}) {
        installed(name);
    }
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(PackageQuery, AnswersACallerWhoIgnoresItsChildren)
{
    tools.add("rpm", kRpmList);
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(installed("bash"), 1);
    EXPECT_EQ(installed("zsh"), 0);
    std::signal(SIGCHLD, before);
}

TEST_F(PackageQuery, AnswersManyThreadsAtOnce)
{
    tools.add("rpm", kRpmList);
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&right] {
            for (int round = 0; round < 5; ++round) {
                right += installed("bash") == 1 && installed("bas") == 0 ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, 8 * 5);
}

class ProgramQuery : public FrameworkTest {
  protected:
    TempDir folder;
};

TEST_F(ProgramQuery, FindsWhateverHasTheName)
{
    write_file(folder / "file", "");
    std::filesystem::permissions(folder / "file", std::filesystem::perms::none);
    std::filesystem::create_symlink("file", folder / "link");
    EXPECT_EQ(check_program_is_exist((folder / "file").c_str()), 1);
    EXPECT_EQ(check_program_is_exist((folder / "link").c_str()), 1);
    EXPECT_EQ(check_program_is_exist(folder.path().c_str()), 1);
    EXPECT_EQ(check_program_is_exist("."), 1);
}

TEST_F(ProgramQuery, DoesNotFindWhatIsNotThere)
{
    std::filesystem::create_symlink("missing", folder / "dangling");
    EXPECT_EQ(check_program_is_exist((folder / "missing").c_str()), 0);
    EXPECT_EQ(check_program_is_exist((folder / "dangling").c_str()), 0);
    EXPECT_EQ(check_program_is_exist(""), 0);
    EXPECT_EQ(check_program_is_exist(std::string(5000, 'x').c_str()), 0);
    EXPECT_EQ(check_program_is_exist(nullptr), 0);
}

/// The error of this reading; 0 where it works.
int next_failure()
{
    if (failures_of_read.empty()) {
        return 0;
    }
    const int failure = failures_of_read.front();
    failures_of_read.erase(failures_of_read.begin());
    return failure;
}

} // namespace

} // namespace tresk::test

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

ssize_t __real_read(int file, void* buffer, std::size_t size);
ssize_t __wrap_read(int file, void* buffer, std::size_t size);

ssize_t __wrap_read(int file, void* buffer, std::size_t size)
{
    const int failure = tresk::test::next_failure();
    if (failure == 0) {
        return __real_read(file, buffer, size);
    }
    errno = failure;
    return -1;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
