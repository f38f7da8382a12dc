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

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace tresk {

namespace {

constexpr int kKernelTooOld = -2;
constexpr int kOrdinaryMode = 0;
constexpr int kSmMode = 1;
constexpr int kUsualSourceType = 1;
constexpr char kNoSource[] = "";
/// The most bytes of a hash that is sent as it is.
constexpr std::size_t kBareHashBytes = 65;

constexpr SharedHashGuard kPproGuard = {
    .guarded_type = 10,
    .exists = entry_exists<tresk_ppro_read_node_with_hash_zdk>,
    .count = tresk_ppro_get_same_node_by_hash,
    .count_failure = "ppro get same node count by hash failed!, hash=%s\n",
};

constexpr SharedHashGuard kPblkGuard = {
    .guarded_type = 20,
    .exists = entry_exists<tresk_pblk_read_node_with_hash_zdk>,
    .count = tresk_pblk_get_same_node_by_hash,
    .count_failure = "pblk get same node count by path hash!\n",
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

int send_bare_hash(std::uint32_t type, const char* hash)
{
    return tresk_communicate_with_kernel(static_cast<int>(type), hash,
                                         static_cast<int>(::strnlen(hash, kBareHashBytes)));
}

/// What @send gives where the guard lets the message through.
template <class Send>
int send_if(Verdict verdict, Send send)
{
    if (verdict == Verdict::send) {
        return send();
    }
    return verdict == Verdict::failed ? -1 : 0;
}

int notify_hash(std::uint32_t type, const char* hash, std::uint32_t value)
{
    return hash == nullptr ? -1 : send_hash(type, hash, value);
}

int notify_netctl(std::uint32_t type, const char* hash, std::uint32_t value)
{
    if (hash == nullptr) {
        return -1;
    }
    return passes(kNetctlVersionGate, "tresk_netctl_communicate_with_kernel") ? send_hash(type, hash, value)
                                                                              : kKernelTooOld;
}

int notify_pblk(std::uint32_t type, const HashedEntry& entry)
{
    constexpr char function[] = "tresk_pblk_communicate_with_kernel_zdk";
    if (entry.hash == nullptr) {
        return -1;
    }
    if (!passes(kPblkVersionGate, function)) {
        return kKernelTooOld;
    }
    return send_if(ask_guard(kPblkGuard, type, function, entry),
                   [&] { return send_bare_hash(type, entry.hash); });
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
    return send_if(ask_guard(kPproGuard, type, function, entry),
                   [&] { return send_hash(type, entry.hash, value); });
}

} // namespace

} // namespace tresk

using namespace tresk;

TRESK_EXPORT int tresk_hash_communicate_with_kernel(uint32_t type, const char* hash, uint32_t value)
{
    return at_edge(-1, [&] { return notify_hash(type, hash, value); });
}

TRESK_EXPORT int tresk_netctl_communicate_with_kernel(uint32_t type, const char* hash, uint32_t value)
{
    return at_edge(-1, [&] { return notify_netctl(type, hash, value); });
}

TRESK_EXPORT int tresk_pblk_communicate_with_kernel_zdk(uint32_t type, const char* hash, int mode,
                                                        const char* data_source)
{
    return at_edge(-1, [&] { return notify_pblk(type, {hash, mode, data_source}); });
}

TRESK_EXPORT int tresk_pblk_communicate_with_kernel(uint32_t type, const char* hash)
{
    return tresk_pblk_communicate_with_kernel_zdk(type, hash, kUsualSourceType, kNoSource);
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
