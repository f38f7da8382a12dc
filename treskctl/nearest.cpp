// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/nearest.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace tresk::ctl {

namespace {

/// How many characters have to be changed, added, taken away or swapped with their neighbour.
std::size_t distance(std::string_view from, std::string_view to)
{
    std::vector<std::size_t> before;
    std::vector<std::size_t> above(to.size() + 1);
    std::iota(above.begin(), above.end(), 0U);
    for (std::size_t row = 1; row <= from.size(); ++row) {
        std::vector<std::size_t> here(to.size() + 1, row);
        for (std::size_t column = 1; column <= to.size(); ++column) {
            const std::size_t other = from[row - 1] == to[column - 1] ? 0 : 1;
            here[column] = std::min({above[column] + 1, here[column - 1] + 1, above[column - 1] + other});
            const bool swapped =
                row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1];
            if (swapped) {
                here[column] = std::min(here[column], before[column - 2] + 1);
            }
        }
        before = std::exchange(above, std::move(here));
    }
    return above.back();
}

/// The dashes before an option say nothing about which one it is.
std::string_view without_dashes(std::string_view word)
{
    return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

} // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& words)
{
    const std::string_view bare = without_dashes(word);
    const auto from_word = [bare](const std::string& candidate) {
        return distance(bare, without_dashes(candidate));
    };
    const auto best = std::ranges::min_element(words, {}, from_word);
    const std::size_t tolerated = (bare.size() + 2) / 3;
    const bool near = best != words.end() && *best != word && from_word(*best) <= tolerated &&
                      from_word(*best) < bare.size();
    return near ? *best : "";
}

std::string did_you_mean(std::string_view word, const std::vector<std::string>& words)
{
    const std::string like = nearest(word, words);
    return like.empty() ? "" : "; did you mean \"" + like + "\"?";
}

} // namespace tresk::ctl
