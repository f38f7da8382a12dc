// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Memory that fails, and what is allocated. Two implementations: memory_watch.cpp, and memory_watch_none.cpp
// for sanitizers, which have an allocator of their own.
#ifndef TRESK_TESTS_FAULTS_MEMORY_WATCH_H
#define TRESK_TESTS_FAULTS_MEMORY_WATCH_H

#include <array>
#include <string_view>

namespace tresk::test {

/// Whose requests are counted and refused: GLib ends the process where it is refused memory.
enum class Requests { everybodys, glibs, others };

/// Where requests were refused: the functions of other libraries that this one had called, each once. A
/// function without a name there is told by its library.
struct Refusals {
    static constexpr std::size_t kNameBytes = 64;

    int sites = 0;
    std::array<std::array<char, kNameBytes>, 8> names{};
    /// The library of GLib's that this one had called when the first request was refused; empty: another's.
    std::array<char, kNameBytes> glib{};

    [[nodiscard]] bool has(std::string_view site) const noexcept;
    void add(std::string_view site) noexcept;
};

/// Whether memory can be made to fail and is counted here.
bool memory_is_watched();

/// Blocks of the process, by the threads that made them; none where they are not counted.
struct Blocks {
    long own = 0;   ///< by the main thread
    long glibs = 0; ///< by GLib's bus thread

    friend Blocks operator-(const Blocks& left, const Blocks& right)
    {
        return {left.own - right.own, left.glibs - right.glibs};
    }
};

Blocks allocated_blocks();

/// Refuses this thread the @nth request, or all from it on, until the end; writes @refusals.
void begin_refusing(long nth, bool stays, Requests whose, Refusals& refusals);
/// Whether a request was refused.
bool end_refusing();

} // namespace tresk::test

#endif
