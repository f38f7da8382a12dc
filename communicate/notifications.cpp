// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What tools call after they changed a policy: each family builds its content, passes its gates and sends one
// message. Types are the module's numbers, chosen by the caller.
#include "common/edge.h"
#include "communicate/hash_payload.h"
#include "communicate/kernel_channel.h"
#include "communicate/kernel_message.h"
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
constexpr char kNoExtra[] = "";
/// The most bytes of a hash that is sent as it is.
constexpr std::size_t kBareHashBytes = 65;
/// The most bytes of a module's name that are counted. A message holds fewer: see kernel_message.h.
constexpr std::size_t kModuleNameCounted = 1024;

/// The message type that makes the kernel forget a module, and the gate's answer that lets it through.
constexpr std::uint32_t kForgetModule = 8;
constexpr int kMayBeDeleted = 1;

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

int send_bytes(std::uint32_t type, const void* data, std::size_t count)
{
    return tresk_communicate_with_kernel(static_cast<int>(type), data, static_cast<int>(count));
}

int send_hash(std::uint32_t type, const char* hash, std::uint32_t value)
{
    const HashPayload payload = make_hash_payload(hash, value);
    return send_bytes(type, payload.data(), payload.size());
}

/// Sends @text without its terminator, at most @most bytes.
int send_text(std::uint32_t type, const char* text, std::size_t most)
{
    return send_bytes(type, text, ::strnlen(text, most));
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

int notify_devctl(std::uint32_t type, const void* data, std::uint32_t bytes)
{
    return data == nullptr || bytes > kPayloadBytes ? -1 : send_bytes(type, data, bytes);
}

int notify_kmod(std::uint32_t type, const char* name, int mode, const char* extra)
{
    if (name == nullptr) {
        return -1;
    }
    if (type == kForgetModule) {
        const int answer =
            tresk_xattr_check_kmod_del_from_kernel(name, static_cast<std::uint32_t>(mode), extra);
        if (answer != kMayBeDeleted) {
            return answer;
        }
    }
    return send_text(type, name, kModuleNameCounted);
}

/// An unknown owner, also for want of an answer, is not the "sm" side.
int notify_kmod_unless_of_sm(std::uint32_t type, const char* name)
{
    return check_kmod_in_sm(name) == 0 ? leave_sm_data_alone()
                                       : notify_kmod(type, name, kOrdinaryMode, kNoExtra);
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
                   [&] { return send_text(type, entry.hash, kBareHashBytes); });
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

TRESK_EXPORT int tresk_devctl_communicate_with_kernel(uint32_t type, const void* data, uint32_t len)
{
    return at_edge(-1, [&] { return notify_devctl(type, data, len); });
}

TRESK_EXPORT int tresk_kmod_communicate_with_kernel_zdk(uint32_t type, const char* name, int mode,
                                                        const char* extra)
{
    return at_edge(-1, [&] { return notify_kmod(type, name, mode, extra); });
}

TRESK_EXPORT int tresk_kmod_communicate_with_kernel(uint32_t type, const char* name)
{
    return at_edge(-1, [&] { return notify_kmod_unless_of_sm(type, name); });
}

TRESK_EXPORT int tresk_kmod_communicate_with_kernel_sm(uint32_t type, const char* name)
{
    return tresk_kmod_communicate_with_kernel_zdk(type, name, kSmMode, kNoExtra);
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
