// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The fence of the exported functions: whatever is thrown behind it, a caller gets the function's failure and
// errno EIO. What throws here is the framework, the call of the service or the log, whichever comes first.
#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"
#include "tresk_extend.h"

#include <gio/gio.h>

#include <cerrno>
#include <functional>
#include <stdexcept>
#include <string>

namespace tresk::test {

namespace {

struct Call {
    const char* name;
    int (*call)();
    int failure;
};

/// 0 for the null that readers fail with; they give nothing that would need release here.
int is_given(const void* result)
{
    return result == nullptr ? 0 : 1;
}

template <auto Reader>
int listed()
{
    int count = 0;
    return is_given(Reader(&count));
}

constexpr char kPath[] = "/usr/bin/a";
constexpr const char* kPaths[] = {kPath};
const tresk_device_record kDevice = {};

const Call kCalls[] = {
    // dbus
    {"HandlingDbusError", [] { return handling_dbus_error(nullptr); }, -1011},
    {"CalcFileHash", [] { return is_given(tresk_calc_file_hash_value(kPath)); }, 0},
    {"GetFileHash", [] { return is_given(tresk_get_file_hash_value(kPath)); }, 0},
    {"CalcMultiFileHash", [] { return is_given(tresk_calc_multi_file_hash_value(kPaths, 1)); }, 0},
    {"GetMultiFileHash", [] { return is_given(tresk_get_multi_file_hash_value(kPaths, 1)); }, 0},
    {"ProtectMultiSet", [] { return tresk_protect_multi_set(nullptr, 1); }, 0},
    {"IdentifyMultiSet", [] { return tresk_identify_multi_set(nullptr, 1); }, -1},
    {"ExectlMultiSet", [] { return tresk_exectl_multi_set(nullptr, 1); }, -1},
    {"ExectlMultiSetForDpkg", [] { return tresk_exectl_multi_set_for_dpkg(nullptr, 1); }, -1},
    {"FproClearPolicy", [] { return tresk_fpro_clear_policy_zdk(); }, -1},
    {"LabelSet", [] { return tresk_label_set(kPath); }, -1},
    {"ProtectSet", [] { return tresk_protect_set(kPath, "readonly"); }, -1},
    {"ProtectSetSm", [] { return tresk_protect_set_sm(kPath, "readonly"); }, -1},
    {"ProtectSetForDir", [] { return tresk_protect_set_for_dir(kPath, "readonly"); }, -1},
    {"IdentifySet", [] { return tresk_identify_set(kPath, "secadm"); }, -1},
    {"ExectlSet", [] { return tresk_exectl_set(kPath, "verified"); }, -1},
    {"CheckUserValid", [] { return tresk_check_user_valid("user", "word"); }, -1011},
    {"SetStatus", [] { return tresk_setstatus(1); }, -1011},
    {"SetFuncStatus", [] { return tresk_set_func_status(1, 1); }, -1011},
    {"ConfSet", [] { return tresk_conf_set("name", 1); }, -1011},
    {"GetModuleStatus", [] { return getModuleStatus_dbus(1); }, -1011},
    {"GetCurSecurityStatus", [] { return getCurSecurityStatusForVexDefender(); }, 0},
    {"SetSecurity", [] { return setSecurityForVexDefender(1, 1); }, 0},
    {"NetflowPermCheck", [] { return tresk_netflow_perm_check(); }, -1},
    // communicate
    {"NetctlCommunicate", [] { return tresk_netctl_communicate_with_kernel(1, "h", 0); }, -1},
    {"PblkCommunicate", [] { return tresk_pblk_communicate_with_kernel(1, "h"); }, -1},
    {"PproCommunicate", [] { return tresk_ppro_communicate_with_kernel(1, "h", 0); }, -1},
    // kmod
    {"CheckKmodInSm", [] { return check_kmod_in_sm("name"); }, -1},
    // netctl
    {"NetctlAdd", [] { return tresk_netctl_add(0, kPath, 1, "n", "i", 0); }, -1},
    {"NetctlExtAdd", [] { return tresk_netctl_ext_add(0, kPath, 1, "n", "i", "d", 0); }, -1},
    {"NetctlRemove", [] { return tresk_netctl_remove(0, kPath); }, -1},
    {"NetctlUpdate", [] { return tresk_netctl_update(0, kPath, 1, "n", "i", 0); }, -1},
    {"NetctlExtUpdate", [] { return tresk_netctl_ext_update(0, kPath, 1, "n", "i", "d", 0); }, -1},
    {"NetctlSetUserDistinguish", [] { return tresk_netctl_set_user_distinguish(1); }, -1},
    {"NetctlPkgAdd", [] { return tresk_netctl_pkg_add(0, "p", 1, "i", "d", 0); }, -1},
    {"NetctlPkgRemove", [] { return tresk_netctl_pkg_remove(0, "p"); }, -1},
    {"NetctlPkgUpdate", [] { return tresk_netctl_pkg_update(0, "p", 1, "i", "d", 0); }, -1},
    {"NetctlPkgPathUpdate", [] { return tresk_netctl_pkg_path_update(0, "p", kPath, 1, "i", "d", 0); }, -1},
    {"NetctlGetPathHash", [] { return is_given(tresk_netctl_get_path_hash(kPath, 0)); }, 0},
    {"NetctlReadAllData",
     [] {
         std::uint32_t count = 0;
         return is_given(tresk_netctl_read_all_data(&count));
     },
     0},
    {"NetctlReadNode", [] { return is_given(tresk_netctl_read_node_with_uid(0, kPath)); }, 0},
    {"NetctlGetUserDistinguish", [] { return tresk_netctl_get_user_distinguish(); }, -1},
    {"CheckPkgIsInstall", [] { return check_pkg_is_install("refused;"); }, -1},
    // ppro
    {"PproAdd", [] { return tresk_ppro_add(kPath, 1); }, -1},
    {"PproRemove", [] { return tresk_ppro_remove(kPath); }, -1},
    {"PproUpdate", [] { return tresk_ppro_update(kPath, 1); }, -1},
    {"PproRemoveInternal", [] { return tresk_ppro_remove_internal(kPath, 0); }, -1},
    {"PproUpdateInternal", [] { return tresk_ppro_update_internal(kPath, 1, 0); }, -1},
    {"GetPidByPath", [] { return tresk_get_pid_by_path(kPath); }, -1},
    {"PproReadNodeWithPath", [] { return is_given(tresk_ppro_read_node_with_path(kPath)); }, 0},
    {"PproReadNodeWithPathZdk", [] { return is_given(tresk_ppro_read_node_with_path_zdk(kPath, 0, "")); }, 0},
    {"PproReadNodeWithHash", [] { return is_given(tresk_ppro_read_node_with_hash_zdk("h", 0, "")); }, 0},
    {"PproCheckInSm", [] { return tresk_ppro_check_in_sm("h"); }, -1},
    {"PproGetSameNode",
     [] {
         int count = 0;
         return tresk_ppro_get_same_node_by_hash("h", &count);
     },
     -1},
    // pblk
    {"PblkAdd",
     [] {
         char path[] = "/usr/bin/a";
         return tresk_pblk_add(path);
     },
     -1},
    {"PblkReadNodeWithPath", [] { return is_given(tresk_pblk_read_node_with_path("/home/a")); }, 0},
    {"PblkReadNodeWithHash", [] { return is_given(tresk_pblk_read_node_with_hash_zdk("h", 1, "")); }, 0},
    // devctl
    {"DeviceRecordInsert", [] { return tresk_devctl_xdg_insert_record(&kDevice, 1); }, -1},
    {"DevctlBatchAdd", [] { return tresk_devctl_batch_add_perm(nullptr, 1); }, -1},
    {"DevctlSmAddPerm", [] { return tresk_devctl_sm_add_perm(1, 1, 1); }, -1},
    {"DevctlSmRemovePerm", [] { return tresk_devctl_sm_remove_perm(1, 1, 1); }, -1},
    // bwlist
    {"BwlistAdd", [] { return tresk_bwlist_add_zdk("white", "p", 1, ""); }, -1011},
    {"BwlistClear", [] { return tresk_bwlist_clear_policy_zdk(1, ""); }, -1011},
    // devctl, lists of the scene
    {"AllDevices", listed<tresk_devctl_read_all_dev_data>, 0},
    {"Types", listed<tresk_devctl_read_not_special_data>, 0},
    {"Products", listed<tresk_devctl_read_special_xmldata>, 0},
    {"Networks", listed<tresk_devctl_read_all_ssid_data>, 0},
    {"TypesShort", listed<tresk_devctl_sm_get_no_special>, 0},
    {"ProductsShort", listed<tresk_devctl_sm_read_special_xmldata>, 0},
};

bool throwing = false;

void throw_if_told()
{
    if (throwing) {
        throw std::runtime_error("not for a caller");
    }
}

template <class Result, class... Arguments>
std::function<Result(Arguments...)> thrower()
{
    return [](Arguments...) -> Result { throw std::runtime_error("not for a caller"); };
}

class Fence : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        FrameworkDouble& all = framework();
        all.get_absolute_path = thrower<char*, const char*>();
        all.path_is_mount_bind = thrower<int, const char*, const char*>();
        all.path_is_dir = thrower<int, const char*>();
        all.version_get = thrower<int, int, char**>();
        all.sm3_file_path = thrower<int, const char*, std::size_t, unsigned char*>();
        all.protected_files = thrower<char**, int*>();
        all.device_types = thrower<type_record*, int*>();
        all.device_pvids = thrower<pvid_record*, int*>();
        all.wireless_networks = thrower<netcard_record*, int*>();
        throwing = true;
        // Documents of another root: these are logged.
        for (const char* file : {"netctl/netctl.xml", "ppro/ppro.xml", "pblk/pblk.xml"}) {
            write_file(std::string("/etc/tresk/") + file, "<other/>");
        }
    }

    void TearDown() override { throwing = false; }
};

TEST_F(Fence, GivesTheFailureOfItsFunctionAndEio)
{
    for (const Call& one : kCalls) {
        SCOPED_TRACE(one.name);
        errno = 0;
        EXPECT_EQ(one.call(), one.failure);
        EXPECT_EQ(errno, EIO);
    }
}

} // namespace

} // namespace tresk::test

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

GVariant* __real_process_dbus_method(const char* object_path, const char* interface_name,
                                     const char* method_name, GVariant* parameters, int* error_code);
GVariant* __wrap_process_dbus_method(const char* object_path, const char* interface_name,
                                     const char* method_name, GVariant* parameters, int* error_code);
[[gnu::format(printf, 7, 8)]] void __wrap_tresk_log_v2(int level, int one, int zero, const char* subject,
                                                       const char* source, int line, const char* format, ...);

/// Nothing is logged through this in a process whose log throws.
void __wrap_tresk_log_v2(int, int, int, const char*, const char*, int, const char*, ...)
{
    tresk::test::throw_if_told();
}

GVariant* __wrap_process_dbus_method(const char* object_path, const char* interface_name,
                                     const char* method_name, GVariant* parameters, int* error_code)
{
    tresk::test::throw_if_told();
    return __real_process_dbus_method(object_path, interface_name, method_name, parameters, error_code);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
