// SPDX-License-Identifier: LGPL-2.1-or-later
//
// How far a long command has come, for somebody who looks at a terminal. Nothing else ever sees it: it goes
// to standard error, only when that is a terminal, only after a second, and is wiped away at the end.
#ifndef TRESK_TRESKCTL_PROGRESS_H
#define TRESK_TRESKCTL_PROGRESS_H

#include <chrono>
#include <cstddef>

namespace tresk::ctl {

class Progress {
  public:
    explicit Progress(std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    Progress(Progress&&) = delete;
    Progress& operator=(Progress&&) = delete;

    /// Says that @done of all are done.
    void show(std::size_t done);

  private:
    std::size_t total_;
    bool on_terminal_;
    bool shown_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace tresk::ctl

#endif
