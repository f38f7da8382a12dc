// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every method of the service: that it is there, with its types, and answers a call of a fresh service.
#include "tests/standin/service_scene.h"

#include <algorithm>
#include <array>
#include <map>

namespace tresk::test {

namespace {

struct Expected {
    const char* word;
    const char* method;
    const char* input;
    const char* arguments;
    const char* reply;
    const char* output = "i";
};

constexpr char kNode[] = "('/usr/bin/app', 2, 0, '')";
constexpr char kProgram[] = "(uint32 5, '/usr/bin/app', 1, 'App', 'app.png', 0)";
constexpr char kExtProgram[] = "(uint32 5, '/usr/bin/app', 1, 'App', 'app.png', 'app.desktop', 0)";
constexpr char kPackage[] = "(uint32 5, 'pkg', 1, 'app.png', 'app.desktop', 0)";

/// A regular file that is the same on every machine, and the SHA-256 of its content.
constexpr char kFile[] = "('/proc/sys/kernel/ostype',)";
constexpr char kFileSha256[] = "('533e1007b450ba293f5e2cb35b768cf963d0a74c6943558059086eda254939c2',)";

constexpr std::array kExpected{
    Expected{"xattr", "tresk_xattr_set_status", "i", "(1,)", "(0,)"},
    Expected{"xattr", "tresk_xattr_set_func_status", "ii", "(5, 1)", "(0,)"},
    Expected{"xattr", "tresk_check_user_valid_with_pam", "ss", "('user', 'credential')", "(1,)"},
    Expected{"xattr", "tresk_xattr_calc_hash_by_path", "s", kFile, kFileSha256, "s"},
    Expected{"xattr", "tresk_xattr_get_file_hash_value", "s", kFile, "('',)", "s"},
    Expected{"xattr", "tresk_xattr_calc_multi_file_hash_value", "as", "(['/no/such/file'],)", "([''],)",
             "as"},
    Expected{"xattr", "tresk_xattr_get_multi_file_hash_value", "as", "(['/no/such/file'],)", "([''],)", "as"},
    Expected{"xattr", "tresk_xattr_protect_check_kmod_in_sm", "s", "('loop',)", "(1,)"},
    Expected{"conf", "tresk_conf_add", "", "()", "(0,)"},
    Expected{"conf", "tresk_conf_remove", "", "()", "(0,)"},
    Expected{"conf", "tresk_conf_set", "si", "('limit', 4)", "(0,)"},
    Expected{"module", "getModuleStatus", "i", "(3,)", "(1,)"},
    Expected{"module", "setModuleStatus", "iiiii", "(0, 1, 2, 0, 1)", "(0,)"},
    Expected{"module", "setModuleStatusReboot", "iiiiii", "(0, 1, 2, 0, 1, 1)", "(0,)"},
    Expected{"module", "getModuleRealStatus", "i", "(3,)", "(1,)"},
    Expected{"module", "getCurSecurityStatusForVexDefender", "", "()", "(1,)"},
    Expected{"module", "getSecurityStatusForVexDefender", "", "()", "(1,)"},
    Expected{"module", "setSecurityForVexDefender", "ii", "(1, 2)", "(0,)"},
    Expected{"module", "setSecurityForVexDefenderReboot", "iii", "(1, 2, 1)", "(0,)"},
    Expected{"module", "setSelinuxPolicy", "s", "('targeted',)", "(0,)"},
    Expected{"module", "checkSecuritySwitchReboot", "i", "(0,)", "(1,)"},
    Expected{"module", "checkSetModuleStatusReboot", "ii", "(3, 0)", "(1,)"},
    Expected{"module", "processctrlPolkitForSetModuleStatus", "ii", "(3, 0)", "(0,)"},
    Expected{"netflow", "tresk_netflow_perm_check", "", "()", "(0,)"},
    Expected{"ppro", "tresk_ppro_add_zdk", "siis", kNode, "(0,)"},
    Expected{"ppro", "tresk_ppro_remove_zdk", "sis", "('/usr/bin/app', 0, '')", "(-3,)"},
    Expected{"ppro", "tresk_ppro_update_zdk", "siis", kNode, "(-3,)"},
    Expected{"ppro", "tresk_ppro_remove", "s", "('/usr/bin/app',)", "(-3,)"},
    Expected{"ppro", "tresk_ppro_remove_sm", "s", "('/usr/bin/app',)", "(-3,)"},
    Expected{"ppro", "tresk_ppro_update", "si", "('/usr/bin/app', 1)", "(-3,)"},
    Expected{"ppro", "tresk_ppro_update_sm", "si", "('/usr/bin/app', 1)", "(-3,)"},
    Expected{"ppro", "tresk_get_pid_by_path", "s", "('/no/such/program',)", "(-1,)"},
    Expected{"netctl", "tresk_netctl_add", "usissi", kProgram, "(0,)"},
    Expected{"netctl", "tresk_netctl_ext_add", "usisssi", kExtProgram, "(0,)"},
    Expected{"netctl", "tresk_netctl_remove", "us", "(uint32 5, '/usr/bin/app')", "(-3,)"},
    Expected{"netctl", "tresk_netctl_update", "usissi", kProgram, "(-3,)"},
    Expected{"netctl", "tresk_netctl_ext_update", "usisssi", kExtProgram, "(-3,)"},
    Expected{"netctl", "tresk_netctl_set_user_distinguish", "u", "(uint32 1,)", "(0,)"},
    Expected{"netctl", "tresk_netctl_pkg_add", "usissi", kPackage, "(0,)"},
    Expected{"netctl", "tresk_netctl_pkg_remove", "us", "(uint32 5, 'pkg')", "(-3,)"},
    Expected{"netctl", "tresk_netctl_pkg_update", "usissi", kPackage, "(-3,)"},
    Expected{"netctl", "tresk_netctl_pkg_path_update", "ussissi",
             "(uint32 5, 'pkg', '/usr/bin/app', 1, '', '', 0)", "(-3,)"},
    Expected{"pblk", "tresk_pblk_add_zdk", "sis", "('/usr/bin/app', 1, '')", "(0,)"},
    Expected{"pblk", "tresk_pblk_remove_zdk", "sis", "('/usr/bin/app', 1, '')", "(-3,)"},
    Expected{"bwlist", "tresk_bwlist_add_zdk", "ssis", "('white', 'pkg', 1, '')", "(0,)"},
    Expected{"bwlist", "tresk_bwlist_del_zdk", "ssis", "('white', 'pkg', 1, '')", "(-3,)"},
    Expected{"bwlist", "tresk_bwlist_get_root_distinguish_zdk", "is", "(1, '')", "(0,)"},
    Expected{"bwlist", "tresk_bwlist_set_root_distinguish_zdk", "iis", "(1, 1, '')", "(0,)"},
    Expected{"bwlist", "tresk_bwlist_clear_policy_zdk", "is", "(1, '')", "(0,)"},
    Expected{"devctl", "tresk_devctl_insert_record", "a(iiuussss)",
             "([(1, 2, uint32 3, uint32 4, 'a', 'b', '2024-05-06 07:08:09', 'c')],)", "(0,)"},
};

class ServiceMethod : public ServiceScene, public ::testing::WithParamInterface<Expected> {};

struct UnrefNode {
    void operator()(GDBusNodeInfo* node) const noexcept { g_dbus_node_info_unref(node); }
};

using Node = std::unique_ptr<GDBusNodeInfo, UnrefNode>;

Node introspected(GDBusConnection* client, const std::string& word)
{
    GVariant* reply = g_dbus_connection_call_sync(
        client, "com.meron.tresk", ("/" + word).c_str(), "org.freedesktop.DBus.Introspectable", "Introspect",
        nullptr, G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply == nullptr) {
        return nullptr;
    }
    const char* xml = nullptr;
    g_variant_get(reply, "(&s)", &xml);
    Node node(g_dbus_node_info_new_for_xml(xml, nullptr));
    g_variant_unref(reply);
    return node;
}

std::string types(GDBusArgInfo** arguments)
{
    std::string all;
    for (; arguments != nullptr && *arguments != nullptr; ++arguments) {
        all += (*arguments)->signature;
    }
    return all;
}

using Signatures = std::map<std::string, std::string>;

Signatures introspected_signatures(GDBusConnection* client, const std::string& word)
{
    Signatures signatures;
    const Node node = introspected(client, word);
    GDBusInterfaceInfo* interface =
        node ? g_dbus_node_info_lookup_interface(node.get(), ("com.meron.tresk." + word).c_str()) : nullptr;
    for (GDBusMethodInfo** method = interface == nullptr ? nullptr : interface->methods;
         method != nullptr && *method != nullptr; ++method) {
        signatures[(*method)->name] = types((*method)->in_args) + "->" + types((*method)->out_args);
    }
    return signatures;
}

Signatures expected_signatures(const std::string& word)
{
    Signatures signatures;
    for (const Expected& expected : kExpected) {
        if (expected.word == word) {
            signatures[expected.method] = std::string(expected.input) + "->" + expected.output;
        }
    }
    return signatures;
}

} // namespace

TEST_P(ServiceMethod, AnswersACallOfItsSignature)
{
    const Expected& expected = GetParam();
    start_service();
    EXPECT_EQ(call(expected.word, expected.method, expected.arguments), replied(expected.reply));
}

TEST_P(ServiceMethod, RefusesAnotherSignature)
{
    const Expected& expected = GetParam();
    start_service();
    EXPECT_EQ(call(expected.word, expected.method, "(uint32 1, 'x', 1.5)").error,
              "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_FALSE(std::filesystem::exists(state / "service.log"));
}

TEST_P(ServiceMethod, FailsOnDemandUnderItsName)
{
    const Expected& expected = GetParam();
    start_service();
    set_faults(expected.method + std::string(" error com.example.Broken on demand\n"));
    EXPECT_EQ(call(expected.word, expected.method, expected.arguments),
              refused("com.example.Broken", "on demand"));
    EXPECT_FALSE(std::filesystem::exists(etc));
}

INSTANTIATE_TEST_SUITE_P(Each, ServiceMethod, ::testing::ValuesIn(kExpected),
                         [](const auto& row) { return std::string(row.param.method); });

class ServiceObject : public ServiceScene, public ::testing::WithParamInterface<const char*> {};

TEST_P(ServiceObject, IsIntrospectedAsItsTableSays)
{
    start_service();
    EXPECT_EQ(introspected_signatures(client.get(), GetParam()), expected_signatures(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Each, ServiceObject,
                         ::testing::Values("xattr", "conf", "module", "netflow", "ppro", "netctl", "pblk",
                                           "bwlist", "devctl"),
                         [](const auto& row) { return std::string(row.param); });

TEST_F(ServiceScene, UnknownMethodIsRefused)
{
    start_service();
    EXPECT_EQ(call("ppro", "tresk_ppro_rename").error, "org.freedesktop.DBus.Error.UnknownMethod");
}

} // namespace tresk::test
