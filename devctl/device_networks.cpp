// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The permitted wireless networks, by name.
#include "common/edge.h"
#include "devctl/device_policy.h"
#include "devctl/device_scene.h"
#include "secure_copy.h"
#include "tresk_extend.h"

#include <cstring>

namespace tresk::devctl {

namespace {

/// An edit of the permitted wireless networks, with the formats of its failures.
struct NetworkEdit {
    const char* function;
    int (*change)(netcard_record* records, int count);
    const char* is_null;
    const char* too_long;
    const char* refused;
};

constexpr NetworkEdit kPermit = {
    "tresk_devctl_wireless_ctl_add",
    kNetworks.add,
    "%s: failed to add devctl wilreless policy: ssid is null\n",
    "%s: failed to add devctl wilreless policy: ssid too long\n",
    "%s: failed to add devctl wilreless policy: ret=%d\n",
};

constexpr NetworkEdit kForbid = {
    "tresk_devctl_wireless_ctl_del",
    kNetworks.remove,
    "%s: failed to remove devctl wilreless policy: ssid is null\n",
    "%s: failed to remove devctl wilreless policy: ssid too long\n",
    "%s: failed to remove devctl wilreless policy: ret=%d\n",
};

int edit_network(const NetworkEdit& edit, const char* ssid)
{
    netcard_record record = {{}, 1};
    if (ssid == nullptr) {
        log_error(kSource, edit.function, edit.is_null, edit.function);
        return kFailed;
    }
    if (::strnlen(ssid, sizeof(record.name)) == sizeof(record.name)) {
        log_error(kSource, edit.function, edit.too_long, edit.function);
        return kFailed;
    }
    // Kept: one byte less than the field has, so that a name of 127 bytes is refused and left empty.
    (void)strcpy_s(record.name, sizeof(record.name) - 1, ssid);
    const int answer = edit.change(&record, 1);
    if (answer != 0) {
        log_error(kSource, edit.function, edit.refused, edit.function, answer);
        return kFailed;
    }
    return 0;
}

} // namespace

} // namespace tresk::devctl

using namespace tresk;

TRESK_EXPORT int tresk_devctl_wireless_ctl_add(const char* ssid)
{
    return at_edge(devctl::kFailed, [&] { return devctl::edit_network(devctl::kPermit, ssid); });
}

TRESK_EXPORT int tresk_devctl_wireless_ctl_del(const char* ssid)
{
    return at_edge(devctl::kFailed, [&] { return devctl::edit_network(devctl::kForbid, ssid); });
}
