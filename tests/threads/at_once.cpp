// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/threads/at_once.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace tresk::test {

namespace {

/// Counts down the threads that work.
class Working {
  public:
    explicit Working(int threads) : left_(threads) {}

    void one_is_done()
    {
        const std::lock_guard lock(mutex_);
        --left_;
        changed_.notify_all();
    }

    bool end_within(std::chrono::seconds deadline)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, deadline, [this] { return left_ == 0; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int left_;
};

[[noreturn]] void report_deadlock(const std::vector<Doing>& doing)
{
    (void)std::fputs("not done by the deadline; the threads are at\n", stderr);
    for (const Doing& one : doing) {
        const char* what = one.load();
        (void)std::fprintf(stderr, "  %s\n", what == nullptr ? "nothing" : what);
    }
    std::abort();
}

} // namespace

void run_at_once(int threads, std::chrono::seconds deadline,
                 const std::function<void(int number, Doing& doing)>& work)
{
    std::vector<Doing> doing(static_cast<std::size_t>(threads));
    std::atomic<int> ready = 0;
    Working working(threads);
    std::vector<std::thread> all;
    all.reserve(doing.size());
    for (int number = 0; number < threads; ++number) {
        all.emplace_back([&, number] {
            Doing& mine = doing[static_cast<std::size_t>(number)];
            ++ready;
            while (ready < threads) {
                std::this_thread::yield();
            }
            work(number, mine);
            mine = "its end";
            working.one_is_done();
        });
    }
    if (!working.end_within(deadline)) {
        report_deadlock(doing);
    }
    for (std::thread& thread : all) {
        thread.join();
    }
}

pid_t start_child(std::chrono::seconds deadline, const std::function<int()>& body)
{
    (void)std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        ::alarm(static_cast<unsigned>(deadline.count()));
        std::exit(body());
    }
    return child;
}

std::string ending_of_child(pid_t child)
{
    int status = -1;
    pid_t ended = -1;
    do {
        ended = ::waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    if (ended == child && status == 0) {
        return "";
    }
    return WIFSIGNALED(status) ? std::string("signal ") + ::strsignal(WTERMSIG(status))
                               : "status " + std::to_string(WEXITSTATUS(status));
}

int number_from_environment(const char* name, int usual)
{
    const char* text = std::getenv(name);
    return text == nullptr || *text == '\0' ? usual : std::atoi(text);
}

} // namespace tresk::test
