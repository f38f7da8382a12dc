// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A call of the library beside the bare work that it cannot do without, in the same process, in turn: A B A
// B. Each pair gives a ratio, and their median counts: what else the machine does meets both alike.
//
// What comes of it is printed as JSON lines, see bench/run.py.
#ifndef TRESK_BENCH_LIBRARY_CONTEST_H
#define TRESK_BENCH_LIBRARY_CONTEST_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tresk::bench {

/// What is measured of a piece of work: the time until it is done, or the processor's time that its thread
/// used. The latter where nobody else is waited for: it depends less on what else the machine does.
enum class Clock { wall, thread };

struct Contest {
    std::string name;      ///< of its row
    double bound = 0;      ///< of its row; 0: it has none
    std::string series;    ///< the growth that it is a point of; empty: of none
    std::int64_t size = 0; ///< the point's place
    Clock clock = Clock::wall;
    std::int64_t calls = 1; ///< of each in a turn
    int turns = 21;
    int quick_turns = 7;
    double instructions_bound = 0; ///< 0: instructions are not counted
    std::function<void()> prepare; ///< may be empty
    std::function<void()> library;
    std::function<void()> yardstick;
    std::function<void()> naive; ///< the same, written straight on; may be empty
    std::function<void()> tidy;  ///< may be empty
};

/// A figure that is no ratio: what is kept, what is used at most.
struct Figure {
    std::string name;
    std::string unit;
    double bound = 0;
    std::function<double(bool quick)> measure;
};

struct Subject {
    std::string name; ///< what --only takes
    std::vector<Contest> contests;
    std::vector<Figure> figures;
};

Subject service_calls();
Subject kernel_channel();
Subject path_hash();
Subject labels();
Subject device_history();

void run(const Contest& contest, bool quick);
void run(const Figure& figure, bool quick);

/// The names of what counts instructions, a line each.
void list_counted(const std::vector<Contest>& contests);

/// Does the work of one side once, between the marks that a counter of instructions looks for: everything
/// called by tresk_bench_counted(). False where there is no such contest or side.
bool count(const std::vector<Contest>& contests, const std::string& name, const std::string& side);

/// Ends the program: what is measured has to work.
[[noreturn]] void give_up(const std::string& what);

inline void require(bool holds, const char* what)
{
    if (!holds) {
        give_up(what);
    }
}

} // namespace tresk::bench

#endif
