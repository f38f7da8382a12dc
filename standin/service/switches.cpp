// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The framework's switches: its status, the functions' statuses, configuration entries, module states, the
// defender's security status and the network-flow permission.
//
// The model: there are five modules with one state each, and one security status. Each of them has a value
// now and a value after the next reboot. The plain setters change both, the "Reboot" setters take a last
// argument that tells whether the change waits for the reboot (1) or not (0). The defender is the security
// status together with the state of module 3.
#include "standin/service/argument_check.h"
#include "standin/service/atomic_file.h"
#include "standin/service/families.h"
#include "standin/service/number_table.h"

#include <array>
#include <string>
#include <utility>

namespace tresk::service {

namespace {

constexpr int kModules = 5;
constexpr int kDefenderModule = 3;
constexpr int kLastFunction = 10;
constexpr int kLastState = 2;
constexpr int kInitialState = 1;

/// The two points in time that a value is kept for, by the names of their files.
constexpr const char* kModulesNow = "modules_current";
constexpr const char* kModulesNext = "modules_after_reboot";
constexpr const char* kSecurityNow = "security_current";
constexpr const char* kSecurityNext = "security_after_reboot";

// --- the framework and its functions ---

Variant set_status(const Folders& folders, GVariant* arguments)
{
    write_number(folders.state / "status", require_within(integer_at(arguments, 0), 1, "the status"));
    return number(kDone);
}

Variant set_func_status(const Folders& folders, GVariant* arguments)
{
    const int function = require_within(integer_at(arguments, 0), kLastFunction, "the function");
    const int status = require_within(integer_at(arguments, 1), kLastState, "the status");
    NumberTable statuses = read_numbers(folders.state / "func_status");
    statuses[std::to_string(function)] = status;
    write_numbers(folders.state / "func_status", statuses);
    return number(kDone);
}

// --- configuration entries ---

Variant conf_add(const Folders& folders, GVariant* /*arguments*/)
{
    write_numbers(folders.state / "conf", read_numbers(folders.state / "conf"));
    return number(kDone);
}

Variant conf_remove(const Folders& folders, GVariant* /*arguments*/)
{
    std::filesystem::remove(folders.state / "conf");
    return number(kDone);
}

/// Whether a state file could hold the text at the start of a line and give it back.
void require_line(const std::string& text, const char* what)
{
    const bool storable = !text.empty() && text.front() != '#' && text.find('\n') == std::string::npos;
    require(storable, std::string(what) + " is empty, a comment or more than a line");
}

Variant conf_set(const Folders& folders, GVariant* arguments)
{
    const std::string name = text_at(arguments, 0);
    require_line(name, "the entry's name");
    NumberTable entries = read_numbers(folders.state / "conf");
    entries[name] = integer_at(arguments, 1);
    write_numbers(folders.state / "conf", entries);
    return number(kDone);
}

// --- modules ---

int module_state(const Folders& folders, const char* when, int module)
{
    const NumberTable states = read_numbers(folders.state / when);
    const auto found = states.find(std::to_string(module));
    return found == states.end() ? kInitialState : found->second;
}

int module_at(GVariant* arguments, gsize index)
{
    return require_within(integer_at(arguments, index), kModules - 1, "the module");
}

int state_at(GVariant* arguments, gsize index)
{
    return require_within(integer_at(arguments, index), kLastState, "the state");
}

NumberTable all_module_states(GVariant* arguments)
{
    NumberTable states;
    for (int module = 0; module < kModules; ++module) {
        states[std::to_string(module)] = state_at(arguments, static_cast<gsize>(module));
    }
    return states;
}

std::pair<std::filesystem::path, std::string> with_modules(const Folders& folders, const char* when,
                                                           const NumberTable& changes)
{
    NumberTable states = changes;
    states.merge(read_numbers(folders.state / when));
    return {folders.state / when, text_of(states)};
}

/// Changes the states after the reboot and, unless the change waits for it, those of now.
FileContents changed_modules(const Folders& folders, const NumberTable& changes, bool at_reboot)
{
    FileContents files{with_modules(folders, kModulesNext, changes)};
    if (!at_reboot) {
        files.push_back(with_modules(folders, kModulesNow, changes));
    }
    return files;
}

bool waits_for_reboot(GVariant* arguments, gsize index)
{
    return require_within(integer_at(arguments, index), 1, "the reboot flag") == 1;
}

template <const char* const& when>
Variant get_module_state(const Folders& folders, GVariant* arguments)
{
    return number(module_state(folders, when, module_at(arguments, 0)));
}

Variant set_modules(const Folders& folders, GVariant* arguments)
{
    write_all_whole(changed_modules(folders, all_module_states(arguments), false));
    return number(kDone);
}

Variant set_modules_reboot(const Folders& folders, GVariant* arguments)
{
    const NumberTable states = all_module_states(arguments);
    write_all_whole(changed_modules(folders, states, waits_for_reboot(arguments, kModules)));
    return number(kDone);
}

/// 1 when the module's state would only change by a reboot, 0 when it has that state now.
Variant check_set_module_reboot(const Folders& folders, GVariant* arguments)
{
    const int module = module_at(arguments, 0);
    return number(state_at(arguments, 1) == module_state(folders, kModulesNow, module) ? 0 : 1);
}

/// The user may always switch a module: nobody is asked here.
Variant authorise_module_switch(const Folders& /*folders*/, GVariant* arguments)
{
    module_at(arguments, 0);
    state_at(arguments, 1);
    return number(kDone);
}

Variant set_selinux_policy(const Folders& folders, GVariant* arguments)
{
    const std::string policy = text_at(arguments, 0);
    require_line(policy, "the policy's name");
    write_whole(folders.state / "selinux_policy", policy + "\n");
    return number(kDone);
}

// --- the defender ---

int security_status(const Folders& folders, const char* when)
{
    return read_number(folders.state / when, kInitialState);
}

template <const char* const& when>
Variant get_security(const Folders& folders, GVariant* /*arguments*/)
{
    return number(security_status(folders, when));
}

void store_security(const Folders& folders, GVariant* arguments, bool at_reboot)
{
    const std::string status = std::to_string(state_at(arguments, 0)) + "\n";
    FileContents files =
        changed_modules(folders, {{std::to_string(kDefenderModule), state_at(arguments, 1)}}, at_reboot);
    files.emplace_back(folders.state / kSecurityNext, status);
    if (!at_reboot) {
        files.emplace_back(folders.state / kSecurityNow, status);
    }
    write_all_whole(files);
}

Variant set_security(const Folders& folders, GVariant* arguments)
{
    store_security(folders, arguments, false);
    return number(kDone);
}

Variant set_security_reboot(const Folders& folders, GVariant* arguments)
{
    store_security(folders, arguments, waits_for_reboot(arguments, 2));
    return number(kDone);
}

Variant check_security_reboot(const Folders& folders, GVariant* arguments)
{
    return number(state_at(arguments, 0) == security_status(folders, kSecurityNow) ? 0 : 1);
}

// --- network flow ---

Variant netflow_permission(const Folders& folders, GVariant* /*arguments*/)
{
    return number(read_number(folders.state / "netflow_permission", 0));
}

} // namespace

std::span<const Method> status_methods()
{
    static constexpr std::array methods{
        Method{"tresk_xattr_set_status", "i", "i", set_status},
        Method{"tresk_xattr_set_func_status", "ii", "i", set_func_status},
    };
    return methods;
}

std::span<const Method> configuration_methods()
{
    static constexpr std::array methods{
        Method{"tresk_conf_add", "", "i", conf_add},
        Method{"tresk_conf_remove", "", "i", conf_remove},
        Method{"tresk_conf_set", "si", "i", conf_set},
    };
    return methods;
}

std::span<const Method> module_methods()
{
    static constexpr std::array methods{
        Method{"getModuleStatus", "i", "i", get_module_state<kModulesNext>, Access::kOpen},
        Method{"setModuleStatus", "iiiii", "i", set_modules},
        Method{"setModuleStatusReboot", "iiiiii", "i", set_modules_reboot},
        Method{"getModuleRealStatus", "i", "i", get_module_state<kModulesNow>, Access::kOpen},
        Method{"getCurSecurityStatusForVexDefender", "", "i", get_security<kSecurityNow>, Access::kOpen},
        Method{"getSecurityStatusForVexDefender", "", "i", get_security<kSecurityNext>, Access::kOpen},
        Method{"setSecurityForVexDefender", "ii", "i", set_security},
        Method{"setSecurityForVexDefenderReboot", "iii", "i", set_security_reboot},
        Method{"setSelinuxPolicy", "s", "i", set_selinux_policy},
        Method{"checkSecuritySwitchReboot", "i", "i", check_security_reboot, Access::kOpen},
        Method{"checkSetModuleStatusReboot", "ii", "i", check_set_module_reboot, Access::kOpen},
        Method{"processctrlPolkitForSetModuleStatus", "ii", "i", authorise_module_switch},
    };
    return methods;
}

std::span<const Method> netflow_methods()
{
    static constexpr std::array methods{
        Method{"tresk_netflow_perm_check", "", "i", netflow_permission, Access::kOpen},
    };
    return methods;
}

} // namespace tresk::service
