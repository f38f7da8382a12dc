// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The kernel channel. An exchange that took its whole second because the machine is busy fails; that answer
// is "late", and none that came earlier may fail.
#include "tests/threads/call_parts.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>

namespace tresk::test {

namespace {

constexpr std::uint32_t kType = 9;
constexpr std::uint32_t kGuardedProtection = 10;
constexpr std::uint32_t kGuardedBlocking = 20;

template <class Exchange>
std::string exchanged(Exchange exchange)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    const int result = exchange();
    return result == -1 && Clock::now() - begin >= std::chrono::seconds(1) ? "late" : shown(result);
}

std::uint32_t type_of(Random& random, std::uint32_t guarded)
{
    return between(random, 0, 1) == 0 ? kType : guarded;
}

} // namespace

std::vector<Call> kernel_calls()
{
    constexpr Family kernel = Family::kernel;
    return {
        {"get_tid",
         kernel,
         Cost::plain,
         [](Random&) { return right(get_tid() == ::syscall(SYS_gettid)); },
         {"right"}},
        {"tresk_hash_communicate_with_kernel",
         kernel,
         Cost::kernel,
         [](Random& random) {
             return exchanged(
                 [&] { return tresk_hash_communicate_with_kernel(kType, any_program(random).hash, 1); });
         },
         {"0", "late"}},
        {"tresk_netctl_communicate_with_kernel",
         kernel,
         Cost::kernel,
         [](Random& random) {
             return exchanged(
                 [&] { return tresk_netctl_communicate_with_kernel(kType, any_program(random).hash, 1); });
         },
         {"0", "late"}},
        {"tresk_pblk_communicate_with_kernel_zdk",
         kernel,
         Cost::kernel,
         [](Random& random) {
             return exchanged([&] {
                 return tresk_pblk_communicate_with_kernel_zdk(
                     type_of(random, kGuardedBlocking), any_program(random).hash, kSourceType, kSource);
             });
         },
         {"0", "late"}},
        {"tresk_pblk_communicate_with_kernel",
         kernel,
         Cost::kernel,
         [](Random& random) {
             return exchanged([&] {
                 return tresk_pblk_communicate_with_kernel(type_of(random, kGuardedBlocking),
                                                           any_program(random).hash);
             });
         },
         {"0", "late"}},
        {"tresk_ppro_communicate_with_kernel_zdk",
         kernel,
         Cost::kernel,
         [](Random& random) {
             return exchanged([&] {
                 return tresk_ppro_communicate_with_kernel_zdk(type_of(random, kGuardedProtection),
                                                               any_program(random).hash, 1, 0, kSource);
             });
         },
         {"0", "late"}},
        {"tresk_ppro_communicate_with_kernel",
         kernel,
         Cost::kernel,
         [](Random& random) {
             return exchanged([&] {
                 return tresk_ppro_communicate_with_kernel(type_of(random, kGuardedProtection),
                                                           any_program(random).hash, 1);
             });
         },
         {"0", "late"}},
        {"tresk_ppro_communicate_with_kernel_sm",
         kernel,
         Cost::kernel,
         [](Random& random) {
             return exchanged([&] {
                 return tresk_ppro_communicate_with_kernel_sm(type_of(random, kGuardedProtection),
                                                              any_program(random).hash, 1);
             });
         },
         {"0", "late"}},
        {"tresk_kmod_communicate_with_kernel_zdk",
         kernel,
         Cost::kernel,
         [](Random&) {
             return exchanged([] { return tresk_kmod_communicate_with_kernel_zdk(kType, "module", 0, ""); });
         },
         {"0", "late"}},
        {"tresk_kmod_communicate_with_kernel",
         kernel,
         Cost::bus,
         [](Random&) {
             return exchanged([] { return tresk_kmod_communicate_with_kernel(kType, "module"); });
         },
         {"0", "late"}},
        {"tresk_kmod_communicate_with_kernel_sm",
         kernel,
         Cost::kernel,
         [](Random&) {
             return exchanged([] { return tresk_kmod_communicate_with_kernel_sm(kType, "module"); });
         },
         {"0", "late"}},
        {"tresk_devctl_communicate_with_kernel",
         kernel,
         Cost::kernel,
         [](Random&) {
             return exchanged([] { return tresk_devctl_communicate_with_kernel(kType, "bytes", 5); });
         },
         {"0", "late"}},
        {"tresk_convert_exectl_label_to_label_type",
         kernel,
         Cost::plain,
         [](Random&) { return shown(tresk_convert_exectl_label_to_label_type("script")); },
         {"7"}},
    };
}

} // namespace tresk::test
