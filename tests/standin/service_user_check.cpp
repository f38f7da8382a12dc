// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The check of a user, by real PAM and a PAM service of the test's own: a script compares the credential that
// it reads with a file.
#include "tests/standin/service_scene.h"

namespace tresk::test {

namespace {

constexpr char kCredential[] = "open sesame";

class ServiceUserCheck : public ServiceScene {
  protected:
    ServiceUserCheck() { start_service(); }

    Outcome check(const std::string& arguments)
    {
        return call("xattr", "tresk_check_user_valid_with_pam", arguments);
    }

    void set_service(const std::string& lines, const std::string& name = "tresk") const
    {
        write_file(state / "pam.d" / name, lines);
    }

    /// A line that lets in the user "alice" with the credential, and nobody else.
    [[nodiscard]] std::string alice_alone() const
    {
        const std::filesystem::path script = folder / "check";
        write_file(script, "#!/bin/sh\ntest \"$PAM_USER\" = alice && test \"$(tr -d '\\000')\" = '" +
                               std::string(kCredential) + "'\n");
        std::filesystem::permissions(script, std::filesystem::perms(0755));
        return "auth required pam_exec.so expose_authtok quiet " + script.string() + "\n";
    }
};

constexpr char kEveryAccount[] = "account required pam_permit.so\n";

} // namespace

TEST_F(ServiceUserCheck, RightCredentialIsValid)
{
    set_service(alice_alone() + kEveryAccount);
    EXPECT_EQ(check("('alice', 'open sesame')"), replied("(0,)"));
}

TEST_F(ServiceUserCheck, AnotherCredentialIsRefused)
{
    set_service(alice_alone() + kEveryAccount);
    EXPECT_EQ(check("('alice', 'open')"), replied("(1,)"));
    EXPECT_EQ(check("('alice', '')"), replied("(1,)"));
}

TEST_F(ServiceUserCheck, AnotherUserIsRefused)
{
    set_service(alice_alone() + kEveryAccount);
    EXPECT_EQ(check("('bob', 'open sesame')"), replied("(1,)"));
    EXPECT_EQ(check("('', 'open sesame')"), replied("(1,)"));
}

TEST_F(ServiceUserCheck, RefusedAccountIsRefused)
{
    set_service(alice_alone() + "account required pam_deny.so\n");
    EXPECT_EQ(check("('alice', 'open sesame')"), replied("(1,)"));
}

TEST_F(ServiceUserCheck, ModulesThatOnlyTellSomethingGetNoAnswer)
{
    set_service("auth optional pam_echo.so hello\n" + alice_alone() + kEveryAccount);
    EXPECT_EQ(check("('alice', 'open sesame')"), replied("(0,)"));
}

TEST_F(ServiceUserCheck, MissingPamServiceRefusesEverybody)
{
    EXPECT_EQ(check("('alice', 'open sesame')"), replied("(1,)"));
    set_service(alice_alone() + kEveryAccount, "login");
    EXPECT_EQ(check("('alice', 'open sesame')"), replied("(1,)"));
}

TEST_F(ServiceUserCheck, FallbackHoldsWhereThePamServiceIsMissing)
{
    set_service(alice_alone() + kEveryAccount, "other");
    EXPECT_EQ(check("('alice', 'open sesame')"), replied("(0,)"));
    set_service("auth required pam_deny.so\naccount required pam_permit.so\n");
    EXPECT_EQ(check("('alice', 'open sesame')"), replied("(1,)"));
}

TEST_F(ServiceUserCheck, PamServiceIsReadAtEachCheck)
{
    set_service("auth required pam_permit.so\naccount required pam_permit.so\n");
    EXPECT_EQ(check("('anybody', '')"), replied("(0,)"));
    set_service("auth required pam_deny.so\naccount required pam_permit.so\n");
    EXPECT_EQ(check("('anybody', '')"), replied("(1,)"));
}

TEST_F(ServiceUserCheck, MisspeltModuleIsRefused)
{
    set_service("auth required pam_no_such_module.so\naccount required pam_permit.so\n");
    EXPECT_EQ(check("('alice', 'open sesame')"), replied("(1,)"));
}

TEST_F(ServiceUserCheck, IsAnsweredWhileTheFrameworkIsDisabled)
{
    set_service(alice_alone() + kEveryAccount);
    call("xattr", "tresk_xattr_set_status", "(0,)");
    EXPECT_EQ(check("('alice', 'open sesame')"), replied("(0,)"));
}

TEST_F(ServiceUserCheck, CredentialIsNotWrittenToTheAuditLog)
{
    set_service(alice_alone() + kEveryAccount);
    check("('alice', 'open sesame')");
    EXPECT_THAT(state_file("service.log"),
                ::testing::EndsWith(" tresk_check_user_valid_with_pam (...) -> (0,)\n"));
}

} // namespace tresk::test
