// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What every target is: one function over one input, which asks for what has to hold. The fuzzer and the
// replay of stored inputs both call it.
#ifndef TRESK_FUZZ_SUPPORT_TARGET_H
#define TRESK_FUZZ_SUPPORT_TARGET_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

/// Ends the process, which is a finding, where @condition does not hold.
#define TRESK_REQUIRE(condition)                                                                             \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            tresk::fuzz::end_with(#condition, __FILE__, __LINE__);                                           \
        }                                                                                                    \
    } while (false)

namespace tresk::fuzz {

[[noreturn]] void end_with(const char* condition, const char* file, int line);

/// Once, before the first input.
void set_up();

/// One input. Whatever it changes outside of itself it changes back, or sets anew at its beginning: an input
/// does the same in whatever company it comes.
void run(std::string_view input);

/// Hands an input out piece by piece; past its end there are zeros and empty texts.
class Pieces {
  public:
    explicit Pieces(std::string_view input) : rest_(input) {}

    std::uint8_t byte();

    /// One of 0 to @limit - 1.
    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : byte() % limit; }

    /// What comes before the next NUL or the end.
    std::string text();
    std::int32_t number();

    std::string_view rest() { return std::exchange(rest_, {}); }

    [[nodiscard]] bool empty() const { return rest_.empty(); }

  private:
    std::string_view rest_;
};

/// A number that no reader sets a count to, for each type of counts.
inline constexpr int kUntouched = -77;

/// True when @text ends within its field and nothing but zeros follows it.
template <std::size_t N>
bool is_zero_filled(const char (&field)[N])
{
    const std::string_view whole(field, N);
    const std::size_t end = whole.find('\0');
    return end != std::string_view::npos && whole.find_first_not_of('\0', end) == std::string_view::npos;
}

} // namespace tresk::fuzz

#endif
