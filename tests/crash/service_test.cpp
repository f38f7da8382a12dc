// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every file that the service writes whole.
#include "tests/crash/operation.h"
#include "tests/crash/service_operations.h"
#include "tests/crash/small_disk.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <iostream>

namespace tresk::test {
namespace {

constexpr ServiceEdit kEdits[] = {
    {"FirstPproEntry", "ppro", "tresk_ppro_add_zdk", "('/usr/bin/b', 1, 0, '')", nullptr, nullptr},
    {"NextPproEntry", "ppro", "tresk_ppro_add_zdk", "('/usr/bin/b', 1, 0, '')", "tresk_ppro_add_zdk",
     "('/usr/bin/a', 2, 0, '')"},
    {"PproUpdate", "ppro", "tresk_ppro_update_zdk", "('/usr/bin/a', 1, 0, '')", "tresk_ppro_add_zdk",
     "('/usr/bin/a', 2, 0, '')"},
    {"PproRemoval", "ppro", "tresk_ppro_remove_zdk", "('/usr/bin/a', 0, '')", "tresk_ppro_add_zdk",
     "('/usr/bin/a', 2, 0, '')"},
    {"FirstNetctlEntry", "netctl", "tresk_netctl_add", "(0, '/usr/bin/b', 1, 'b', '', 0)", nullptr, nullptr},
    {"NextNetctlEntry", "netctl", "tresk_netctl_ext_add", "(0, '/usr/bin/b', 1, 'b', '', '', 0)",
     "tresk_netctl_add", "(0, '/usr/bin/a', 1, 'a', '', 0)"},
    {"NetctlRemoval", "netctl", "tresk_netctl_remove", "(0, '/usr/bin/a')", "tresk_netctl_add",
     "(0, '/usr/bin/a', 1, 'a', '', 0)"},
    {"NetctlDistinction", "netctl", "tresk_netctl_set_user_distinguish", "(1,)", "tresk_netctl_add",
     "(0, '/usr/bin/a', 1, 'a', '', 0)"},
    {"FirstPackage", "netctl", "tresk_netctl_pkg_add", "(0, 'b', 1, '', '', 0)", nullptr, nullptr},
    {"PackageUpdate", "netctl", "tresk_netctl_pkg_update", "(0, 'a', 2, '', '', 0)", "tresk_netctl_pkg_add",
     "(0, 'a', 1, '', '', 0)"},
    {"FirstPblkEntry", "pblk", "tresk_pblk_add_zdk", "('/usr/bin/b', 1, '')", nullptr, nullptr},
    {"NextPblkEntry", "pblk", "tresk_pblk_add_zdk", "('/usr/bin/b', 1, '')", "tresk_pblk_add_zdk",
     "('/usr/bin/a', 1, '')"},
    {"PblkRemoval", "pblk", "tresk_pblk_remove_zdk", "('/usr/bin/a', 1, '')", "tresk_pblk_add_zdk",
     "('/usr/bin/a', 1, '')"},
    {"FirstListEntry", "bwlist", "tresk_bwlist_add_zdk", "('white', 'b', 1, '')", nullptr, nullptr},
    {"NextListEntry", "bwlist", "tresk_bwlist_add_zdk", "('white', 'b', 1, '')", "tresk_bwlist_add_zdk",
     "('white', 'a', 1, '')"},
    {"ListDistinction", "bwlist", "tresk_bwlist_set_root_distinguish_zdk", "(1, 1, '')",
     "tresk_bwlist_add_zdk", "('white', 'a', 1, '')"},
    {"ListClearance", "bwlist", "tresk_bwlist_clear_policy_zdk", "(1, '')", "tresk_bwlist_add_zdk",
     "('white', 'a', 1, '')"},
    {"Status", "xattr", "tresk_xattr_set_status", "(1,)", "tresk_xattr_set_func_status", "(1, 0)"},
    {"FunctionStatus", "xattr", "tresk_xattr_set_func_status", "(2, 0)", "tresk_xattr_set_func_status",
     "(1, 0)"},
    {"Configuration", "conf", "tresk_conf_set", "('name', 2)", "tresk_conf_set", "('name', 1)"},
    {"ModuleStatus", "module", "setModuleStatus", "(1, 1, 1, 1, 1)", nullptr, nullptr, true},
    {"ModuleStatusAtReboot", "module", "setModuleStatusReboot", "(1, 1, 1, 1, 1, 1)", nullptr, nullptr},
    {"DefenderSecurity", "module", "setSecurityForVexDefender", "(1, 1)", nullptr, nullptr, true},
    {"DefenderSecurityAtReboot", "module", "setSecurityForVexDefenderReboot", "(1, 1, 1)", nullptr, nullptr,
     true},
    {"SelinuxPolicy", "module", "setSelinuxPolicy", "('targeted',)", nullptr, nullptr},
    {"FileHash", "xattr", "tresk_xattr_calc_hash_by_path", "('/etc/passwd',)",
     "tresk_xattr_calc_hash_by_path", "('/etc/group',)"},
    {"FileHashes", "xattr", "tresk_xattr_calc_multi_file_hash_value", "(['/etc/passwd', '/etc/hosts'],)",
     "tresk_xattr_calc_hash_by_path", "('/etc/group',)"},
};

/// Drafts are hidden; what the service keeps is not.
bool is_draft(const std::string& name)
{
    return name.front() == '.';
}

bool is_kept(const std::string& name)
{
    return !is_draft(name);
}

class ServiceCrash : public ::testing::TestWithParam<ServiceEdit> {
  protected:
    [[nodiscard]] Operation operation() const
    {
        const ServiceEdit edit = GetParam();
        const service::Folders folders{state(), etc()};
        return {edit.test,
                [=, this] { prepare(); },
                [=] { return call_method(folders, edit.word, edit.method, edit.arguments); },
                [=] {
                    return files_below({folders.state, folders.etc}, is_kept);
                },
                [=] {
                    return files_below({folders.state, folders.etc}, is_draft);
                },
                false,
                edit.several_files};
    }

    void prepare() const
    {
        folder.clear();
        std::filesystem::create_directories(state());
        std::filesystem::create_directories(etc());
        const ServiceEdit& edit = GetParam();
        if (edit.before != nullptr) {
            ASSERT_TRUE(run_apart([&] {
                return call_method({state(), etc()}, edit.word, edit.before, edit.before_arguments);
            }));
        }
    }

    [[nodiscard]] std::filesystem::path state() const { return folder / "state"; }

    [[nodiscard]] std::filesystem::path etc() const { return folder / "etc"; }

    SmallDisk folder{"64k"};
};

TEST_P(ServiceCrash, LeavesTheOldFilesOrTheNewOnes)
{
    const Tally tally = kill_at_each_call(operation());
    EXPECT_THAT(tally.objections, ::testing::IsEmpty());
    EXPECT_GT(tally.found_old, 0U);
    EXPECT_GT(tally.found_new, 0U);
    std::cout << GetParam().test << ": killed " << tally.runs << " times, old " << tally.found_old << ", new "
              << tally.found_new << ", drafts left " << tally.left_drafts << "\n";
}

TEST_P(ServiceCrash, ReportsAFullDiskAndLeavesTheOldFiles)
{
    const Tally limited = limit_file_size(operation(), {0, 1, 20});
    EXPECT_THAT(limited.objections, ::testing::IsEmpty());
    if (!can_refuse()) {
        GTEST_SKIP() << "system calls cannot be refused on this machine";
    }
    const Tally refused = refuse_each_call(operation(), ENOSPC);
    EXPECT_THAT(refused.objections, ::testing::IsEmpty());
    EXPECT_GT(refused.runs, 3U);
}

TEST_P(ServiceCrash, LeavesTheOldFilesWithoutRoomAndTheNewOnesWithEnough)
{
    if (!folder.is_small()) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    const Tally tally = run_with_room(operation(), folder / "filler", {0, 1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_THAT(tally.objections, ::testing::IsEmpty());
    EXPECT_GT(tally.found_old, 0U);
    EXPECT_GT(tally.found_new, 0U);
}

INSTANTIATE_TEST_SUITE_P(Of, ServiceCrash, ::testing::ValuesIn(kEdits),
                         [](const auto& row) { return std::string(row.param.test); });

} // namespace
} // namespace tresk::test
