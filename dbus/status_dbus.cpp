// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The framework's switches: each call forwards its arguments unchanged to one method of the service and
// returns what it answers. What the integers mean, and which are allowed, is the service's.
#include "common/edge.h"
#include "dbus/service_call.h"
#include "tresk_extend.h"

#include <array>

namespace tresk {

namespace {

constexpr char kSource[] = "status_dbus";
constexpr int kLogSwitchedOn = 1;
constexpr int kLogSwitchedOff = 2;

constexpr ServiceObject kConf = {"/conf", "com.meron.tresk.conf"};
constexpr ServiceObject kModule = {"/module", "com.meron.tresk.module"};
constexpr ServiceObject kNetflow = {"/netflow", "com.meron.tresk.netflow"};

/// The state that getSecurityStatusForVexDefender() reports beside the security status.
constexpr std::int32_t kDefenderModule = 3;

/// Names of the protection functions by index, for the log alone. Index 7 has none.
constexpr std::array<const char*, 11> kFunctionNames = {
    "tresk_exectl", "tresk_netctl", "tresk_fpro",   "tresk_kmodpro",
    "tresk_3adm",   "tresk_ppro",   "tresk_devctl", "",
    "tresk_tpm",    "tresk_sm",     "tresk_pblk",
};

const char* function_name(int index)
{
    const auto row = static_cast<std::size_t>(index);
    return index >= 0 && row < kFunctionNames.size() ? kFunctionNames[row] : "unknown";
}

/// @result is the service's answer to the change to @status.
int switch_log_level(std::int32_t result, int status)
{
    if (result != 0) {
        return kLogError;
    }
    return status != 0 ? kLogSwitchedOn : kLogSwitchedOff;
}

/// One call on behalf of the exported @function, behind the fence.
template <class... Arguments>
ServiceAnswer ask(const char* function, const ServiceObject& object, const char* method,
                  Arguments... arguments) noexcept
{
    return at_edge(ServiceAnswer{std::nullopt, TRESK_ERROR_SERVICE}, [&] {
        return ask_service({kSource, function}, object, method, ServiceArguments(arguments...));
    });
}

/// The answer, with @log of a change that the service made or refused behind the fence: what it did stays
/// done, whatever comes of the log.
template <class Log>
std::int32_t tell(const ServiceAnswer& answer, Log log) noexcept
{
    return at_edge(answer.value_or_error(), [&] {
        if (answer.value) {
            log(*answer.value);
        }
        return answer.value_or_error();
    });
}

std::int32_t tell_switch(const ServiceAnswer& answer, int status)
{
    return tell(answer, [status](std::int32_t result) {
        log_at(switch_log_level(result, status), kSource, nullptr, "set tresk status to %d", status);
    });
}

std::int32_t tell_function_switch(const ServiceAnswer& answer, int index, int status)
{
    return tell(answer, [index, status](std::int32_t result) {
        log_at(switch_log_level(result, status), kSource, nullptr, "set %s status to %d",
               function_name(index), status);
    });
}

} // namespace

} // namespace tresk

using namespace tresk;

TRESK_EXPORT int tresk_setstatus(int status)
{
    return tell_switch(ask("tresk_setstatus", kXattrService, "tresk_xattr_set_status", status), status);
}

TRESK_EXPORT int tresk_set_func_status(int function_index, int status)
{
    return tell_function_switch(
        ask("tresk_set_func_status", kXattrService, "tresk_xattr_set_func_status", function_index, status),
        function_index, status);
}

TRESK_EXPORT int tresk_conf_add(void)
{
    return ask("tresk_conf_add", kConf, "tresk_conf_add").value_or_error();
}

TRESK_EXPORT int tresk_conf_remove(void)
{
    return ask("tresk_conf_remove", kConf, "tresk_conf_remove").value_or_error();
}

TRESK_EXPORT int tresk_conf_set(const char* name, int value)
{
    return ask("tresk_conf_set", kConf, "tresk_conf_set", name, value).value_or_error();
}

TRESK_EXPORT int getModuleStatus_dbus(int module)
{
    return ask("getModuleStatus_dbus", kModule, "getModuleStatus", module).value_or_error();
}

TRESK_EXPORT int setModuleStatus_dbus(int first, int second, int third, int fourth, int fifth)
{
    return ask("setModuleStatus_dbus", kModule, "setModuleStatus", first, second, third, fourth, fifth)
        .value_or_error();
}

TRESK_EXPORT int setModuleStatusReboot_dbus(int first, int second, int third, int fourth, int fifth,
                                            int sixth)
{
    return ask("setModuleStatusReboot_dbus", kModule, "setModuleStatusReboot", first, second, third, fourth,
               fifth, sixth)
        .value_or_error();
}

TRESK_EXPORT int getCurModuleStatus_dbus(int module)
{
    return ask("getCurModuleStatus_dbus", kModule, "getModuleRealStatus", module).value_or_error();
}

TRESK_EXPORT int getCurSecurityStatusForVexDefender(void)
{
    return ask("getCurSecurityStatusForVexDefender", kModule, "getCurSecurityStatusForVexDefender")
        .value_or(0);
}

TRESK_EXPORT int getSecurityStatusForVexDefender(int* first, int* second)
{
    constexpr char function[] = "getSecurityStatusForVexDefender";
    if (first == nullptr || second == nullptr) {
        return 0;
    }
    const ServiceAnswer status = ask(function, kModule, "getSecurityStatusForVexDefender");
    if (!status.value) {
        return 0;
    }
    *first = *status.value;
    const ServiceAnswer module = ask(function, kModule, "getModuleStatus", kDefenderModule);
    if (!module.value) {
        return 0;
    }
    *second = *module.value;
    return 1;
}

TRESK_EXPORT int setSecurityForVexDefender(int first, int second)
{
    return ask("setSecurityForVexDefender", kModule, "setSecurityForVexDefender", first, second).value_or(0);
}

TRESK_EXPORT int setSecurityForVexDefenderReboot(int first, int second, int third)
{
    return ask("setSecurityForVexDefenderReboot", kModule, "setSecurityForVexDefenderReboot", first, second,
               third)
        .value_or(0);
}

TRESK_EXPORT int setSelinuxPolicy(const char* policy)
{
    return ask("setSelinuxPolicy", kModule, "setSelinuxPolicy", policy).value_or_error();
}

TRESK_EXPORT int checkSecuritySwitchReboot_dbus(int value)
{
    return ask("checkSecuritySwitchReboot_dbus", kModule, "checkSecuritySwitchReboot", value)
        .value_or_error();
}

TRESK_EXPORT int checkSetModuleStatusReboot_dbus(int first, int second)
{
    return ask("checkSetModuleStatusReboot_dbus", kModule, "checkSetModuleStatusReboot", first, second)
        .value_or_error();
}

TRESK_EXPORT int processctrlPolkitForSetModuleStatus_dbus(int first, int second)
{
    return ask("processctrlPolkitForSetModuleStatus_dbus", kModule, "processctrlPolkitForSetModuleStatus",
               first, second)
        .value_or_error();
}

TRESK_EXPORT int getBootMode_dbus(void)
{
    return 0;
}

TRESK_EXPORT int tresk_netflow_perm_check(void)
{
    return ask("tresk_netflow_perm_check", kNetflow, "tresk_netflow_perm_check").value_or(-1);
}
