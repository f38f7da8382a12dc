// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One run of treskctl: the command that the command line chose, what it found, what failed, and what the
// library said meanwhile. Everything is written at the end, in one form or the other.
#ifndef TRESK_TRESKCTL_RUN_H
#define TRESK_TRESKCTL_RUN_H

#include "treskctl/failure.h"
#include "treskctl/library_output.h"
#include "treskctl/output.h"

#include <CLI/App.hpp>

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace tresk::ctl {

class Run {
  public:
    /// Sets what is to be done when the command line was read without an error.
    void choose(std::string command, std::function<void()> action);
    void perform();

    void write_json(bool json) { json_ = json; }

    /// A new table of the result, in the order in which they are made; it stays where it is.
    Table& table(std::string name, std::vector<std::string> fields);

    void fail(Failure failure);

    /// Calls the library and keeps what was written meanwhile.
    template <class Call>
    auto hear(Call call)
    {
        auto heard = listen_to(std::move(call));
        remember(heard.said);
        return heard;
    }

    /// The same for a caller who only needs the result.
    template <class Call>
    auto ask(Call call)
    {
        return hear(std::move(call)).result;
    }

    /// Writes results to standard output and failures to standard error. Returns the exit status.
    int finish();

  private:
    void remember(const Said& said);
    bool write_results();
    void write_failures() const;
    void write_failures_as_json() const;

    std::string command_;
    std::function<void()> action_;
    bool json_ = false;
    std::deque<Table> tables_;
    std::vector<Failure> failures_;
    std::vector<std::string> library_lines_;
};

/// Adds a command that does @action. Its name in messages is the whole chain, such as "ppro add".
CLI::App* add_command(CLI::App& parent, Run& run, const std::string& name, const std::string& help,
                      std::function<void()> action);

/// Adds a command that only holds others.
CLI::App* add_group(CLI::App& parent, const std::string& name, const std::string& help);

} // namespace tresk::ctl

#endif
