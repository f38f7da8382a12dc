// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bench/library/contest.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>

namespace tresk::bench {

namespace {

using Side = std::function<void()> Contest::*;

struct NamedSide {
    const char* name;
    Side side;
};

constexpr NamedSide kSides[] = {
    {"library", &Contest::library}, {"yardstick", &Contest::yardstick}, {"naive", &Contest::naive}};

/// The seconds of each side's turns.
using Times = std::map<std::string, std::vector<double>>;

/// Collects instead of printing; a run's name ends with its side.
class Collector : public ::benchmark::BenchmarkReporter {
  public:
    explicit Collector(Clock clock) : clock_(clock) {}

    bool ReportContext(const Context& /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            const double unit = ::benchmark::GetTimeUnitMultiplier(run.time_unit);
            const double time = clock_ == Clock::wall ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
            times_[run.run_name.function_name].push_back(time / unit);
        }
    }

    [[nodiscard]] const Times& times() const { return times_; }

  private:
    Clock clock_;
    Times times_;
};

void enter(const char* name, const std::function<void()>& work, std::int64_t calls)
{
    ::benchmark::RegisterBenchmark(name, [&work](::benchmark::State& state) {
        for (auto _ : state) {
            work();
        }
    })->Iterations(calls);
}

/// Turns of all sides, one after the other.
Times measure(const Contest& contest, int turns)
{
    for (int turn = 0; turn < turns; ++turn) {
        for (const NamedSide& each : kSides) {
            if (const std::function<void()>& work = contest.*each.side; work) {
                enter(each.name, work, contest.calls);
            }
        }
    }
    Collector collector(contest.clock);
    ::benchmark::RunSpecifiedBenchmarks(&collector);
    ::benchmark::ClearRegisteredBenchmarks();
    return collector.times();
}

double median(std::vector<double> values)
{
    require(!values.empty(), "nothing was measured");
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double ratio(const std::vector<double>& library, const std::vector<double>& yardstick)
{
    std::vector<double> ratios;
    std::transform(library.begin(), library.end(), yardstick.begin(), std::back_inserter(ratios),
                   [](double one, double other) { return one / other; });
    return median(std::move(ratios));
}

void print(const nlohmann::ordered_json& line)
{
    std::cout << line << std::endl; // at once: who reads it shows how far it is
}

void report_row(const Contest& contest, const Times& times)
{
    const std::vector<double>& library = times.at("library");
    const std::vector<double>& yardstick = times.at("yardstick");
    print({{"name", contest.name},
           {"unit", "times"},
           {"bound", contest.bound > 0 ? nlohmann::ordered_json(contest.bound) : nlohmann::ordered_json()},
           {"ratio", ratio(library, yardstick)},
           {"library", median(library)},
           {"yardstick", median(yardstick)}});
}

void report_point(const Contest& contest, const Times& times)
{
    nlohmann::ordered_json line = {{"series", contest.series}, {"n", contest.size}};
    for (const NamedSide& each : kSides) {
        const auto found = times.find(each.name);
        line[each.name] =
            found == times.end() ? nlohmann::ordered_json() : nlohmann::ordered_json(median(found->second));
    }
    print(line);
}

} // namespace

void give_up(const std::string& what)
{
    std::cerr << "library_bench: " << what << '\n';
    std::exit(2);
}

void run(const Contest& contest, bool quick)
{
    if (contest.prepare) {
        contest.prepare();
    }
    measure(contest, 1); // warms up: libraries, allocator, files
    const Times times = measure(contest, quick ? contest.quick_turns : contest.turns);
    if (!contest.name.empty()) {
        report_row(contest, times);
    }
    if (!contest.series.empty()) {
        report_point(contest, times);
    }
    if (contest.tidy) {
        contest.tidy();
    }
}

void run(const Figure& figure, bool quick)
{
    const double value = figure.measure(quick);
    print({{"name", figure.name}, {"unit", figure.unit}, {"bound", figure.bound}, {"ratio", value}});
}

void list_counted(const std::vector<Contest>& contests)
{
    for (const Contest& contest : contests) {
        if (contest.instructions_bound > 0) {
            print({{"name", contest.name}, {"bound", contest.instructions_bound}});
        }
    }
}

// Reached by its name alone.
extern "C" __attribute__((noinline, used)) void tresk_bench_counted(const std::function<void()>* work);

extern "C" void tresk_bench_counted(const std::function<void()>* work)
{
    (*work)();
}

bool count(const std::vector<Contest>& contests, const std::string& name, const std::string& side)
{
    const auto contest = std::find_if(contests.begin(), contests.end(),
                                      [&](const Contest& each) { return each.name == name; });
    const auto* const named = std::find_if(std::begin(kSides), std::end(kSides),
                                           [&](const NamedSide& each) { return each.name == side; });
    if (contest == contests.end() || named == std::end(kSides)) {
        return false;
    }
    const std::function<void()>& work = (*contest).*(named->side);
    if (contest->prepare) {
        contest->prepare();
    }
    work();
    tresk_bench_counted(&work);
    return true;
}

} // namespace tresk::bench
