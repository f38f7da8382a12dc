// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What only a terminal shows: questions and their silence, progress, and what an interrupt ends.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>

namespace tresk::test {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr int kCancelled = 6;
constexpr int kPartly = 10;
constexpr int kTimedOut = 11;
constexpr const char* kInterrupt = "\x03";

/// Where a question is not asked as it is expected nobody answers: the run ends all the same.
Screen treskctl_at_terminal(Words arguments, const std::vector<Exchange>& exchanges = {})
{
    arguments.insert(arguments.begin(), {TRESKCTL_PROGRAM, "--color=never", "--timeout", "20"});
    return run_at_terminal(arguments, exchanges);
}

class TerminalTest : public TreskctlTest {};

// --- credentials ---

const std::string kQuestion = "Credential of bob: ";

class CredentialAtTerminalTest : public TerminalTest {
  protected:
    void SetUp() override
    {
        TerminalTest::SetUp();
        write_state("pam.d/tresk", "auth required pam_permit.so\naccount required pam_permit.so\n");
    }

    /// Runs @command line at a terminal and tells of the echo afterwards.
    static Screen echo_after(const std::string& command, const std::string& typed)
    {
        const std::string script =
            "trap : INT; " + command + "; stty -a | grep -qw -- -echo && echo silent || echo loud";
        return run_at_terminal({"/bin/sh", "-c", script}, {{kQuestion, typed}});
    }
};

TEST_F(CredentialAtTerminalTest, IsAskedForAndNotShown)
{
    const Screen screen = treskctl_at_terminal({"user", "check", "bob"}, {{kQuestion, "open sesame\n"}});
    EXPECT_EQ(screen.exit_status, 0);
    EXPECT_EQ(screen.text, kQuestion + "\r\nVALID  USER\r\nyes    bob\r\n");
}

TEST_F(CredentialAtTerminalTest, AnInterruptAtTheQuestionEndsTheRunAtOnce)
{
    const Screen screen = treskctl_at_terminal({"user", "check", "bob"}, {{kQuestion, kInterrupt}});
    EXPECT_EQ(screen.exit_status, kCancelled);
    EXPECT_EQ(screen.text, kQuestion + "\r\ntreskctl: user check: stopped while waiting for an answer\r\n"
                                       "  What the service was asked may still be done; look before "
                                       "trying again.\r\n");
    EXPECT_EQ(read_state("service.log"), "");
}

TEST_F(CredentialAtTerminalTest, TheEchoIsBackAfterAnInterrupt)
{
    EXPECT_THAT(echo_after(TRESKCTL_PROGRAM " user check bob", kInterrupt).text, HasSubstr("\nloud"));
}

TEST_F(CredentialAtTerminalTest, TheEchoIsBackAfterATimeout)
{
    const Screen screen = echo_after(TRESKCTL_PROGRAM " --timeout 200ms user check bob; echo status $?", "");
    EXPECT_THAT(screen.text, HasSubstr("\nstatus " + std::to_string(kTimedOut)));
    EXPECT_THAT(screen.text, HasSubstr("\nloud"));
}

// --- questions before deletions ---

class QuestionTest : public TerminalTest {
  protected:
    void SetUp() override
    {
        TerminalTest::SetUp();
        write_policy(kFromVendor);
    }

    /// A program that is there, since removals resolve its path, and one that belongs to nobody.
    static constexpr const char* kFromVendor = R"(<?xml version="1.0" encoding="UTF-8"?>
<ppro_root>
<ppro_node path="/opt/plain"><hash>a1</hash><type>1</type></ppro_node>
<ppro_node path="/usr/bin/cat" data_source_name="vendor"><hash>c3</hash><type>3</type></ppro_node>
</ppro_root>
)";

    static constexpr const char* kWhat = "treskctl: delete 1 entry of process protection? [y/N] ";

    static Screen clear_of_vendor(const std::string& typed)
    {
        return treskctl_at_terminal({"ppro", "clear", "--source", "vendor", "--owner", "ordinary"},
                                    {{kWhat, typed}});
    }
};

TEST_F(QuestionTest, YesDoesIt)
{
    const Screen screen = clear_of_vendor("y\n");
    EXPECT_EQ(screen.exit_status, 0) << screen.text;
    EXPECT_THAT(read_policy(), Not(HasSubstr("vendor")));
    EXPECT_THAT(read_policy(), HasSubstr("/opt/plain"));
}

TEST_F(QuestionTest, AnyOtherAnswerLeavesAllAsItIs)
{
    for (const char* answer : {"\n", "n\n", "yeah\n"}) {
        const Screen screen = clear_of_vendor(answer);
        EXPECT_EQ(screen.exit_status, kCancelled);
        EXPECT_THAT(screen.text, HasSubstr("treskctl: ppro clear: nothing was done\r\n"));
    }
    EXPECT_EQ(read_policy(), kFromVendor);
}

TEST_F(QuestionTest, AnInterruptLeavesAllAsItIs)
{
    const Screen screen = clear_of_vendor(kInterrupt);
    EXPECT_EQ(screen.exit_status, kCancelled);
    EXPECT_EQ(read_policy(), kFromVendor);
}

// --- interrupts while the service is asked ---

class InterruptTest : public TerminalTest {
  protected:
    /// Runs @command at a terminal and interrupts it once the service was asked; then as @more says.
    static Screen interrupted(const std::string& command, const std::vector<Exchange>& more)
    {
        const std::string script = "export NO_COLOR=1; trap : INT; (until grep -qs ppro_add " +
                                   state_file("service.log") + "; do sleep 0.05; done; echo asked) & " +
                                   command + "; echo status $?";
        std::vector<Exchange> exchanges = {{"asked", kInterrupt}};
        exchanges.insert(exchanges.end(), more.begin(), more.end());
        return run_at_terminal({"/bin/sh", "-c", script}, exchanges);
    }
};

TEST_F(InterruptTest, TheSecondOneEndsTheWaitingForASilentService)
{
    write_state("service-faults", "* silent\n");
    const Screen screen = interrupted(TRESKCTL_PROGRAM " ppro add /usr/bin/cat --type 1",
                                      {{"once more ends the waiting for it", kInterrupt}});
    EXPECT_THAT(screen.text,
                HasSubstr("treskctl: stopping after the call at hand; once more ends the waiting"));
    EXPECT_THAT(screen.text,
                HasSubstr("treskctl: ppro add: /usr/bin/cat: stopped while waiting for an answer\r\n"));
    EXPECT_THAT(screen.text, HasSubstr("\nstatus " + std::to_string(kCancelled)));
}

TEST_F(InterruptTest, TheFirstOneLetsTheCallAtHandEndAndBeginsNoOther)
{
    write_state("service-faults", "* delay 700\n");
    const Screen screen =
        interrupted(TRESKCTL_PROGRAM " ppro add /usr/bin/cat /usr/bin/env /usr/bin/tac --type 1", {});
    EXPECT_THAT(screen.text, HasSubstr("treskctl: ppro add: stopped before all was done\r\n"));
    EXPECT_THAT(screen.text, HasSubstr("\nstatus " + std::to_string(kPartly)));
    EXPECT_THAT(read_policy(), HasSubstr("/usr/bin/cat"));
    EXPECT_THAT(read_policy(), Not(HasSubstr("/usr/bin/tac")));
}

// --- progress ---

class ProgressTest : public TerminalTest {
  protected:
    /// A file with the paths of as many stored hashes.
    [[nodiscard]] std::string list_of(int count) const
    {
        const std::string hash(64, 'a');
        std::string stored;
        std::string list;
        for (int number = 0; number < count; ++number) {
            const std::string path = "/opt/" + std::to_string(number);
            stored += hash + " " + path + "\n";
            list += path + "\n";
        }
        write_state("file_hashes", stored);
        write_file(folder_ / "list", list);
        return folder_ / "list";
    }

  private:
    TempDir folder_;
};

TEST_F(ProgressTest, IsShownWhereTheUserHasToWait)
{
    write_state("service-faults", "tresk_xattr_get_multi_file_hash_value delay 1100\n");
    const Screen screen = treskctl_at_terminal({"hash", "show", "-f", list_of(300)});
    EXPECT_EQ(screen.exit_status, 0);
    EXPECT_THAT(screen.text, HasSubstr("\r\033[K[#########################.....] 256 of 300\r\033[KHASH"));
}

TEST_F(ProgressTest, IsNotShownForAShortWait)
{
    const Screen screen = treskctl_at_terminal({"hash", "show", "-f", list_of(300)});
    EXPECT_EQ(screen.exit_status, 0);
    EXPECT_THAT(screen.text, Not(HasSubstr("\033")));
}

TEST_F(ProgressTest, IsNotShownWithoutATerminal)
{
    write_state("service-faults", "tresk_xattr_get_multi_file_hash_value delay 1100\n");
    EXPECT_EQ(treskctl({"hash", "show", "-f", list_of(300)}).error, "");
}

// --- colour ---

class ColourTest : public TerminalTest {
  protected:
    static std::string status_with(const std::string& setting)
    {
        return run_at_terminal({"/usr/bin/env", setting, TRESKCTL_PROGRAM, "status", "list"}, {}).text;
    }
};

TEST_F(ColourTest, EmphasisesHeadersOnATerminalAlone)
{
    EXPECT_THAT(status_with("NO_COLOR="), HasSubstr("\033[1mSWITCH"));
    EXPECT_THAT(treskctl({"status", "list"}).output, Not(HasSubstr("\033")));
}

TEST_F(ColourTest, IsLeftOutForThoseWhoDoNotWantIt)
{
    EXPECT_THAT(status_with("NO_COLOR=1"), Not(HasSubstr("\033")));
}

} // namespace

} // namespace tresk::test
