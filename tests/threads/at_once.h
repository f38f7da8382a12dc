// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Work that many threads begin at the same moment and have to end before a deadline, and processes that do
// so.
#ifndef TRESK_TESTS_THREADS_AT_ONCE_H
#define TRESK_TESTS_THREADS_AT_ONCE_H

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>

namespace tresk::test {

/// What a thread is about, for the report of a deadlock.
using Doing = std::atomic<const char*>;

/// Runs @work(number, doing) on @threads threads that set out together. A work that has not ended by the
/// deadline is a deadlock: what each thread was doing is said, and the process aborts.
void run_at_once(int threads, std::chrono::seconds deadline,
                 const std::function<void(int number, Doing& doing)>& work);

/// A child process that shares nothing with this one but what is mapped so; call while this process has one
/// thread. Its exit status is @body's; it is killed when it has not ended by the deadline. A sanitizer's
/// report is another status.
pid_t start_child(std::chrono::seconds deadline, const std::function<int()>& body);

/// How the child ended: "" for status 0, else what it was.
std::string ending_of_child(pid_t child);

/// The number that the environment has under @name, else @usual.
int number_from_environment(const char* name, int usual);

} // namespace tresk::test

#endif
