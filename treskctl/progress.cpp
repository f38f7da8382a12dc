// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/progress.h"

#include "treskctl/streams.h"

#include <string>

namespace tresk::ctl {

namespace {

constexpr auto kPatience = std::chrono::seconds(1);
constexpr std::size_t kBarCells = 30;

/// Back to the line's start, and away with what it holds.
constexpr const char* kWipe = "\r\033[K";

void write_now(const std::string& text)
{
    write_error(text);
}

std::string bar(std::size_t done, std::size_t total)
{
    const std::size_t cells = done * kBarCells / total;
    return "[" + std::string(cells, '#') + std::string(kBarCells - cells, '.') + "] " + std::to_string(done) +
           " of " + std::to_string(total);
}

} // namespace

Progress::Progress(std::size_t total) : total_(total), on_terminal_(error_is_terminal()) {}

Progress::~Progress()
{
    if (shown_) {
        write_now(kWipe);
    }
}

void Progress::show(std::size_t done)
{
    if (!on_terminal_ || std::chrono::steady_clock::now() - start_ < kPatience) {
        return;
    }
    write_now(kWipe + bar(done, total_));
    shown_ = true;
}

} // namespace tresk::ctl
