// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Adding many device policies at once, and the edits by type in the scene's own numbers.
#include "common/edge.h"
#include "devctl/device_policy.h"
#include "devctl/device_scene.h"
#include "devctl/device_types.h"
#include "tresk_extend.h"

#include <cstring>
#include <optional>
#include <span>
#include <vector>

namespace tresk::devctl {

namespace {

/// The records of a batch, which the scene takes as two arrays.
struct Batch {
    std::vector<type_record> types;
    std::vector<pvid_record> products;
};

type_record type_record_of(const tresk_device_policy& policy)
{
    const std::optional<SceneType> type = scene_type(policy.dtype);
    if (!type) {
        return {}; // kept: it counts all the same
    }
    return {type->device_class, type->subtype, static_cast<std::uint32_t>(policy.dperm)};
}

pvid_record pvid_record_of(const tresk_device_policy& policy)
{
    pvid_record record = {
        policy.utype, policy.dpid, policy.dvid, {}, static_cast<std::uint32_t>(policy.dperm), {}};
    std::memcpy(record.serial, policy.serial, sizeof(policy.serial));
    record.serial[1] = '\0'; // kept: the serial number is its first character
    return record;
}

PolicyKind kind_of(const tresk_device_policy& policy)
{
    return devctl::kind_of(policy.dtype, policy.dpid, policy.dvid);
}

Batch split(std::span<const tresk_device_policy> policies)
{
    Batch batch;
    // Kept: the first element decides for all.
    const bool takes_products = kind_of(policies.front()) == PolicyKind::product;
    for (const tresk_device_policy& policy : policies) {
        if (kind_of(policy) == PolicyKind::type) {
            batch.types.push_back(type_record_of(policy));
        } else if (takes_products) {
            batch.products.push_back(pvid_record_of(policy));
        }
    }
    return batch;
}

constexpr char kBatchAdd[] = "tresk_devctl_batch_add_perm";

/// The scene is told of an empty array, too.
template <class Record>
bool add_all(const SceneEdits<Record>& scene, std::vector<Record>& records, const char* refused)
{
    const int answer = scene.add(records.data(), static_cast<int>(records.size()));
    if (answer != 0) {
        log_error(kSource, kBatchAdd, refused, kBatchAdd, answer);
    }
    return answer == 0;
}

int add_batch(const tresk_device_policy* policies, int count)
{
    if (policies == nullptr || count < 1) {
        log_error(kSource, kBatchAdd, "%s: data is null or count is negative: %d\n", kBatchAdd, count);
        return kFailed;
    }
    Batch batch = split({policies, static_cast<std::size_t>(count)});
    return add_all(kTypes, batch.types, "%s: failed to add devctl type policy, ret=%d\n") &&
                   add_all(kProducts, batch.products, "%s: failed to add devctl pvid policy, ret=%d\n")
               ? 0
               : kFailed;
}

/// An edit by the scene's own numbers, which says at this level what came of it.
constexpr int kLogResult = 1;

int edit_scene_type(const char* function, int (*change)(type_record*, int), type_record record,
                    const char* format)
{
    const int answer = change(&record, 1);
    log_at(kLogResult, kSource, function, format, function, answer);
    return answer;
}

} // namespace

} // namespace tresk::devctl

using namespace tresk;

TRESK_EXPORT int tresk_devctl_batch_add_perm(const tresk_device_policy* policies, int count)
{
    return at_edge(devctl::kFailed, [&] { return devctl::add_batch(policies, count); });
}

TRESK_EXPORT int tresk_devctl_sm_add_perm(uint32_t device_class, uint32_t subtype, uint32_t perm)
{
    return at_edge(devctl::kFailed, [&] {
        return devctl::edit_scene_type("tresk_devctl_sm_add_perm", devctl::kTypes.add,
                                       {device_class, subtype, perm}, "%s: sm devctl add perm ret = %d\n");
    });
}

TRESK_EXPORT int tresk_devctl_sm_remove_perm(uint32_t device_class, uint32_t subtype, uint32_t perm)
{
    return at_edge(devctl::kFailed, [&] {
        return devctl::edit_scene_type("tresk_devctl_sm_remove_perm", devctl::kTypes.remove,
                                       {device_class, subtype, perm}, "%s: sm devctl remove perm ret = %d\n");
    });
}
