// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/sandbox_run.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;
using namespace tresk::test;

TEST(SandboxRoot, HasItsOwnEmptyDirectories)
{
    EXPECT_EQ(run_script("find /etc/tresk /data").output, "/etc/tresk\n/data\n");
}

TEST(SandboxRoot, NeverTouchesTheHosts)
{
    const bool policies = fs::exists("/etc/tresk");
    const bool data = fs::exists("/data");
    const bool own = fs::exists("/tresk-standin");
    const Result result =
        run_script("touch /etc/tresk/sandbox-root-test /data/sandbox-root-test && echo made");
    EXPECT_EQ(result.output, "made\n") << result;
    EXPECT_EQ(fs::exists("/etc/tresk"), policies);
    EXPECT_EQ(fs::exists("/data"), data);
    EXPECT_EQ(fs::exists("/tresk-standin"), own);
    EXPECT_FALSE(fs::exists("/etc/tresk/sandbox-root-test"));
    EXPECT_FALSE(fs::exists("/data/sandbox-root-test"));
}

TEST(SandboxRoot, LeavesNoMountOnTheHost)
{
    std::ifstream before{"/proc/self/mountinfo"};
    const auto count = std::count(std::istreambuf_iterator{before}, {}, '\n');
    EXPECT_EQ(run_script("mount -t tmpfs none /data").status, ::geteuid() == 0 ? 0 : 32);
    std::ifstream after{"/proc/self/mountinfo"};
    EXPECT_EQ(std::count(std::istreambuf_iterator{after}, {}, '\n'), count);
}

TEST(SandboxRoot, ShowsTheRestAsItIs)
{
    const Result inside = run_script("ls -A / /etc | grep -vx -e data -e tresk -e tresk-standin");
    const Result outside =
        Started{{"sh", "-c", "ls -A / /etc | grep -vx -e data -e tresk -e tresk-standin"}}.wait();
    EXPECT_EQ(inside.output, outside.output);
    EXPECT_EQ(run_script("stat -c %d:%i /usr /etc/passwd").output,
              Started({"stat", "-c", "%d:%i", "/usr", "/etc/passwd"}).wait().output);
}

TEST(SandboxRoot, KeepsTheWorkingDirectory)
{
    EXPECT_EQ(run_script("pwd -P").output, fs::current_path().string() + "\n");
}

TEST(SandboxRoot, TwoAtOnceDoNotSeeEachOther)
{
    Started one{sandbox_command({"--no-service", "--", "sh", "-c",
                                 "touch /etc/tresk/one; echo $TRESK_STANDIN_KERNEL_PORT; sleep 1000"})};
    const std::string port = one.first_line();
    const Result two = run_script("ls /etc/tresk; echo $TRESK_STANDIN_KERNEL_PORT");
    EXPECT_NE(port, "");
    EXPECT_NE(two.output, port + "\n");
    EXPECT_EQ(two.output.find("one"), std::string::npos) << two;
}

TEST(SandboxRoot, CopiesASeed)
{
    const TempDir seed;
    fs::create_directory(seed.path() / "ppro");
    std::ofstream{seed.path() / "ppro/ppro.xml"} << "<ppro_root/>";
    const Result result = run_script("cat /etc/tresk/ppro/ppro.xml; echo changed > /etc/tresk/ppro/ppro.xml",
                                     {"--seed", seed.path().string()});
    EXPECT_EQ(result.output, "<ppro_root/>") << result;
    EXPECT_EQ(fs::file_size(seed.path() / "ppro/ppro.xml"), 12U);
}

TEST(SandboxRoot, RefusesASeedThatIsNoDirectory)
{
    EXPECT_EQ(run_script("true", {"--seed", "/etc/passwd"}).status, 125);
}

TEST(SandboxRoot, KeepsItsStateWhenAsked)
{
    const TempDir state;
    const std::vector<std::string> options{"--state", (state.path() / "kept").string()};
    ASSERT_EQ(run_script("echo p > /etc/tresk/p; echo d > /data/d; echo s > $TRESK_STANDIN_STATE/s", options)
                  .status,
              0);
    EXPECT_EQ(run_script("cat /etc/tresk/p /data/d $TRESK_STANDIN_STATE/s", options).output, "p\nd\ns\n");
    EXPECT_TRUE(fs::exists(state.path() / "kept/etc/p"));
    EXPECT_TRUE(fs::exists(state.path() / "kept/data/d"));
    EXPECT_TRUE(fs::exists(state.path() / "kept/standin/s"));
}

TEST(SandboxRoot, TakesARelativeStateDirectory)
{
    const TempDir state;
    const Result result = Started{{"sh", "-c", "cd \"$1\" && exec \"$0\" --no-bus --state kept touch /data/d",
                                   TRESK_SANDBOX, state.path().string()}}
                              .wait();
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_TRUE(fs::exists(state.path() / "kept/data/d"));
}

TEST(SandboxRoot, ShowsHomesBelowDataWhenAsked)
{
    const Result result = run_script("touch /data/home/sandbox-home-test; ls /home; "
                                     "stat -c %d:%i /home /data/home | uniq | wc -l; "
                                     "stat -c %d:%i /root /data/root | uniq | wc -l",
                                     {"--bind-home"});
    EXPECT_EQ(result.output, "sandbox-home-test\n1\n1\n") << result;
    EXPECT_FALSE(fs::exists("/home/sandbox-home-test"));
}

TEST(SandboxRoot, HasDifferentHomesOtherwise)
{
    EXPECT_EQ(run_script("ls -d /data/home").status, 2);
}

class SandboxOfASuperuser : public ::testing::Test {
  protected:
    void SetUp() override
    {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "needs the superuser";
        }
    }
};

/// @words as a command of an ordinary user.
std::vector<std::string> as_ordinary_user(const std::vector<std::string>& words)
{
    std::vector<std::string> command{"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups"};
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

TEST_F(SandboxOfASuperuser, RunsForAnOrdinaryUser)
{
    // Programs in a private folder are out of reach, and a chroot allows no user namespaces.
    const std::string probe = std::string("test -x ") + TRESK_SANDBOX + " && unshare --user true";
    if (Started{as_ordinary_user({"sh", "-c", probe})}.wait().status != 0) {
        GTEST_SKIP() << "the build folder is private, or user namespaces are not allowed";
    }
    const Result result = Started{as_ordinary_user({TRESK_SANDBOX, "--", "sh", "-c",
                                                    "id -u; id -g; echo x > /etc/tresk/x; cat /etc/tresk/x"})}
                              .wait();
    EXPECT_EQ(result.output, "65534\n65534\nx\n") << result;
    EXPECT_EQ(result.status, 0);
}

/// A root made of the host's folders, whose own "/" is no mount point.
constexpr const char* IN_CHROOT = R"(
set -e
root=$1; sandbox=$2; build=$3
cd "$root"
mkdir -p usr proc dev etc tmp "./$build"
for link in bin lib lib64 sbin; do ln -s usr/$link $link; done
echo chroot > etc/marker
for shown in usr proc dev; do mount --rbind /$shown $shown; done
mount --rbind "$build" "./$build"
chroot . "$sandbox" --no-service sh -c 'cat /etc/marker; find /etc/tresk /data; touch /etc/tresk/x'
ls etc
grep -c tresk-sandbox /proc/self/mountinfo || true
)";

TEST_F(SandboxOfASuperuser, RunsInAPlainChroot)
{
    const std::vector<std::string> own_mounts{"unshare", "-m", "--propagation", "private"};
    std::vector<std::string> probe = own_mounts;
    probe.emplace_back("true");
    if (Started{probe}.wait().status != 0) {
        GTEST_SKIP() << "this is a plain chroot already";
    }
    const TempDir root;
    const std::string build = fs::path{TRESK_SANDBOX}.parent_path().parent_path();
    std::vector<std::string> command = own_mounts;
    command.insert(command.end(), {"sh", "-c", IN_CHROOT, "sh", root.path().string(), TRESK_SANDBOX, build});
    const Result result = Started{command}.wait();
    EXPECT_EQ(result.output, "chroot\n/etc/tresk\n/data\nmarker\n0\n") << result;
}

} // namespace
