// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzz/support/target.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace tresk::fuzz {

void end_with(const char* condition, const char* file, int line)
{
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

std::uint8_t Pieces::byte()
{
    if (rest_.empty()) {
        return 0;
    }
    const auto first = static_cast<std::uint8_t>(rest_.front());
    rest_.remove_prefix(1);
    return first;
}

std::string Pieces::text()
{
    std::string piece(rest_.substr(0, rest_.find('\0')));
    rest_.remove_prefix(std::min(piece.size() + 1, rest_.size()));
    return piece;
}

std::int32_t Pieces::number()
{
    std::uint32_t bits = 0;
    for (int count = 0; count < 4; ++count) {
        bits = bits << 8U | byte();
    }
    return static_cast<std::int32_t>(bits);
}

} // namespace tresk::fuzz
