// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Against the sandbox's kernel peer. The guarded types are taken where there is a guard, so that the policy
// is read as well.
#include "tests/faults/row.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace tresk::test {

namespace {

constexpr std::uint32_t kForgetPpro = 10;
constexpr std::uint32_t kForgetPblk = 20;
constexpr std::uint32_t kAnyType = 9;
/// Of no entry, so that the guard lets the message through.
constexpr char kHash[] = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

Came by_exchange(int result)
{
    return by_result(result, 0, -1);
}

} // namespace

FAULT_ROW(get_tid) = {.call = [] { return verdict(get_tid() == ::syscall(SYS_gettid), false); }};
FAULT_ROW(tresk_hash_communicate_with_kernel) = {
    .call = [] { return by_exchange(tresk_hash_communicate_with_kernel(kAnyType, kHash, 1)); },
    .cold_too = true,
};
FAULT_ROW(tresk_ppro_communicate_with_kernel_zdk) = {
    .call = [] { return by_exchange(tresk_ppro_communicate_with_kernel_zdk(kForgetPpro, kHash, 1, 0, "s")); },
};
FAULT_ROW(tresk_ppro_communicate_with_kernel) = {
    .call = [] { return by_exchange(tresk_ppro_communicate_with_kernel(kAnyType, kHash, 1)); },
};
FAULT_ROW(tresk_ppro_communicate_with_kernel_sm) = {
    .call = [] { return by_exchange(tresk_ppro_communicate_with_kernel_sm(kAnyType, kHash, 1)); },
};
FAULT_ROW(tresk_netctl_communicate_with_kernel) = {
    .call = [] { return by_exchange(tresk_netctl_communicate_with_kernel(kAnyType, kHash, 1)); },
};
FAULT_ROW(tresk_pblk_communicate_with_kernel_zdk) = {
    .call = [] { return by_exchange(tresk_pblk_communicate_with_kernel_zdk(kForgetPblk, kHash, 5, "s")); },
};
FAULT_ROW(tresk_pblk_communicate_with_kernel) = {
    .call = [] { return by_exchange(tresk_pblk_communicate_with_kernel(kAnyType, kHash)); },
};
FAULT_ROW(tresk_kmod_communicate_with_kernel_zdk) = {
    .call = [] { return by_exchange(tresk_kmod_communicate_with_kernel_zdk(kAnyType, "module", 0, "")); },
};
FAULT_ROW(tresk_kmod_communicate_with_kernel) = {
    .call = [] { return by_exchange(tresk_kmod_communicate_with_kernel(kAnyType, "module")); },
    .methods = {{"tresk_xattr_protect_check_kmod_in_sm"}},
    .needs_service = false,
};
FAULT_ROW(tresk_kmod_communicate_with_kernel_sm) = {
    .call = [] { return by_exchange(tresk_kmod_communicate_with_kernel_sm(kAnyType, "module")); },
};
FAULT_ROW(tresk_devctl_communicate_with_kernel) = {
    .call = [] { return by_exchange(tresk_devctl_communicate_with_kernel(kAnyType, "bytes", 5)); },
};
FAULT_ROW(tresk_convert_exectl_label_to_label_type) = {
    .call = [] { return by_result(tresk_convert_exectl_label_to_label_type("script"), 7, 7); },
};

} // namespace tresk::test
