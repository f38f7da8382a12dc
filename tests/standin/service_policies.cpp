// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What holds for every edit of a policy file, whatever the family.
#include "tests/standin/service_scene.h"

#include <array>

namespace tresk::test {

namespace {

/// One edit, and the policy it works on.
struct Edit {
    const char* word;
    const char* method;
    const char* arguments;
    /// Below the policies' folder.
    const char* file;
    const char* root;
};

constexpr char kPrograms[] = "netctl/netctl.xml";
constexpr char kPackages[] = "netctl/netctl_pkg.xml";
constexpr char kBlocked[] = "pblk/pblk.xml";
constexpr char kLists[] = "bwlist/bwlist.xml";
constexpr char kRoot[] = "tresk_root";

constexpr std::array kAdditions{
    Edit{"ppro", "tresk_ppro_add_zdk", "('/a', 1, 0, 's')", "ppro/ppro.xml", "ppro_root"},
    Edit{"netctl", "tresk_netctl_add", "(uint32 5, '/a', 1, 'n', 'i', 0)", kPrograms, kRoot},
    Edit{"netctl", "tresk_netctl_ext_add", "(uint32 5, '/a', 1, 'n', 'i', 'd', 0)", kPrograms, kRoot},
    Edit{"netctl", "tresk_netctl_pkg_add", "(uint32 5, 'a', 1, 'i', 'd', 0)", kPackages, kRoot},
    Edit{"pblk", "tresk_pblk_add_zdk", "('/a', 1, 's')", kBlocked, "pblk_root"},
    Edit{"bwlist", "tresk_bwlist_add_zdk", "('white', 'a', 1, 's')", kLists, kRoot},
};

constexpr std::array kChanges{
    Edit{"ppro", "tresk_ppro_update_zdk", "('/a', 1, 0, 's')", "ppro/ppro.xml", "ppro_root"},
    Edit{"ppro", "tresk_ppro_remove_zdk", "('/a', 0, 's')", "ppro/ppro.xml", "ppro_root"},
    Edit{"netctl", "tresk_netctl_update", "(uint32 5, '/a', 1, 'n', 'i', 0)", kPrograms, kRoot},
    Edit{"netctl", "tresk_netctl_ext_update", "(uint32 5, '/a', 1, 'n', 'i', 'd', 0)", kPrograms, kRoot},
    Edit{"netctl", "tresk_netctl_remove", "(uint32 5, '/a')", kPrograms, kRoot},
    Edit{"netctl", "tresk_netctl_pkg_update", "(uint32 5, 'a', 1, 'i', 'd', 0)", kPackages, kRoot},
    Edit{"netctl", "tresk_netctl_pkg_path_update", "(uint32 5, 'a', '/p', 1, 'i', 'd', 0)", kPackages, kRoot},
    Edit{"netctl", "tresk_netctl_pkg_remove", "(uint32 5, 'a')", kPackages, kRoot},
    Edit{"pblk", "tresk_pblk_remove_zdk", "('/a', 1, 's')", kBlocked, "pblk_root"},
    Edit{"bwlist", "tresk_bwlist_del_zdk", "('white', 'a', 1, 's')", kLists, kRoot},
};

constexpr std::array kOthers{
    Edit{"netctl", "tresk_netctl_set_user_distinguish", "(uint32 1,)", kPrograms, kRoot},
    Edit{"bwlist", "tresk_bwlist_clear_policy_zdk", "(1, 's')", kLists, kRoot},
};

class PolicyScene : public ServiceScene, public ::testing::WithParamInterface<Edit> {
  protected:
    PolicyScene() { start_service(); }

    Outcome edit() { return call(GetParam().word, GetParam().method, GetParam().arguments); }

    [[nodiscard]] std::filesystem::path file() const { return etc / GetParam().file; }

    /// The edit of a file of that content is refused, and the file stays as it is.
    void expect_left_alone(const std::string& content, const Outcome& refusal)
    {
        write_file(file(), content);
        EXPECT_EQ(edit(), refusal) << content;
        EXPECT_EQ(text_of(file()), content);
    }
};

using EveryEdit = PolicyScene;
using EveryAddition = PolicyScene;
using EveryChange = PolicyScene;

constexpr auto method_of = [](const auto& row) { return std::string(row.param.method); };

} // namespace

TEST_P(EveryEdit, DoesNotReplaceABrokenPolicy)
{
    const std::string root = std::string("<") + GetParam().root;
    for (const std::string& content : {root + "><node", std::string("nonsense"), root + "/>x"}) {
        expect_left_alone(
            content, refused(kDatabaseError, file().string() + ": not a whole XML document, left as it is"));
    }
}

TEST_P(EveryEdit, DoesNotReplaceAPolicyOfAnotherRoot)
{
    expect_left_alone("<other_root/>",
                      refused(kDatabaseError, file().string() + ": the root is not " + GetParam().root));
}

TEST_P(EveryEdit, IsRefusedWhileTheFrameworkIsDisabled)
{
    call("xattr", "tresk_xattr_set_status", "(0,)");
    EXPECT_EQ(edit(), refused("MERON.TRESK.DISABLED", "tresk is disabled."));
    EXPECT_FALSE(std::filesystem::exists(etc));
    call("xattr", "tresk_xattr_set_status", "(1,)");
    EXPECT_EQ(edit().error, "");
}

TEST_P(EveryAddition, FindsItsEntryTheSecondTimeAndChangesNothing)
{
    EXPECT_EQ(edit(), replied("(0,)"));
    const std::string content = text_of(file());
    EXPECT_EQ(edit(), replied("(-2,)"));
    EXPECT_EQ(text_of(file()), content);
}

TEST_P(EveryAddition, TakesAnEmptyFileForAMissingOne)
{
    ASSERT_EQ(edit(), replied("(0,)"));
    const std::string content = text_of(file());
    write_file(file(), "");
    EXPECT_EQ(edit(), replied("(0,)"));
    EXPECT_EQ(text_of(file()), content);
}

TEST_P(EveryAddition, KeepsWhatItDoesNotKnow)
{
    const std::string unknown = R"(<other a="1"/><!-- note -->)";
    const std::string root = GetParam().root;
    write_file(file(), "<" + root + " z=\"9\">" + unknown + "</" + root + ">");
    EXPECT_EQ(edit(), replied("(0,)"));
    EXPECT_NE(text_of(file()).find("z=\"9\">" + unknown + "<"), std::string::npos) << text_of(file());
}

TEST_P(EveryAddition, LeavesOnePublicFile)
{
    ASSERT_EQ(edit(), replied("(0,)"));
    EXPECT_EQ(std::filesystem::status(file()).permissions(), std::filesystem::perms(0644));
    const std::filesystem::directory_iterator files(file().parent_path());
    EXPECT_EQ(std::distance(std::filesystem::begin(files), std::filesystem::end(files)), 1);
}

TEST_P(EveryAddition, CannotBeSavedWhereTheFolderCannotBeMade)
{
    write_file(etc, "a file where the folder should be");
    EXPECT_EQ(edit().error, kDatabaseError);
}

TEST_P(EveryChange, FindsNoEntryAndWritesNothing)
{
    EXPECT_EQ(edit(), replied("(-3,)"));
    EXPECT_FALSE(std::filesystem::exists(etc));
}

INSTANTIATE_TEST_SUITE_P(Addition, EveryEdit, ::testing::ValuesIn(kAdditions), method_of);
INSTANTIATE_TEST_SUITE_P(Change, EveryEdit, ::testing::ValuesIn(kChanges), method_of);
INSTANTIATE_TEST_SUITE_P(Other, EveryEdit, ::testing::ValuesIn(kOthers), method_of);
INSTANTIATE_TEST_SUITE_P(Each, EveryAddition, ::testing::ValuesIn(kAdditions), method_of);
INSTANTIATE_TEST_SUITE_P(Each, EveryChange, ::testing::ValuesIn(kChanges), method_of);

} // namespace tresk::test
