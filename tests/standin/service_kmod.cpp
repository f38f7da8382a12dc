// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

namespace tresk::test {

namespace {

class ServiceKmod : public ServiceScene {
  protected:
    ServiceKmod() { start_service(); }

    Outcome check(const std::string& arguments)
    {
        return call("xattr", "tresk_xattr_protect_check_kmod_in_sm", arguments);
    }
};

} // namespace

TEST_F(ServiceKmod, ModuleOnALineBelongsToTheSmSide)
{
    write_file(state / "kmod_sm", "loop\nnf tables\nlast");
    EXPECT_EQ(check("('loop',)"), replied("(0,)"));
    EXPECT_EQ(check("('nf tables',)"), replied("(0,)"));
    EXPECT_EQ(check("('last',)"), replied("(0,)"));
}

TEST_F(ServiceKmod, OtherModulesDoNot)
{
    write_file(state / "kmod_sm", "loop\n\n# comment\n");
    for (const char* name : {"('loo',)", "('loop ',)", "('',)", "('# comment',)", "('loop\\n',)"}) {
        EXPECT_EQ(check(name), replied("(1,)")) << name;
    }
}

TEST_F(ServiceKmod, NoModuleDoesWhereThereIsNoFile)
{
    EXPECT_EQ(check("('loop',)"), replied("(1,)"));
}

TEST_F(ServiceKmod, FileIsReadAtEachCall)
{
    ASSERT_EQ(check("('loop',)"), replied("(1,)"));
    write_file(state / "kmod_sm", "loop\n");
    EXPECT_EQ(check("('loop',)"), replied("(0,)"));
}

TEST_F(ServiceKmod, IsAnsweredWhileTheFrameworkIsDisabled)
{
    write_file(state / "kmod_sm", "loop\n");
    call("xattr", "tresk_xattr_set_status", "(0,)");
    EXPECT_EQ(check("('loop',)"), replied("(0,)"));
}

TEST_F(ServiceKmod, UnreadableFileIsAFailure)
{
    std::filesystem::create_directories(state / "kmod_sm");
    EXPECT_EQ(check("('loop',)").error, kDatabaseError);
}

} // namespace tresk::test
