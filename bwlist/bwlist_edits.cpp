// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The calls of the service about the package lists. What their integers and names mean is the service's.
#include "common/edge.h"
#include "dbus/service_call.h"
#include "tresk_extend.h"

namespace tresk::bwlist {

namespace {

/// Source module of the family's diagnostics.
constexpr char kSource[] = "tresk_bwlist";
constexpr ServiceObject kService = {"/bwlist", "com.meron.tresk.bwlist"};

/// Calls the method of @function's name; gives the answer, or the code that says why there is none.
template <class... Members>
int ask(const char* function, Members... members) noexcept
{
    return at_edge(int(TRESK_ERROR_SERVICE), [&] {
        return ask_service({kSource, function}, kService, function, ServiceArguments(members...))
            .value_or_error();
    });
}

} // namespace

} // namespace tresk::bwlist

using namespace tresk;

TRESK_EXPORT int tresk_bwlist_add_zdk(const char* list, const char* rpm_name, int type, const char* name)
{
    return bwlist::ask("tresk_bwlist_add_zdk", list, rpm_name, type, name);
}

TRESK_EXPORT int tresk_bwlist_del_zdk(const char* list, const char* rpm_name, int type, const char* name)
{
    return bwlist::ask("tresk_bwlist_del_zdk", list, rpm_name, type, name);
}

TRESK_EXPORT int tresk_bwlist_get_root_distinguish_zdk(int type, const char* name)
{
    return bwlist::ask("tresk_bwlist_get_root_distinguish_zdk", type, name == nullptr ? "" : name);
}

TRESK_EXPORT int tresk_bwlist_set_root_distinguish_zdk(int value, int type, const char* name)
{
    return bwlist::ask("tresk_bwlist_set_root_distinguish_zdk", value, type, name);
}

TRESK_EXPORT int tresk_bwlist_clear_policy_zdk(int type, const char* name)
{
    return bwlist::ask("tresk_bwlist_clear_policy_zdk", type, name);
}
