// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/threads/process_state.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace tresk::test {

namespace {

std::ptrdiff_t entries_of(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

std::size_t resident_bytes()
{
    std::ifstream pages("/proc/self/statm");
    std::size_t whole = 0;
    std::size_t resident = 0;
    pages >> whole >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

ProcessState state_now()
{
    const struct mallinfo2 heap = ::mallinfo2();
    return {entries_of("/proc/self/fd"), entries_of("/proc/self/task"), heap.uordblks + heap.hblkhd,
            resident_bytes()};
}

} // namespace

ProcessState state_at_rest()
{
    constexpr int looks_without_change = 20;
    ProcessState least = state_now();
    for (int unchanged = 0; unchanged < looks_without_change; ++unchanged) {
        std::this_thread::yield();
        const ProcessState now = state_now();
        if (now.descriptors < least.descriptors || now.threads < least.threads) {
            unchanged = 0;
        }
        least.descriptors = std::min(least.descriptors, now.descriptors);
        least.threads = std::min(least.threads, now.threads);
    }
    return least;
}

ProcessState state_at_rest(const ProcessState& before)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(5);
    ProcessState now = state_at_rest();
    while ((now.descriptors > before.descriptors || now.threads > before.threads) &&
           Clock::now() < deadline) {
        now = state_at_rest();
    }
    return now;
}

} // namespace tresk::test
