// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Adding, removing and updating one device policy. The policies live in the scene library alone, so nothing
// here asks the service.
#include "common/edge.h"
#include "common/text.h"
#include "devctl/device_policy.h"
#include "devctl/device_scene.h"
#include "devctl/device_types.h"
#include "tresk_extend.h"

#include <algorithm>
#include <array>
#include <optional>

namespace tresk::devctl {

namespace {

constexpr std::uint32_t kLastUsbType = 21;
constexpr int kPresentAlready = -100;
/// Every permission that a policy can be changed to.
constexpr std::array<int, 3> kPermissions = {1, 2, 5};

enum class Action { add, remove, replace };

/// One of the edits of a single policy: what it does, and the formats of its failures.
struct PolicyEdit {
    const char* function;
    Action action;
    const char* dtype_too_high;
    const char* utype_too_high;
    const char* unmapped_type;
    const char* type_refused;
    const char* product_refused;
    const char* invalid;
};

constexpr PolicyEdit kAdd = {
    "tresk_devctl_add_perm",
    Action::add,
    "%s: device type is not exist\n",
    "%s: usb device type is not exist\n",
    "failed to add devctl policy: invalid scene devctl dtype %d\n",
    "failed to add devctl type policy: ret=%d\n",
    "failed to add devctl pvid policy: ret=%d\n",
    "failed to add devctl pvid policy: invalid policy, "
    "dtype=%d, utype=%d, dpid=%d, dvid=%d, serial=%s, display_name=%s, dperm=%d\n",
};

constexpr PolicyEdit kRemove = {
    "tresk_devctl_remove_perm",
    Action::remove,
    "%s: device type is not exist\n",
    "%s: usb device type is not exist\n",
    "failed to remove devctl policy: invalid scene devctl dtype %d\n",
    "failed to remove devctl type policy: ret=%d\n",
    "failed to remove devctl pvid policy: ret=%d\n",
    "failed to remove devctl pvid policy: invalid policy, "
    "dtype=%d, utype=%d, dpid=%d, dvid=%d, serial=%s, dperm=%d\n",
};

constexpr PolicyEdit kUpdate = {
    "tresk_devctl_update_perm",
    Action::replace,
    "failed to update devctl policy: invalid dtype %d\n",
    "failed to update devctl policy: invalid utype %d\n",
    "failed to update devctl policy: invalid scene devctl dtype %d\n",
    "failed to update devctl type policy: ret=%d\n",
    "failed to update devctl pvid policy: ret=%d\n",
    "failed to update devctl pvid policy: invalid policy, "
    "dtype=%d, utype=%d, dpid=%d, dvid=%d, serial=%s, display_name=%s, dperm=%d\n",
};

/// What a caller wants of a policy.
struct Request {
    std::uint32_t dtype;
    std::uint32_t utype;
    std::uint32_t dpid;
    std::uint32_t dvid;
    std::uint32_t record_utype; ///< that a policy by product goes by
    const char* serial;
    const char* display_name;
    int dperm;
};

/// The logged formats show every number as a signed one.
constexpr std::int32_t shown(std::uint32_t number) noexcept
{
    return static_cast<std::int32_t>(number);
}

constexpr const char* shown(const char* text) noexcept
{
    return text == nullptr ? "(null)" : text;
}

bool check_range(const PolicyEdit& edit, std::uint32_t value, std::uint32_t last, const char* too_high)
{
    if (value <= last) {
        return true;
    }
    if (edit.action == Action::replace) {
        log_error(kSource, edit.function, too_high, shown(value));
    } else {
        log_error(kSource, edit.function, too_high, edit.function);
    }
    return false;
}

/// A policy has the permission that it was last given, and no other.
template <class Record>
void remove_other_permissions(const SceneEdits<Record>& scene, const Record& record)
{
    for (const int perm : kPermissions) {
        if (static_cast<std::uint32_t>(perm) != record.perm) {
            Record other = record;
            other.perm = static_cast<std::uint32_t>(perm);
            (void)scene.remove(&other, 1); // most policies never had it
        }
    }
}

template <class Record>
int change_scene(const PolicyEdit& edit, const SceneEdits<Record>& scene, Record record, const char* refused)
{
    const int answer = (edit.action == Action::remove ? scene.remove : scene.add)(&record, 1);
    const bool settled = edit.action == Action::replace && answer == kPresentAlready;
    if (answer != 0 && !settled) {
        log_error(kSource, edit.function, refused, answer);
        return kFailed;
    }
    if (edit.action == Action::replace) {
        remove_other_permissions(scene, record);
    }
    return 0;
}

int edit_type(const PolicyEdit& edit, const Request& request)
{
    const std::optional<SceneType> type = scene_type(request.dtype);
    if (!type) {
        log_error(kSource, edit.function, edit.unmapped_type, shown(request.dtype));
        return kFailed;
    }
    const type_record record = {type->device_class, type->subtype, static_cast<std::uint32_t>(request.dperm)};
    return change_scene(edit, kTypes, record, edit.type_refused);
}

int edit_product(const PolicyEdit& edit, const Request& request)
{
    pvid_record record = {
        request.record_utype, request.dpid, request.dvid, {}, static_cast<std::uint32_t>(request.dperm), {}};
    if (request.serial != nullptr) {
        copy_bytes(record.serial, request.serial);
    }
    return change_scene(edit, kProducts, record, edit.product_refused);
}

int refuse(const PolicyEdit& edit, const Request& request)
{
    const auto tell = [&](auto... texts_and_perm) {
        log_error(kSource, edit.function, edit.invalid, shown(request.dtype), shown(request.utype),
                  shown(request.dpid), shown(request.dvid), texts_and_perm...);
    };
    if (edit.action == Action::remove) { // the one without a display name
        tell(shown(request.serial), request.dperm);
    } else {
        tell(shown(request.serial), shown(request.display_name), request.dperm);
    }
    return kFailed;
}

int edit_policy(const PolicyEdit& edit, const Request& request)
{
    if (!check_range(edit, request.dtype, kLastType, edit.dtype_too_high) ||
        !check_range(edit, request.utype, kLastUsbType, edit.utype_too_high)) {
        return kFailed;
    }
    switch (kind_of(request.dtype, request.dpid, request.dvid)) {
    case PolicyKind::type:
        return edit_type(edit, request);
    case PolicyKind::product:
        return edit_product(edit, request);
    case PolicyKind::invalid:
        break;
    }
    return refuse(edit, request);
}

int update_policy(const Request& request)
{
    if (std::find(kPermissions.begin(), kPermissions.end(), request.dperm) == kPermissions.end()) {
        log_error(kSource, kUpdate.function, "failed to update devctl policy policy: invalid perm value %d\n",
                  request.dperm);
        return kFailed;
    }
    return edit_policy(kUpdate, request);
}

} // namespace

} // namespace tresk::devctl

using namespace tresk;

TRESK_EXPORT int tresk_devctl_add_perm(uint32_t dtype, uint32_t utype, uint32_t dpid, uint32_t dvid,
                                       uint32_t record_utype, const char* serial, const char* display_name,
                                       int dperm)
{
    return at_edge(devctl::kFailed, [&] {
        return devctl::edit_policy(devctl::kAdd,
                                   {dtype, utype, dpid, dvid, record_utype, serial, display_name, dperm});
    });
}

TRESK_EXPORT int tresk_devctl_remove_perm(uint32_t dtype, uint32_t utype, uint32_t dpid, uint32_t dvid,
                                          const char* serial, int dperm)
{
    return at_edge(devctl::kFailed, [&] {
        return devctl::edit_policy(devctl::kRemove,
                                   {dtype, utype, dpid, dvid, utype, serial, nullptr, dperm});
    });
}

TRESK_EXPORT int tresk_devctl_update_perm(uint32_t dtype, uint32_t utype, uint32_t dpid, uint32_t dvid,
                                          const char* serial, const char* display_name, int dperm)
{
    return at_edge(devctl::kFailed, [&] {
        return devctl::update_policy({dtype, utype, dpid, dvid, utype, serial, display_name, dperm});
    });
}
