// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One process that makes very many calls of all families against the stand-ins, and looks at itself from time
// to time: descriptors and threads have to stay what they were, and memory must not grow.
//
//   soak [--calls N] [--seed S] [--leak descriptor|memory EVERY]
//
// The calls are made in portions, each on a thread of its own, so that what a thread leaves behind counts
// too. The first tenth warms up; from then on a sample is taken after portions. Memory grows when the
// straight line through the samples rises by more than a bound over the whole run, however many calls it has.
// Status 0: nothing grew; 1: something did; 2: wrong usage; 3: a call gave an impossible answer, or the
// policies could not be made.
//
// With --leak every EVERY-th call loses a descriptor or a kilobyte, which the program has to notice.
#include "common/framework.h"
#include "common/handles.h"
#include "tests/threads/calls.h"
#include "tests/threads/growth.h"
#include "tests/threads/process_state.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

// The array behind the listing of wireless networks is the scene library's, who keeps it. The stand-in gives
// a new one at each call, so this program keeps it for the stand-in, and releases it when the next one comes.
extern "C" __attribute__((visibility("default"))) netcard_record* tresk_scene_get_devctl_netcard(int* count)
{
    using Getter = netcard_record* (*)(int*);
    static const auto stand_in =
        reinterpret_cast<Getter>(::dlsym(RTLD_NEXT, "tresk_scene_get_devctl_netcard"));
    thread_local tresk::Malloced<netcard_record> kept;
    kept.reset(stand_in(count));
    return kept.get();
}

namespace tresk::test {

namespace {

/// How many of a million calls are of which cost: what costs much comes seldom, so that ten million calls end
/// within the hour. Within a cost all functions come equally often.
struct Share {
    Cost cost;
    const char* name;
    int of_million;
};

constexpr Share kMix[] = {
    {Cost::plain, "plain", 0}, // the rest
    {Cost::reader, "reader", 150'000}, {Cost::scene, "scene", 80'000}, {Cost::bus, "bus", 22'000},
    {Cost::kernel, "kernel", 11'000},  {Cost::shell, "shell", 100},
};
constexpr int kMillion = 1'000'000;

/// What the line through the samples may rise by from the end of the warming-up to the end of the run. An
/// allocator's own upkeep moves within this; a leak of one byte in forty calls does not, in ten million
/// calls.
constexpr double kHeapBound = 256.0 * 1024;
constexpr double kResidentBound = 1024.0 * 1024;
/// For each call of the service: GLib loses the watch of a socket, some 400 bytes, at one connection in a
/// hundred that are let go of. This allows for two.
constexpr double kLostByGlib = 8;
constexpr long kFewestSamples = 20;
constexpr long kMostSamples = 200;
constexpr long kCallsOfASample = 5000;
constexpr std::size_t kLeakedBytes = 1024;

enum class Leak { none, descriptor, memory };

struct Options {
    long calls = 10'000'000;
    unsigned seed = 1;
    Leak leak = Leak::none;
    long leak_every = 1;
};

struct WrongUsage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

long positive(const char* text)
{
    const long number = text == nullptr ? 0 : std::strtol(text, nullptr, 10);
    if (number <= 0) {
        throw WrongUsage("a positive number is missing");
    }
    return number;
}

Leak leak_named(const char* text)
{
    const std::string_view name = text == nullptr ? "" : text;
    if (name != "descriptor" && name != "memory") {
        throw WrongUsage("--leak takes descriptor or memory");
    }
    return name == "memory" ? Leak::memory : Leak::descriptor;
}

/// @words ends with a null pointer.
Options parsed(char** words)
{
    Options options;
    while (*words != nullptr) {
        const std::string_view option = *words++;
        if (option == "--calls") {
            options.calls = positive(*words++);
        } else if (option == "--seed") {
            options.seed = static_cast<unsigned>(positive(*words++));
        } else if (option == "--leak") {
            options.leak = leak_named(*words++);
            options.leak_every = positive(*words++);
        } else {
            throw WrongUsage("unknown option " + std::string(option));
        }
    }
    return options;
}

/// Draws calls by the mix.
class Draw {
  public:
    Draw()
    {
        for (const Share& share : kMix) {
            by_cost_[share.cost] = calls_of(share.cost);
        }
    }

    const Call& one(Random& random) const
    {
        const std::vector<const Call*>& calls = by_cost_.at(cost(random));
        return *calls[random() % calls.size()];
    }

  private:
    static Cost cost(Random& random)
    {
        int left = std::uniform_int_distribution<int>(0, kMillion - 1)(random);
        for (const Share& share : kMix) {
            if (left < share.of_million) {
                return share.cost;
            }
            left -= share.of_million;
        }
        return Cost::plain;
    }

    std::map<Cost, std::vector<const Call*>> by_cost_;
};

std::string state_file(const char* name)
{
    const char* folder = std::getenv("TRESK_STANDIN_STATE");
    return std::string(folder == nullptr ? "/nowhere" : folder) + "/" + name;
}

class Soak {
  public:
    explicit Soak(const Options& options) : options_(options), random_(options.seed) {}

    int run()
    {
        if (!prepare_policies()) {
            (void)std::fputs("soak: the policies could not be made\n", stderr);
            return 3;
        }
        const long warming = std::max(options_.calls / 10, 1L);
        begin_ = std::chrono::steady_clock::now();
        call_portion(warming);
        first_ = state_at_rest();
        const long samples = std::clamp(options_.calls / kCallsOfASample, kFewestSamples, kMostSamples);
        heap_.reserve(kMostSamples + 1);
        resident_.reserve(kMostSamples + 1);
        const long portion = std::max((options_.calls - warming) / samples, 1L);
        for (long done = 0; done < options_.calls - warming && goes_on(); done += portion) {
            call_portion(portion);
            look();
        }
        return verdict();
    }

  private:
    /// What is lost or wrong once will be no better in the end.
    [[nodiscard]] bool goes_on() const
    {
        return wrong_.empty() && most_descriptors_ <= first_.descriptors && most_threads_ <= first_.threads;
    }

    void call_portion(long count)
    {
        std::thread([this, count] {
            for (long i = 0; i < count && wrong_.empty(); ++i) {
                call_once();
            }
        }).join();
        tidy_up();
    }

    void call_once()
    {
        const Call& call = draw_.one(random_);
        const std::string answer = call.make(random_);
        if (!call.may_answer(answer)) {
            wrong_ = std::string(call.symbol) + ": " + answer;
        }
        ++made_[call.cost];
        if (++calls_ % options_.leak_every == 0) {
            leak();
        }
    }

    void leak()
    {
        if (options_.leak == Leak::descriptor) {
            (void)!::open("/dev/null", O_RDONLY | O_CLOEXEC);
        } else if (options_.leak == Leak::memory) {
            leaked_ = std::malloc(kLeakedBytes);
        }
    }

    /// What the stand-ins write down fills the memory that their files are in, and a long listing of devices
    /// needs more than a short one.
    static void tidy_up()
    {
        for (const char* log : {"service.log", "kernel.log", "framework.log"}) {
            (void)!::truncate(state_file(log).c_str(), 0);
        }
        std::filesystem::remove("/etc/tresk/db/whlist.db");
        if (insert_seen_device() != 0) {
            throw std::runtime_error("no device could be recorded");
        }
    }

    void look()
    {
        const ProcessState now = state_at_rest(first_);
        const auto at = static_cast<double>(calls_);
        heap_.push_back({at, static_cast<double>(now.heap)});
        resident_.push_back({at, static_cast<double>(now.resident)});
        most_descriptors_ = std::max(most_descriptors_, now.descriptors);
        most_threads_ = std::max(most_threads_, now.threads);
        if (heap_.size() % 10 == 0) {
            report(now);
        }
    }

    void report(const ProcessState& now) const
    {
        (void)std::fprintf(stderr,
                           "%10ld calls %6.0f s: %td descriptors, %td threads, heap %zu, resident %zu\n",
                           calls_, seconds(), now.descriptors, now.threads, now.heap, now.resident);
    }

    [[nodiscard]] double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
    }

    /// Says what came of one value; true where it did not grow.
    static bool is_flat(const char* what, double growth, double bound)
    {
        const bool flat = growth <= bound;
        (void)std::printf("%s: grew by %.0f, bound %.0f: %s\n", what, growth, bound, flat ? "flat" : "GROWS");
        return flat;
    }

    int verdict() const
    {
        (void)std::printf("calls: %ld in %.0f s:", calls_, seconds());
        for (const Share& share : kMix) {
            const auto made = made_.find(share.cost);
            (void)std::printf(" %s %ld", share.name, made == made_.end() ? 0L : made->second);
        }
        (void)std::printf("\n");
        if (!wrong_.empty()) {
            (void)std::printf("an impossible answer: %s\n", wrong_.c_str());
            return 3;
        }
        bool flat = is_flat("descriptors", static_cast<double>(most_descriptors_ - first_.descriptors), 0);
        flat = is_flat("threads", static_cast<double>(most_threads_ - first_.threads), 0) && flat;
        if (kMemoryTells) {
            flat = is_flat("heap bytes", growth_over(heap_), kHeapBound + lost_by_glib()) && flat;
            flat = is_flat("resident bytes", growth_over(resident_), kResidentBound) && flat;
        }
        return flat ? 0 : 1;
    }

    [[nodiscard]] double lost_by_glib() const
    {
        const auto calls = made_.find(Cost::bus);
        return calls == made_.end() ? 0 : kLostByGlib * static_cast<double>(calls->second);
    }

#ifdef TRESK_SANITIZED
    /// A sanitizer's allocator keeps what is released, and knows leaks its own way.
    static constexpr bool kMemoryTells = false;
#else
    static constexpr bool kMemoryTells = true;
#endif

    Options options_;
    Random random_;
    Draw draw_;
    long calls_ = 0;
    std::map<Cost, long> made_;
    std::string wrong_;
    void* volatile leaked_ = nullptr;
    ProcessState first_;
    std::ptrdiff_t most_descriptors_ = 0;
    std::ptrdiff_t most_threads_ = 0;
    std::vector<Sample> heap_;
    std::vector<Sample> resident_;
    std::chrono::steady_clock::time_point begin_;
};

int soak(char** words)
{
    try {
        return Soak(parsed(words)).run();
    } catch (const WrongUsage& usage) {
        (void)std::fprintf(stderr,
                           "soak: %s\nusage: soak [--calls N] [--seed S] [--leak descriptor|memory EVERY]\n",
                           usage.what());
        return 2;
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "soak: %s\n", failure.what());
        return 3;
    }
}

} // namespace

} // namespace tresk::test

/// Starts the program anew without what the allocators of the C library and of GLib keep for later for each
/// thread: that fills up over millions of calls and would look like growth.
void start_without_caches(char** argv)
{
    constexpr char tunables[] = "GLIBC_TUNABLES";
    if (std::getenv(tunables) == nullptr) {
        ::setenv(tunables, "glibc.malloc.tcache_count=0", 1);
        ::setenv("G_SLICE", "always-malloc", 1);
        ::execv("/proc/self/exe", argv);
    }
}

int main(int /*argc*/, char** argv)
{
    start_without_caches(argv);
    return tresk::test::soak(argv + 1);
}
