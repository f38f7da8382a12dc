// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "user": a credential on its way to the service, and nowhere else.
#include "tests/e2e/treskctl_test.h"

#include <gmock/gmock.h>

namespace tresk::test {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string kSecret = "open sesame";
const std::string kQuestion = "Credential of bob: ";

class UserTest : public TreskctlTest {
  protected:
    void SetUp() override
    {
        TreskctlTest::SetUp();
        write_state("pam.d/tresk", "auth required pam_permit.so\naccount required pam_permit.so\n");
    }

    static Outcome check(const std::string& input)
    {
        return treskctl_with_input(input, {"user", "check", "bob"});
    }

    static Screen check_at_terminal(const std::string& typed)
    {
        return run_at_terminal({TRESKCTL_PROGRAM, "user", "check", "bob"}, kQuestion, typed);
    }

    static std::string complaint(const std::string& what)
    {
        return "treskctl: user check: standard input: " + what + "\n";
    }
};

TEST_F(UserTest, TheFirstLineOfStandardInputIsTheCredential)
{
    EXPECT_EQ(check(kSecret + "\nnot this\n"), succeeded("RESULT  USER\nvalid   bob\n"));
    EXPECT_EQ(check(kSecret).exit_status, 0);
}

TEST_F(UserTest, TheServiceGetsTheCredentialAsItIs)
{
    write_state("pam.d/tresk", "auth required pam_exec.so expose_authtok quiet /bin/grep -q ^open.sesame\n"
                               "account required pam_permit.so\n");
    EXPECT_EQ(check(kSecret + "\n").exit_status, 0);
    EXPECT_EQ(check("other\n").exit_status, 1);
}

TEST_F(UserTest, ACredentialThatIsRefusedIsAFailure)
{
    write_state("pam.d/tresk", "auth required pam_deny.so\n");
    EXPECT_EQ(check(kSecret), failed("treskctl: user check: bob: not valid: the service answered 1\n"));
}

TEST_F(UserTest, AFailedCallHasItsStatusCode)
{
    refuse("tresk_check_user_valid_with_pam", "MERON.TRESK.AUTH.FAILED");
    const Outcome outcome = treskctl_with_input(kSecret, {"user", "check", "bob", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.error)["errors"][0]["name"], "TRESK_ERROR_AUTHORISATION");
}

TEST_F(UserTest, ACredentialThatCannotBeUsedIsAFailureWithoutACall)
{
    EXPECT_EQ(check(""), failed(complaint("there is no credential")));
    EXPECT_EQ(check(std::string(1024, 'x')), failed(complaint("longer than 1023 bytes")));
    EXPECT_EQ(check(std::string("a\0b\n", 4)), failed(complaint("there is a null character in it")));
    EXPECT_EQ(read_state("service.log"), "");
}

TEST_F(UserTest, TheLongestCredentialAndTheEmptyOneAreSent)
{
    EXPECT_EQ(check(std::string(1023, 'x') + "\n").exit_status, 0);
    EXPECT_EQ(check("\n").exit_status, 0);
}

TEST_F(UserTest, ACredentialThatIsNotUtf8IsRefused)
{
    EXPECT_EQ(check("\xff\n"), failed("treskctl: user check: bob: an argument was refused "
                                      "(TRESK_ERROR_INVALID_ARGUMENT, -1007)\n"));
}

TEST_F(UserTest, ATerminalIsAskedAndShowsNothingOfTheAnswer)
{
    const Screen screen = check_at_terminal(kSecret + "\n");
    EXPECT_EQ(screen.exit_status, 0);
    EXPECT_EQ(screen.text, kQuestion + "\r\nRESULT  USER\r\nvalid   bob\r\n");
}

TEST_F(UserTest, AnInterruptAtTheQuestionEndsTreskctl)
{
    constexpr int kEndedByInterrupt = 128 + 2;
    const Screen screen = check_at_terminal("\x03");
    EXPECT_EQ(screen.exit_status, kEndedByInterrupt);
    EXPECT_THAT(screen.text, Not(HasSubstr("RESULT")));
    EXPECT_EQ(read_state("service.log"), "");
}

TEST_F(UserTest, TheEchoIsBackAfterAnInterrupt)
{
    const std::string script = "trap : INT; " TRESKCTL_PROGRAM " user check bob; "
                               "stty -a | grep -qw -- -echo && echo silent || echo loud";
    const Screen screen = run_at_terminal({"/bin/sh", "-c", script}, kQuestion, "\x03");
    EXPECT_THAT(screen.text, HasSubstr("loud"));
}

TEST_F(UserTest, NothingOfTheCredentialIsKept)
{
    check(kSecret + "\n");
    for (const char* log : {"service.log", "framework.log"}) {
        EXPECT_THAT(read_state(log), Not(HasSubstr(kSecret)));
    }
}

} // namespace

} // namespace tresk::test
