// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/row.h"

#include <gio/gio.h>

namespace tresk::test {

namespace {

Came by_answer_or_zero(int result)
{
    return by_result(result, kAnswer, 0);
}

Came both_states()
{
    int first = kUnwritten;
    int second = kUnwritten;
    const int result = getSecurityStatusForVexDefender(&first, &second);
    const bool failed = result == 0 && second == kUnwritten && (first == kUnwritten || first == kAnswer);
    return verdict(result == 1 && first == kAnswer && second == kAnswer, failed);
}

using Reply = Handle<GVariant, ::g_variant_unref>;

Came by_reply(const Reply& reply, int error_code)
{
    return verdict(reply && error_code == kUnwritten, !reply && error_code == expected_code());
}

/// Made before the call, which shortens its message; freed when the next one is made.
GError*& failed_call()
{
    static GError* error = nullptr;
    return error;
}

void fail_call()
{
    g_clear_error(&failed_call());
    failed_call() =
        g_dbus_error_new_for_dbus_error("MERON.TRESK.FILE.ATTR.ERR", "subject of the error:its text,more");
}

} // namespace

FAULT_ROW(process_dbus_method) = {
    .call =
        [] {
            int error_code = kUnwritten;
            const Reply parameters(g_variant_ref_sink(g_variant_new("(i)", 3)));
            const Reply reply(process_dbus_method("/module", "com.meron.tresk.module", "getModuleStatus",
                                                  parameters.get(), &error_code));
            return by_reply(reply, error_code);
        },
    .methods = {{"getModuleStatus"}},
    .checks_reply = false,
    .cold_too = true,
};
FAULT_ROW(process_dbus_other_method) = {
    .call =
        [] {
            int error_code = kUnwritten;
            const Reply parameters(g_variant_ref_sink(g_variant_new("(s)", "text")));
            const Reply reply(process_dbus_other_method("com.meron.tresk", "/x", "x.y", "other",
                                                        parameters.get(), &error_code));
            return by_reply(reply, error_code);
        },
    .methods = {{"other"}},
    .checks_reply = false,
};
FAULT_ROW(handling_dbus_error) = {
    .call = [] { return by_result(handling_dbus_error(failed_call()), -1009, -1011); },
    .prepare = fail_call,
};
FAULT_ROW(tresk_setstatus) = {
    .call = [] { return by_answer_or_code(tresk_setstatus(1)); },
    .methods = {{"tresk_xattr_set_status"}},
};
FAULT_ROW(tresk_set_func_status) = {
    .call = [] { return by_answer_or_code(tresk_set_func_status(5, 1)); },
    .methods = {{"tresk_xattr_set_func_status"}},
};
FAULT_ROW(tresk_conf_add) = {
    .call = [] { return by_answer_or_code(tresk_conf_add()); },
    .methods = {{"tresk_conf_add"}},
};
FAULT_ROW(tresk_conf_remove) = {
    .call = [] { return by_answer_or_code(tresk_conf_remove()); },
    .methods = {{"tresk_conf_remove"}},
};
FAULT_ROW(tresk_conf_set) = {
    .call = [] { return by_answer_or_code(tresk_conf_set("entry", 1)); },
    .methods = {{"tresk_conf_set"}},
};
FAULT_ROW(getModuleStatus_dbus) = {
    .call = [] { return by_answer_or_code(getModuleStatus_dbus(3)); },
    .methods = {{"getModuleStatus"}},
};
FAULT_ROW(setModuleStatus_dbus) = {
    .call = [] { return by_answer_or_code(setModuleStatus_dbus(1, 2, 3, 4, 5)); },
    .methods = {{"setModuleStatus"}},
};
FAULT_ROW(setModuleStatusReboot_dbus) = {
    .call = [] { return by_answer_or_code(setModuleStatusReboot_dbus(1, 2, 3, 4, 5, 6)); },
    .methods = {{"setModuleStatusReboot"}},
};
FAULT_ROW(getCurModuleStatus_dbus) = {
    .call = [] { return by_answer_or_code(getCurModuleStatus_dbus(3)); },
    .methods = {{"getModuleRealStatus"}},
};
FAULT_ROW(getCurSecurityStatusForVexDefender) = {
    .call = [] { return by_answer_or_zero(getCurSecurityStatusForVexDefender()); },
    .methods = {{"getCurSecurityStatusForVexDefender"}},
};
FAULT_ROW(getSecurityStatusForVexDefender) = {
    .call = both_states,
    .methods = {{"getSecurityStatusForVexDefender"}, {"getModuleStatus"}},
};
FAULT_ROW(setSecurityForVexDefender) = {
    .call = [] { return by_answer_or_zero(setSecurityForVexDefender(1, 1)); },
    .methods = {{"setSecurityForVexDefender"}},
};
FAULT_ROW(setSecurityForVexDefenderReboot) = {
    .call = [] { return by_answer_or_zero(setSecurityForVexDefenderReboot(1, 1, 1)); },
    .methods = {{"setSecurityForVexDefenderReboot"}},
};
FAULT_ROW(setSelinuxPolicy) = {
    .call = [] { return by_answer_or_code(setSelinuxPolicy("targeted")); },
    .methods = {{"setSelinuxPolicy"}},
};
FAULT_ROW(checkSecuritySwitchReboot_dbus) = {
    .call = [] { return by_answer_or_code(checkSecuritySwitchReboot_dbus(1)); },
    .methods = {{"checkSecuritySwitchReboot"}},
};
FAULT_ROW(checkSetModuleStatusReboot_dbus) = {
    .call = [] { return by_answer_or_code(checkSetModuleStatusReboot_dbus(3, 1)); },
    .methods = {{"checkSetModuleStatusReboot"}},
};
FAULT_ROW(processctrlPolkitForSetModuleStatus_dbus) = {
    .call = [] { return by_answer_or_code(processctrlPolkitForSetModuleStatus_dbus(3, 1)); },
    .methods = {{"processctrlPolkitForSetModuleStatus"}},
};
FAULT_ROW(getBootMode_dbus) = {.call = [] { return by_result(getBootMode_dbus(), 0, 0); }};
FAULT_ROW(tresk_netflow_perm_check) = {
    .call = [] { return by_result(tresk_netflow_perm_check(), kAnswer, -1); },
    .methods = {{"tresk_netflow_perm_check"}},
};

} // namespace tresk::test
