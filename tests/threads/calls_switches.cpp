// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The call of the service and the framework's switches. The framework itself stays on: while it is off no
// edit has an answer of its own.
#include "tests/threads/call_parts.h"

#include <gio/gio.h>

namespace tresk::test {

namespace {

using Reply = Handle<GVariant, ::g_variant_unref>;

std::string type_of(GVariant* reply)
{
    const Reply owner(reply);
    return owner ? g_variant_get_type_string(owner.get()) : "none";
}

/// A module's state, the defender's too.
int state(Random& random)
{
    return between(random, 0, 2);
}

int module(Random& random)
{
    return between(random, 0, 4);
}

int yes_or_no(Random& random)
{
    return between(random, 0, 1);
}

std::string service_error(Random& random)
{
    struct Error {
        const char* name;
        int code;
    };

    static constexpr Error kErrors[] = {
        {"MERON.TRESK.OK", 0},
        {"MERON.TRESK.AUTH.FAILED", -1001},
        {"MERON.TRESK.LABEL.GET.ERR", -1005},
        {"MERON.TRESK.OTHER", -1011},
    };
    const auto& error = one_of<Error>(random, kErrors);
    const Handle<GError, ::g_error_free> made(
        g_dbus_error_new_for_dbus_error(error.name, "subject:text,more"));
    return right(handling_dbus_error(made.get()) == error.code);
}

std::string defender(Random&)
{
    int first = -1;
    int second = -1;
    const int result = getSecurityStatusForVexDefender(&first, &second);
    const bool in_range = first >= 0 && first <= 2 && second >= 0 && second <= 2;
    return right(result == 1 && in_range);
}

} // namespace

std::vector<Call> switch_calls()
{
    constexpr Family bus = Family::bus;
    constexpr Family switches = Family::switches;
    return {
        {"process_dbus_method",
         bus,
         Cost::bus,
         [](Random& random) {
             return type_of(process_dbus_method("/module", "com.meron.tresk.module", "getModuleStatus",
                                                g_variant_new("(i)", module(random)), nullptr));
         },
         {"(i)"}},
        {"process_dbus_other_method",
         bus,
         Cost::bus,
         [](Random&) {
             return type_of(process_dbus_other_method("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                      "org.freedesktop.DBus", "GetId", nullptr, nullptr));
         },
         {"(s)"}},
        {"handling_dbus_error", bus, Cost::plain, service_error, {"right"}},
        {"tresk_setstatus", switches, Cost::bus, [](Random&) { return shown(tresk_setstatus(1)); }, {"0"}},
        {"tresk_set_func_status",
         switches,
         Cost::bus,
         [](Random& random) { return shown(tresk_set_func_status(5, yes_or_no(random))); },
         {"0"}},
        {"tresk_conf_add", switches, Cost::bus, [](Random&) { return shown(tresk_conf_add()); }, {"0"}},
        {"tresk_conf_remove", switches, Cost::bus, [](Random&) { return shown(tresk_conf_remove()); }, {"0"}},
        {"tresk_conf_set",
         switches,
         Cost::bus,
         [](Random& random) { return shown(tresk_conf_set("entry", state(random))); },
         {"0"}},
        {"getModuleStatus_dbus",
         switches,
         Cost::bus,
         [](Random& random) { return shown(getModuleStatus_dbus(module(random))); },
         {"0", "1", "2"}},
        {"getCurModuleStatus_dbus",
         switches,
         Cost::bus,
         [](Random& random) { return shown(getCurModuleStatus_dbus(module(random))); },
         {"0", "1", "2"}},
        {"setModuleStatus_dbus",
         switches,
         Cost::bus,
         [](Random& random) { return shown(setModuleStatus_dbus(state(random), 1, 1, state(random), 1)); },
         {"0"}},
        {"setModuleStatusReboot_dbus",
         switches,
         Cost::bus,
         [](Random& random) {
             return shown(
                 setModuleStatusReboot_dbus(1, state(random), 1, state(random), 1, yes_or_no(random)));
         },
         {"0"}},
        {"getCurSecurityStatusForVexDefender",
         switches,
         Cost::bus,
         [](Random&) { return shown(getCurSecurityStatusForVexDefender()); },
         {"0", "1", "2"}},
        {"getSecurityStatusForVexDefender", switches, Cost::bus, defender, {"right"}},
        {"setSecurityForVexDefender",
         switches,
         Cost::bus,
         [](Random& random) { return shown(setSecurityForVexDefender(state(random), state(random))); },
         {"0"}},
        {"setSecurityForVexDefenderReboot",
         switches,
         Cost::bus,
         [](Random& random) {
             return shown(setSecurityForVexDefenderReboot(state(random), state(random), yes_or_no(random)));
         },
         {"0"}},
        {"setSelinuxPolicy",
         switches,
         Cost::bus,
         [](Random&) { return shown(setSelinuxPolicy("targeted")); },
         {"0"}},
        {"checkSecuritySwitchReboot_dbus",
         switches,
         Cost::bus,
         [](Random& random) { return shown(checkSecuritySwitchReboot_dbus(state(random))); },
         {"0", "1"}},
        {"checkSetModuleStatusReboot_dbus",
         switches,
         Cost::bus,
         [](Random& random) { return shown(checkSetModuleStatusReboot_dbus(module(random), state(random))); },
         {"0", "1"}},
        {"processctrlPolkitForSetModuleStatus_dbus",
         switches,
         Cost::bus,
         [](Random& random) {
             return shown(processctrlPolkitForSetModuleStatus_dbus(module(random), state(random)));
         },
         {"0"}},
        {"getBootMode_dbus", switches, Cost::plain, [](Random&) { return shown(getBootMode_dbus()); }, {"0"}},
        {"tresk_netflow_perm_check",
         switches,
         Cost::bus,
         [](Random&) { return shown(tresk_netflow_perm_check()); },
         {"0"}},
    };
}

} // namespace tresk::test
