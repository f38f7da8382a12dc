// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What tools call after they changed a policy: each family builds its content, passes its gates and sends one
// message. Types are the module's numbers, chosen by the caller.
#include "common/edge.h"
#include "communicate/hash_payload.h"
#include "communicate/kernel_channel.h"
#include "communicate/shared_hash_guard.h"
#include "communicate/version_gate.h"
#include "tresk_extend.h"

#include <cstdio>

namespace tresk {

namespace {

constexpr int kKernelTooOld = -2;
constexpr int kOrdinaryMode = 0;
constexpr int kSmMode = 1;
constexpr char kNoSource[] = "";

constexpr SharedHashGuard kPproGuard = {
    .guarded_type = 10,
    .exists = entry_exists<tresk_ppro_read_node_with_hash_zdk>,
    .count = tresk_ppro_get_same_node_by_hash,
    .count_failure = "ppro get same node count by hash failed!, hash=%s\n",
};

/// An ordinary caller's success: it may not know more about the "sm" side's entries.
int leave_sm_data_alone()
{
    (void)std::puts("no permission to change sm data.");
    return 0;
}

int send_hash(std::uint32_t type, const char* hash, std::uint32_t value)
{
    const HashPayload payload = make_hash_payload(hash, value);
    return tresk_communicate_with_kernel(static_cast<int>(type), payload.data(),
                                         static_cast<int>(payload.size()));
}

int notify_hash(std::uint32_t type, const char* hash, std::uint32_t value)
{
    return hash == nullptr ? -1 : send_hash(type, hash, value);
}

int notify_ppro(std::uint32_t type, const HashedEntry& entry, std::uint32_t value)
{
    constexpr char function[] = "tresk_ppro_communicate_with_kernel_zdk";
    if (entry.hash == nullptr) {
        return -1;
    }
    if (tresk_ppro_check_in_sm(entry.hash) == 0 && entry.mode != kSmMode) {
        return leave_sm_data_alone();
    }
    if (!passes(kPproVersionGate, function)) {
        return kKernelTooOld;
    }
    const Verdict verdict = ask_guard(kPproGuard, type, function, entry);
    if (verdict == Verdict::send) {
        return send_hash(type, entry.hash, value);
    }
    return verdict == Verdict::failed ? -1 : 0;
}

} // namespace

} // namespace tresk

using namespace tresk;

TRESK_EXPORT int tresk_hash_communicate_with_kernel(uint32_t type, const char* hash, uint32_t value)
{
    return at_edge(-1, [&] { return notify_hash(type, hash, value); });
}

TRESK_EXPORT int tresk_ppro_communicate_with_kernel_zdk(uint32_t type, const char* hash, uint32_t value,
                                                        int mode, const char* data_source)
{
    return at_edge(-1, [&] { return notify_ppro(type, {hash, mode, data_source}, value); });
}

TRESK_EXPORT int tresk_ppro_communicate_with_kernel(uint32_t type, const char* hash, uint32_t value)
{
    return tresk_ppro_communicate_with_kernel_zdk(type, hash, value, kOrdinaryMode, kNoSource);
}

TRESK_EXPORT int tresk_ppro_communicate_with_kernel_sm(uint32_t type, const char* hash, uint32_t value)
{
    return tresk_ppro_communicate_with_kernel_zdk(type, hash, value, kSmMode, kNoSource);
}
